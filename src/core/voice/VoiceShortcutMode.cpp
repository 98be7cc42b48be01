#include "voice/VoiceShortcutMode.h"

namespace quillvane {

std::string_view toString(VoiceShortcutMode mode) {
    switch (mode) {
    case VoiceShortcutMode::hold:
        return "hold";
    case VoiceShortcutMode::toggle:
        return "toggle";
    }
    return "hold";
}

std::optional<VoiceShortcutMode> voiceShortcutModeFromString(std::string_view text) {
    for (VoiceShortcutMode mode : allVoiceShortcutModes) {
        if (toString(mode) == text)
            return mode;
    }
    return std::nullopt;
}

} // namespace quillvane
