#include "discovery/ServiceDiscovery.h"

namespace quillvane {

ServiceAdvertisement ServiceDiscovery::advertisement(const Uuid& profileID) {
    const std::string id = profileID.toString();
    return {id,
            std::string(serviceType),
            {TxtEntry::text("id", id), TxtEntry::text("version", std::string(protocolVersion))}};
}

std::optional<Uuid> ServiceDiscovery::profileID(std::string_view name, const TxtRecord* record) {
    if (const TxtEntry* entry = record ? record->find("id") : nullptr) {
        if (entry->kind != TxtEntry::Kind::Text)
            return std::nullopt;
        return Uuid::parse(entry->value);
    }
    return Uuid::parse(name);
}

bool ServiceDiscovery::matches(std::string_view name, const TxtRecord* record,
                               const Uuid& profileID) {
    const std::optional<Uuid> found = ServiceDiscovery::profileID(name, record);
    return found && *found == profileID;
}

} // namespace quillvane
