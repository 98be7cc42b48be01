#include "QuickKey.h"

#include <algorithm>
#include <optional>

#include "protocol/JsonReader.h"
#include "protocol/JsonWriter.h"

namespace quillvane {
namespace {

constexpr std::uint64_t kShift = 0x20000;
constexpr std::uint64_t kCommand = 0x100000;

struct DefaultKey {
    std::string_view label;
    std::uint16_t code;
    std::uint64_t flags;
};

constexpr std::array<DefaultKey, QuickKey::keyCount> kDefaultKeys = {{
    {"esc", 53, 0},
    {"tab ⇥", 48, 0},
    {"⇧ tab", 48, kShift},
    {"⌫", 51, 0},
    {"⌘Z", 6, kCommand},
    {"⌘⇧Z", 6, kCommand | kShift},
    {"⌘C", 8, kCommand},
    {"⌘V", 9, kCommand},
    {"←", 123, 0},
    {"↓", 125, 0},
    {"↑", 126, 0},
    {"→", 124, 0},
    {"↵", 36, 0},
}};

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

std::vector<QuickKey> decode(std::string_view text) {
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

} // namespace

std::vector<QuickKey> QuickKey::defaults(const UuidSource& newId) {
    std::vector<QuickKey> keys;
    keys.reserve(kDefaultKeys.size());
    for (const auto& key : kDefaultKeys)
        keys.push_back(QuickKey{newId(), std::string(key.label), key.code, key.flags});
    return keys;
}

std::vector<QuickKey> QuickKey::load(std::string_view json, const UuidSource& newId) {
    std::vector<QuickKey> stored;
    try {
        stored = decode(json);
    } catch (const JsonError&) {
        return defaults(newId);
    }
    if (stored.size() == keyCount)
        return stored;
    const QuickKeyRow middle = rowRanges[1];
    if (stored.size() != middle.end - middle.begin)
        return defaults(newId);
    std::vector<QuickKey> keys = defaults(newId);
    std::move(stored.begin(), stored.end(),
              keys.begin() + static_cast<std::ptrdiff_t>(middle.begin));
    return keys;
}

std::string QuickKey::encode(const std::vector<QuickKey>& keys) {
    std::string out;
    JsonWriter writer(out);
    writer.beginArray();
    for (const auto& key : keys) {
        writer.beginObject();
        writer.key("id");
        writer.uuid(key.id);
        writer.key("label");
        writer.string(key.label);
        writer.key("code");
        writer.unsignedInteger(key.code);
        writer.key("flags");
        writer.unsignedInteger(key.flags);
        writer.endObject();
    }
    writer.endArray();
    return out;
}

} // namespace quillvane
