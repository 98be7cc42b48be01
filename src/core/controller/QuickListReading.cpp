// Reading the saved quick-key and quick-input lists from JSON, apart from their rules
// (QuickKey.cpp, QuickInput.cpp) because it needs simdjson, which the WebAssembly build of the
// controller half does without: there the page reads the JSON and hands over the records.
#include <optional>

#include "controller/QuickInput.h"
#include "controller/QuickKey.h"
#include "protocol/JsonReader.h"

namespace quillvane {
namespace {

QuickKey readKey(json::Value& value) {
    auto object = json::take(value.get_object(), "quickKey");
    std::optional<Uuid> id;
    std::optional<std::string> label;
    std::optional<std::uint16_t> code;
    std::optional<std::uint64_t> flags;
    for (auto field : object) {
        auto member = json::take(std::move(field), "quickKey");
        const std::string_view key = json::take(member.unescaped_key(), "quickKey");
        json::Value inner = json::take(member.value(), key);
        if (key == "id")
            id = json::readUuid(inner, key);
        else if (key == "label")
            label = json::readString(inner, key);
        else if (key == "code")
            code = json::readUInt16(inner, key);
        else if (key == "flags")
            flags = json::readUInt64(inner, key);
        else
            json::consume(inner, key);
    }
    if (!id)
        json::missingKey("id");
    if (!label)
        json::missingKey("label");
    if (!code)
        json::missingKey("code");
    if (!flags)
        json::missingKey("flags");
    return QuickKey{*id, std::move(*label), *code, *flags};
}

std::vector<QuickKey> decodeKeys(std::string_view text) {
    return json::parse(text, [](json::Document& document) {
        std::vector<QuickKey> keys;
        auto array = json::take(document.get_array(), "quickKeys");
        for (auto element : array) {
            json::Value value = json::take(std::move(element), "quickKeys");
            keys.push_back(readKey(value));
        }
        return keys;
    });
}

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

std::vector<QuickInput> decodeInputs(std::string_view text) {
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

std::vector<QuickKey> QuickKey::load(std::string_view json, const UuidSource& newId) {
    std::vector<QuickKey> stored;
    try {
        stored = decodeKeys(json);
    } catch (const JsonError&) {
        return defaults(newId);
    }
    return fromStored(std::move(stored), newId);
}

std::vector<QuickInput> QuickInput::load(std::string_view json) {
    std::vector<QuickInput> stored;
    try {
        stored = decodeInputs(json);
    } catch (const JsonError&) {
        return {};
    }
    return fromStored(std::move(stored));
}

} // namespace quillvane
