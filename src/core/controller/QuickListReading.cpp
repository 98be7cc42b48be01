// Reading the saved quick-key and quick-input lists from JSON, apart from their rules
// (QuickKey.cpp, QuickInput.cpp) because it needs simdjson, which the WebAssembly build of the
// controller half does without: there the page reads the JSON and hands over the records.
#include <optional>

#include "controller/QuickInput.h"
#include "controller/QuickKey.h"
#include "protocol/JsonReader.h"

namespace quillvane {
namespace {

// Hands each member of an object to `read`, which returns whether it knew the key; the values of
// other keys are skipped.
template <class Read>
void readMembers(json::Value& value, std::string_view context, Read&& read) {
    auto object = json::take(value.get_object(), context);
    for (auto field : object) {
        auto member = json::take(std::move(field), context);
        const std::string_view key = json::take(member.unescaped_key(), context);
        json::Value inner = json::take(member.value(), key);
        if (!read(key, inner))
            json::consume(inner, key);
    }
}

template <class T> T required(std::optional<T>& field, std::string_view key) {
    if (!field)
        json::missingKey(key);
    return std::move(*field);
}

template <class Item, class ReadItem>
std::vector<Item> readList(std::string_view text, std::string_view context, ReadItem readItem) {
    return json::parse(text, [&](json::Document& document) {
        std::vector<Item> items;
        auto array = json::take(document.get_array(), context);
        for (auto element : array) {
            json::Value value = json::take(std::move(element), context);
            items.push_back(readItem(value));
        }
        return items;
    });
}

QuickKey readKey(json::Value& value) {
    std::optional<Uuid> id;
    std::optional<std::string> label;
    std::optional<std::uint16_t> code;
    std::optional<std::uint64_t> flags;
    readMembers(value, "quickKey", [&](std::string_view key, json::Value& inner) {
        if (key == "id")
            id = json::readUuid(inner, key);
        else if (key == "label")
            label = json::readString(inner, key);
        else if (key == "code")
            code = json::readUInt16(inner, key);
        else if (key == "flags")
            flags = json::readUInt64(inner, key);
        else
            return false;
        return true;
    });
    return QuickKey{required(id, "id"), required(label, "label"), required(code, "code"),
                    required(flags, "flags")};
}

QuickInput readInput(json::Value& value) {
    std::optional<Uuid> id;
    std::optional<std::string> label;
    std::optional<std::string> text;
    readMembers(value, "quickInput", [&](std::string_view key, json::Value& inner) {
        if (key == "id")
            id = json::readUuid(inner, key);
        else if (key == "label")
            label = json::readString(inner, key);
        else if (key == "text")
            text = json::readString(inner, key);
        else
            return false;
        return true;
    });
    return QuickInput{required(id, "id"), required(label, "label"), required(text, "text")};
}

} // namespace

std::vector<QuickKey> QuickKey::load(std::string_view json, const UuidSource& newId) {
    std::vector<QuickKey> stored;
    try {
        stored = readList<QuickKey>(json, "quickKeys", readKey);
    } catch (const JsonError&) {
        return defaults(newId);
    }
    return fromStored(std::move(stored), newId);
}

std::vector<QuickInput> QuickInput::load(std::string_view json) {
    std::vector<QuickInput> stored;
    try {
        stored = readList<QuickInput>(json, "quickInputs", readInput);
    } catch (const JsonError&) {
        return {};
    }
    return fromStored(std::move(stored));
}

} // namespace quillvane
