#pragma once

#include <optional>
#include <string_view>

namespace quillvane {

// Where the events of a held modifiers-only shortcut go: to the whole system, or straight to the
// process of the one input method whose releases before 1.0.1 are reached that way. Platforms
// without per-process posting always take the system route.
enum class VoiceShortcutRoute {
    system,
    fenwixProcess,
};

// Bundle identifier of that input method.
inline constexpr std::string_view fenwixBundleIdentifier = "com.tessmoor.inputmethod.fenwixime";
// First release of it that hears system-wide events.
inline constexpr std::string_view fenwixSystemRouteVersion = "1.0.1";

// The route for the input method with this version string. Anything that is not a dotted list of
// decimal numbers (absent, empty, an empty or non-numeric piece) keeps the system route.
VoiceShortcutRoute routeForFenwix(std::optional<std::string_view> version);

// "system" or "fenwixProcess", for logs.
std::string_view toString(VoiceShortcutRoute route);

} // namespace quillvane
