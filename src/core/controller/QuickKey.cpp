#include "QuickKey.h"

#include <algorithm>
#include <optional>

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

} // namespace

std::vector<QuickKey> QuickKey::defaults(const UuidSource& newId) {
    std::vector<QuickKey> keys;
    keys.reserve(kDefaultKeys.size());
    for (const auto& key : kDefaultKeys)
        keys.push_back(QuickKey{newId(), std::string(key.label), key.code, key.flags});
    return keys;
}

std::vector<QuickKey> QuickKey::fromStored(std::vector<QuickKey> stored, const UuidSource& newId) {
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
