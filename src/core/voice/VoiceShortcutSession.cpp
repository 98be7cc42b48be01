#include "voice/VoiceShortcutSession.h"

#include <utility>

#include "protocol/PadError.h"
#include "voice/VoiceShortcut.h"

namespace quillvane {

VoiceShortcutAction VoiceShortcutSession::begin(std::int64_t code, std::uint64_t modifiers,
                                                VoiceShortcutMode mode) {
    if (m_endAction)
        throw PadError::invalid("上一段语音快捷键尚未结束");
    auto down = VoiceShortcut::events(code, modifiers, true);
    auto up = VoiceShortcut::events(code, modifiers, false);
    switch (mode) {
    case VoiceShortcutMode::toggle: {
        ShortcutTap tap{std::move(down), std::move(up)};
        m_endAction = tap;
        return tap;
    }
    case VoiceShortcutMode::hold:
        break;
    }
    m_endAction = ShortcutEvents{std::move(up)};
    return ShortcutEvents{std::move(down)};
}

std::optional<VoiceShortcutAction> VoiceShortcutSession::end() {
    return std::exchange(m_endAction, std::nullopt);
}

} // namespace quillvane
