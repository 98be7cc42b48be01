#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "discovery/TxtRecord.h"
#include "protocol/Uuid.h"

namespace quillvane {

// What the host publishes on the local network: DNS-SD instance name, service type and TXT record.
// The domain is always the default one.
struct ServiceAdvertisement {
    std::string name;
    std::string type;
    TxtRecord txt;

    friend bool operator==(const ServiceAdvertisement&, const ServiceAdvertisement&) = default;
};

// How the host makes itself findable and how the controller recognises the host it is paired with.
// The instance name is the pairing id, never the computer's name, so only phones holding the
// current profile can tell which advertisement is theirs, and a revoked pairing stops being
// advertised.
struct ServiceDiscovery {
    static constexpr std::string_view serviceType = "_quillvane._tcp";
    static constexpr std::string_view protocolVersion = "1";

    // Name = the id as upper-case UUID text; TXT {"id": the same text, "version": "1"}.
    static ServiceAdvertisement advertisement(const Uuid& profileID);

    // The pairing id of a browse result. A TXT "id" entry decides alone when present: its text as a
    // UUID, or nothing for an entry that is not UUID text or not text at all. Without a record or
    // without that entry the instance name is read as a UUID.
    static std::optional<Uuid> profileID(std::string_view name, const TxtRecord* record);
    static bool matches(std::string_view name, const TxtRecord* record, const Uuid& profileID);
};

} // namespace quillvane
