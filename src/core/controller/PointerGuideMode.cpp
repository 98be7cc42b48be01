#include "PointerGuideMode.h"

namespace quillvane {

std::string_view rawValue(PointerGuideMode mode) {
    switch (mode) {
    case PointerGuideMode::trackpad:
        return "trackpad";
    case PointerGuideMode::air:
        return "air";
    }
    return "trackpad";
}

std::optional<PointerGuideMode> pointerGuideModeFromRaw(std::string_view raw) {
    for (const PointerGuideMode mode : kAllPointerGuideModes) {
        if (rawValue(mode) == raw)
            return mode;
    }
    return std::nullopt;
}

std::string videoResource(PointerGuideMode mode, AppLanguage language,
                          const std::vector<std::string>& preferredLanguages) {
    std::string name = "Quillvane-";
    name.append(mode == PointerGuideMode::air ? "AirMouse" : "Trackpad");
    name.append(resolved(language, preferredLanguages) == AppLanguage::simplifiedChinese ? "-zh-CN"
                                                                                         : "-en");
    return name;
}

} // namespace quillvane
