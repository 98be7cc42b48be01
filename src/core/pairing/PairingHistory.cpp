#include "PairingHistory.h"

#include <algorithm>
#include <unordered_set>

#include "pairing/PairingJson.h"
#include "protocol/JsonReader.h"
#include "protocol/JsonWriter.h"
#include "protocol/PadError.h"

namespace quillvane {
namespace {

constexpr const char* kInvalidRecord = "设备连接记录无效或版本不兼容";
constexpr const char* kUnknownProfile = "此设备的配对记录已移除";
constexpr const char* kInvalidKey = "配对密钥无效";

std::int64_t readVersion(simdjson::dom::element element) {
    std::int64_t version = 0;
    if (const auto error = element.get_int64().get(version))
        json::fail("version", error);
    return version;
}

struct StoredRecord {
    std::vector<PairingProfile> profiles;
    std::optional<Uuid> selectedID;
};

// Reads the current form; type errors surface before any rule is checked.
StoredRecord readRecord(simdjson::dom::object object) {
    const std::int64_t version = readVersion(pairing_json::requireKey(object, "version"));

    simdjson::dom::array array;
    if (const auto error = pairing_json::requireKey(object, "profiles").get_array().get(array))
        json::fail("profiles", error);
    std::vector<PairingProfile> profiles;
    profiles.reserve(array.size());
    for (const auto element : array)
        profiles.push_back(pairing_json::readProfile(element));

    std::optional<Uuid> selectedID;
    simdjson::dom::element selected;
    if (!object.at_key("selectedID").get(selected) && !selected.is_null())
        selectedID = pairing_json::readUuid(selected, "selectedID");

    if (version != PairingHistory::kVersion)
        throw PadError::invalid(kInvalidRecord);
    std::unordered_set<Uuid> ids;
    for (const auto& profile : profiles)
        if (!ids.insert(profile.id).second)
            throw PadError::invalid(kInvalidRecord);
    for (const auto& profile : profiles)
        if (!profile.keyData())
            throw PadError::invalid(kInvalidRecord);
    if (selectedID && !ids.contains(*selectedID))
        throw PadError::invalid(kInvalidRecord);

    return {std::move(profiles), selectedID};
}

} // namespace

PairingHistory PairingHistory::fromCheckedRecord(std::vector<PairingProfile> profiles,
                                                 std::optional<Uuid> selectedID) {
    PairingHistory history;
    history.m_profiles = std::move(profiles);
    history.m_selectedID = selectedID;
    return history;
}

const PairingProfile* PairingHistory::selected() const {
    if (!m_selectedID)
        return nullptr;
    const auto found = std::find_if(m_profiles.begin(), m_profiles.end(),
                                    [&](const auto& p) { return p.id == *m_selectedID; });
    return found == m_profiles.end() ? nullptr : &*found;
}

void PairingHistory::add(PairingProfile profile) {
    if (!profile.keyData())
        throw PadError::invalid(kInvalidKey);
    m_selectedID = profile.id;
    const auto found = std::find_if(m_profiles.begin(), m_profiles.end(),
                                    [&](const auto& p) { return p.id == profile.id; });
    if (found != m_profiles.end())
        *found = std::move(profile);
    else
        m_profiles.push_back(std::move(profile));
}

void PairingHistory::select(const Uuid& id) {
    const bool known = std::any_of(m_profiles.begin(), m_profiles.end(),
                                   [&](const auto& p) { return p.id == id; });
    if (!known)
        throw PadError::invalid(kUnknownProfile);
    m_selectedID = id;
}

void PairingHistory::remove(const Uuid& id) {
    std::erase_if(m_profiles, [&](const auto& p) { return p.id == id; });
    if (m_selectedID == id)
        m_selectedID.reset();
}

std::string PairingHistory::toJson() const {
    std::string out;
    JsonWriter writer(out);
    writer.beginObject();
    writer.key("version");
    writer.integer(kVersion);
    writer.key("profiles");
    writer.beginArray();
    for (const auto& profile : m_profiles)
        pairing_json::writeProfile(writer, profile);
    writer.endArray();
    if (m_selectedID) {
        writer.key("selectedID");
        writer.uuid(*m_selectedID);
    }
    writer.endObject();
    return out;
}

PairingHistory PairingHistory::fromJson(std::string_view json) {
    auto record =
        readRecord(pairing_json::readObject(pairing_json::parseDocument(json), "history"));
    return fromCheckedRecord(std::move(record.profiles), record.selectedID);
}

PairingHistory::DecodedHistory PairingHistory::decodeStored(std::string_view bytes) {
    const auto root = pairing_json::parseDocument(bytes);
    simdjson::dom::object object;
    if (!root.get_object().get(object)) {
        simdjson::dom::element version;
        if (!object.at_key("version").get(version)) {
            auto record = readRecord(object);
            return {fromCheckedRecord(std::move(record.profiles), record.selectedID), false};
        }
    }
    // The older form: one bare profile, the Mac the phone was paired with.
    DecodedHistory decoded;
    decoded.history.add(pairing_json::readProfile(root));
    decoded.legacy = true;
    return decoded;
}

} // namespace quillvane
