#include "LayoutKeys.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <string_view>

#include <linux/input-event-codes.h>
#include <xkbcommon/xkbcommon-keysyms.h>
#include <xkbcommon/xkbcommon.h>

#include "Keysym.h"

namespace quillvane {
namespace {

// XKB key codes are evdev codes plus 8.
constexpr xkb_keycode_t evdevOffset = 8;
constexpr xkb_keycode_t firstExtraKey = BTN_MISC;

template <typename T, void (*Free)(T*)>
struct Deleter {
    void operator()(T* pointer) const { Free(pointer); }
};
using Context = std::unique_ptr<xkb_context, Deleter<xkb_context, xkb_context_unref>>;
using Keymap = std::unique_ptr<xkb_keymap, Deleter<xkb_keymap, xkb_keymap_unref>>;

// "KEY=value" or KEY="value" from a shell-style settings file.
std::string settingFrom(const std::string& path, std::string_view key) {
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line)) {
        if (!line.starts_with(key) || line.size() <= key.size() || line[key.size()] != '=')
            continue;
        std::string value = line.substr(key.size() + 1);
        if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
            value = value.substr(1, value.size() - 2);
        return value;
    }
    return {};
}

struct Builder {
    xkb_keymap* keymap;
    std::unordered_map<std::uint32_t, KeyStroke>& strokes;
    // The key that produces each modifier a level may need, found in the keymap itself.
    std::optional<std::uint16_t> shiftKey;
    std::optional<std::uint16_t> levelThreeKey;
    xkb_mod_mask_t shiftMask = 0;
    xkb_mod_mask_t levelThreeMask = 0;
};

// The key whose first level is `wanted`: the usual physical key when it is one, else the first.
std::optional<std::uint16_t> keyProducing(xkb_keymap* keymap, xkb_keysym_t wanted,
                                          std::uint16_t usualKey) {
    const auto produces = [&](xkb_keycode_t code) {
        const xkb_keysym_t* syms = nullptr;
        return xkb_keymap_key_get_syms_by_level(keymap, code, 0, 0, &syms) == 1 &&
               syms[0] == wanted;
    };
    if (produces(usualKey + evdevOffset))
        return usualKey;
    for (xkb_keycode_t code = std::max(xkb_keymap_min_keycode(keymap), evdevOffset);
         code <= xkb_keymap_max_keycode(keymap); ++code)
        if (produces(code))
            return static_cast<std::uint16_t>(code - evdevOffset);
    return std::nullopt;
}

void addKey(xkb_keymap* keymap, xkb_keycode_t code, void* data) {
    auto& builder = *static_cast<Builder*>(data);
    // Only the keys of a real keyboard: the codes from 256 on are rare extra keys (a euro key,
    // programmable keys) that a virtual keyboard may not have and X11 cannot name.
    if (code < evdevOffset || code - evdevOffset >= firstExtraKey)
        return;
    const xkb_level_index_t levels = xkb_keymap_num_levels_for_key(keymap, code, 0);
    for (xkb_level_index_t level = 0; level < levels; ++level) {
        const xkb_keysym_t* syms = nullptr;
        if (xkb_keymap_key_get_syms_by_level(keymap, code, 0, level, &syms) != 1)
            continue;
        xkb_mod_mask_t masks[8];
        const std::size_t count = xkb_keymap_key_get_mods_for_level(keymap, code, 0, level, masks, 8);
        for (std::size_t i = 0; i < count; ++i) {
            const xkb_mod_mask_t mask = masks[i];
            if ((mask & ~(builder.shiftMask | builder.levelThreeMask)) != 0)
                continue; // needs Caps Lock, Control or another state we do not hold
            KeyStroke stroke{{}, static_cast<std::uint16_t>(code - evdevOffset)};
            if (mask & builder.shiftMask) {
                if (!builder.shiftKey)
                    continue;
                stroke.modifiers.push_back(*builder.shiftKey);
            }
            if (mask & builder.levelThreeMask) {
                if (!builder.levelThreeKey)
                    continue;
                stroke.modifiers.push_back(*builder.levelThreeKey);
            }
            const auto known = builder.strokes.find(syms[0]);
            if (known == builder.strokes.end() ||
                known->second.modifiers.size() > stroke.modifiers.size())
                builder.strokes[syms[0]] = std::move(stroke);
        }
    }
}

} // namespace

