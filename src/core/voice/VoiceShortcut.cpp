#include "voice/VoiceShortcut.h"

#include "protocol/PadError.h"
#include "voice/ShortcutModifier.h"

namespace quillvane {

namespace {

void validate(std::int64_t code, std::uint64_t modifiers) {
    const bool codeInRange =
        code >= VoiceShortcut::modifiersOnly && code <= VoiceShortcut::highestCode;
    const bool hasModifier = (modifiers & shortcutModifierMask) != 0;
    if (!codeInRange || (code < 0 && !hasModifier))
        throw PadError::invalid("请选择语音快捷键；仅修饰键模式需要至少一个修饰键");
}

bool isPresent(const ShortcutModifier& modifier, std::uint64_t modifiers) {
    return (modifiers & modifier.flag) != 0;
}

std::vector<ShortcutEvent> pressEvents(std::int64_t code, std::uint64_t modifiers) {
    std::vector<ShortcutEvent> events;
    std::uint64_t flags = 0;
    for (const ShortcutModifier& modifier : shortcutModifiers) {
        if (!isPresent(modifier, modifiers))
            continue;
        flags |= modifier.bits();
        events.push_back({modifier.keyCode, ShortcutEvent::Kind::flagsChanged, flags});
    }
    if (code >= 0)
        events.push_back({static_cast<std::uint16_t>(code), ShortcutEvent::Kind::keyDown, flags});
    return events;
}

std::vector<ShortcutEvent> releaseEvents(std::int64_t code, std::uint64_t modifiers) {
    std::uint64_t flags = modifiers & shortcutModifierMask;
    for (const ShortcutModifier& modifier : shortcutModifiers) {
        if (isPresent(modifier, modifiers))
            flags |= modifier.bits();
    }
    std::vector<ShortcutEvent> events;
    if (code >= 0)
        events.push_back({static_cast<std::uint16_t>(code), ShortcutEvent::Kind::keyUp, flags});
    for (auto it = shortcutModifiers.rbegin(); it != shortcutModifiers.rend(); ++it) {
        if (!isPresent(*it, modifiers))
            continue;
        flags &= ~it->bits();
        events.push_back({it->keyCode, ShortcutEvent::Kind::flagsChanged, flags});
    }
    return events;
}

} // namespace

std::vector<ShortcutEvent> VoiceShortcut::events(std::int64_t code, std::uint64_t modifiers,
                                                 bool down) {
    validate(code, modifiers);
    return down ? pressEvents(code, modifiers) : releaseEvents(code, modifiers);
}

} // namespace quillvane
