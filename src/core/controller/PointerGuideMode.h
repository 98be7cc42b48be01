#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "localization/AppLanguage.h"

namespace quillvane {

// The phone's two pointing modes, each with a guide video shown the first time it is opened.
enum class PointerGuideMode {
    trackpad,
    air,
};

inline constexpr std::array<PointerGuideMode, 2> kAllPointerGuideModes = {
    PointerGuideMode::trackpad, PointerGuideMode::air};

// "trackpad" or "air".
std::string_view rawValue(PointerGuideMode mode);
std::optional<PointerGuideMode> pointerGuideModeFromRaw(std::string_view raw);

// The guide video's resource name for the interface language, e.g. "Quillvane-AirMouse-zh-CN".
// The names are a contract with the bundled video files.
std::string videoResource(PointerGuideMode mode, AppLanguage language,
                          const std::vector<std::string>& preferredLanguages);

} // namespace quillvane
