#include "QuickInput.h"

#include <optional>
#include <unordered_set>

#include "protocol/JsonReader.h"
#include "protocol/JsonWriter.h"
#include "protocol/Unicode.h"

namespace quillvane {
namespace {

QuickInput readInput(json::Value& value) {
    auto object = json::take(value.get_object(), "quickInput");
    std::optional<Uuid> id;
    std::optional<std::string> label;
    std::optional<std::string> text;
    for (auto field : object) {
        auto member = json::take(std::move(field), "quickInput");
        const std::string_view key = json::take(member.unescaped_key(), "quickInput");
        json::Value inner = json::take(member.value(), key);
        if (key == "id")
            id = json::readUuid(inner, key);
        else if (key == "label")
            label = json::readString(inner, key);
        else if (key == "text")
            text = json::readString(inner, key);
        else
            json::consume(inner, key);
    }
    if (!id)
        json::missingKey("id");
    if (!label)
        json::missingKey("label");
    if (!text)
        json::missingKey("text");
    return QuickInput{*id, std::move(*label), std::move(*text)};
}

std::vector<QuickInput> decode(std::string_view text) {
    return json::parse(text, [](json::Document& document) {
        std::vector<QuickInput> inputs;
        auto array = json::take(document.get_array(), "quickInputs");
        for (auto element : array) {
            json::Value value = json::take(std::move(element), "quickInputs");
            inputs.push_back(readInput(value));
        }
        return inputs;
    });
}

} // namespace

bool QuickInput::isValid() const {
    // Decoded entries are always valid UTF-8; the check guards records built in code, which the
    // Unicode helpers below do not accept otherwise.
    if (!isValidUtf8(label) || !isValidUtf8(text))
        return false;
    return !trimWhitespace(label).empty() && !text.empty() && utf16Length(text) <= maxTextLength;
}

std::vector<QuickInput> QuickInput::load(std::string_view json) {
    std::vector<QuickInput> stored;
    try {
        stored = decode(json);
    } catch (const JsonError&) {
        return {};
    }
    std::vector<QuickInput> inputs;
    std::unordered_set<Uuid> kept;
    for (auto& input : stored) {
        if (input.isValid() && kept.insert(input.id).second)
            inputs.push_back(std::move(input));
    }
    return inputs;
}

std::string QuickInput::encode(const std::vector<QuickInput>& inputs) {
    std::string out;
    JsonWriter writer(out);
    writer.beginArray();
    for (const auto& input : inputs) {
        writer.beginObject();
        writer.key("id");
        writer.uuid(input.id);
        writer.key("label");
        writer.string(input.label);
        writer.key("text");
        writer.string(input.text);
        writer.endObject();
    }
    writer.endArray();
    return out;
}

} // namespace quillvane
