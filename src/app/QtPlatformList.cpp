#include "QtPlatformList.h"

namespace quillvane {

std::string qtPlatformList(std::string_view display, std::string_view waylandDisplay,
                           std::string_view sessionType) {
    const bool wayland = !waylandDisplay.empty() || sessionType == "wayland";
    const bool x11 = !display.empty();
    std::string platforms;
    if (wayland)
        platforms += "wayland;";
    if (x11)
        platforms += "xcb;";
    return platforms + "offscreen";
}

} // namespace quillvane
