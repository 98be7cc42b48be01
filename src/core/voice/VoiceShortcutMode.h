#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace quillvane {

// How the voice shortcut drives the dictation program: held for the whole utterance, or tapped
// once at its start and once at its end. Stored by its name ("hold", "toggle").
enum class VoiceShortcutMode {
    hold,
    toggle,
};

inline constexpr std::array<VoiceShortcutMode, 2> allVoiceShortcutModes{VoiceShortcutMode::hold,
                                                                        VoiceShortcutMode::toggle};

std::string_view toString(VoiceShortcutMode mode);
// No mode for an unknown name.
std::optional<VoiceShortcutMode> voiceShortcutModeFromString(std::string_view text);

} // namespace quillvane
