#include "PairingJson.h"

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

void writeProfile(JsonWriter& writer, const PairingProfile& profile) {
    writer.beginObject();
    writer.key("id");
    writer.uuid(profile.id);
    writer.key("name");
    writer.string(profile.name);
    writer.key("secret");
    writer.string(profile.secret);
    writer.endObject();
}

} // namespace quillvane::pairing_json