std::optional<LayoutKeys> LayoutKeys::fromNames(const Names& names) {
    const Context context(xkb_context_new(XKB_CONTEXT_NO_FLAGS));
    if (!context)
        return std::nullopt;
    const auto orNull = [](const std::string& value) {
        return value.empty() ? nullptr : value.c_str();
    };
    const xkb_rule_names rules{nullptr, orNull(names.model), orNull(names.layout),
                               orNull(names.variant), orNull(names.options)};
    const Keymap keymap(xkb_keymap_new_from_names(context.get(), &rules, XKB_KEYMAP_COMPILE_NO_FLAGS));
    if (!keymap)
        return std::nullopt;

    return fromKeymap(keymap.get());
}

std::optional<LayoutKeys> LayoutKeys::fromKeymapText(std::string_view text) {
    const Context context(xkb_context_new(XKB_CONTEXT_NO_FLAGS));
    if (!context)
        return std::nullopt;
    const Keymap keymap(xkb_keymap_new_from_buffer(context.get(), text.data(), text.size(),
                                                   XKB_KEYMAP_FORMAT_TEXT_V1,
                                                   XKB_KEYMAP_COMPILE_NO_FLAGS));
    if (!keymap)
        return std::nullopt;
    return fromKeymap(keymap.get());
}

LayoutKeys LayoutKeys::fromKeymap(xkb_keymap* keymap) {
    LayoutKeys keys;
    Builder builder{keymap, keys.m_strokes, keyProducing(keymap, XKB_KEY_Shift_L, KEY_LEFTSHIFT),
                    keyProducing(keymap, XKB_KEY_ISO_Level3_Shift, KEY_RIGHTALT)};
    const xkb_mod_index_t shift = xkb_keymap_mod_get_index(keymap, XKB_MOD_NAME_SHIFT);
    if (shift != XKB_MOD_INVALID)
        builder.shiftMask = 1u << shift;
    // AltGr's real modifier is whatever ISO_Level3_Shift sets in this keymap (Mod5 in the usual
    // rules); pressing its key and reading the state back finds it.
    if (builder.levelThreeKey) {
        xkb_state* state = xkb_state_new(keymap);
        xkb_state_update_key(state, *builder.levelThreeKey + evdevOffset, XKB_KEY_DOWN);
        builder.levelThreeMask = xkb_state_serialize_mods(state, XKB_STATE_MODS_DEPRESSED);
        xkb_state_unref(state);
    }
    xkb_keymap_key_for_each(keymap, addKey, &builder);
    return keys;
}

std::optional<LayoutKeys> LayoutKeys::systemDefault() {
    return fromNames(systemDefaultNames());
}

LayoutKeys::Names LayoutKeys::systemDefaultNames() {
    if (const char* layout = std::getenv("XKB_DEFAULT_LAYOUT"); layout && *layout)
        return {};
    const std::string file = "/etc/default/keyboard";
    return {settingFrom(file, "XKBLAYOUT"), settingFrom(file, "XKBVARIANT"),
            settingFrom(file, "XKBMODEL"), settingFrom(file, "XKBOPTIONS")};
}

std::optional<KeyStroke> LayoutKeys::strokeFor(char32_t codePoint) const {
    const auto keysym = keysymFor(codePoint);
    if (!keysym)
        return std::nullopt;
    const auto found = m_strokes.find(*keysym);
    if (found == m_strokes.end())
        return std::nullopt;
    return found->second;
}

} // namespace quillvane
