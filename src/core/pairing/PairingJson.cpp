#include "PairingJson.h"

#include <unordered_set>

#include "pairing/PairingHistory.h"
#include "protocol/PadError.h"

#include "protocol/JsonReader.h"

namespace quillvane::pairing_json {

simdjson::dom::element parseDocument(std::string_view text) {
    // The DOM parser validates the whole text (structure, UTF-8, trailing content) before anything
    // is read, which the stored-history loader needs to tell bad JSON from an older form.
    thread_local simdjson::dom::parser parser;
    simdjson::dom::element root;
    if (const auto error = parser.parse(text.data(), text.size()).get(root))
        json::fail("document", error);
    return root;
}

simdjson::dom::object readObject(simdjson::dom::element element, std::string_view context) {
    simdjson::dom::object object;
    if (const auto error = element.get_object().get(object))
        json::fail(context, error);
    return object;
}

simdjson::dom::element requireKey(simdjson::dom::object object, std::string_view key) {
    simdjson::dom::element value;
    if (object.at_key(key).get(value))
        json::missingKey(key);
    return value;
}

std::string_view readString(simdjson::dom::element element, std::string_view key) {
    std::string_view text;
    if (const auto error = element.get_string().get(text))
        json::fail(key, error);
    return text;
}

Uuid readUuid(simdjson::dom::element element, std::string_view key) {
    const auto id = Uuid::parse(readString(element, key));
    if (!id)
        json::fail(key, "not a UUID");
    return *id;
}

PairingProfile readProfile(simdjson::dom::element element) {
    const auto object = readObject(element, "profile");
    PairingProfile profile;
    profile.id = readUuid(requireKey(object, "id"), "id");
    profile.name = std::string(readString(requireKey(object, "name"), "name"));
    profile.secret = std::string(readString(requireKey(object, "secret"), "secret"));
    return profile;
}

} // namespace quillvane::pairing_json

namespace quillvane {
namespace {

constexpr const char* kInvalidRecord = "设备连接记录无效或版本不兼容";

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

PairingProfile PairingProfile::fromJson(std::string_view json) {
    return pairing_json::readProfile(pairing_json::parseDocument(json));
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
