#include "InputBackends.h"

#include <cstdlib>
#include <string_view>
#include <utility>
#include <vector>

#include <QLoggingCategory>

#include "platform/null/NullBackend.h"

// Each backend is compiled in or not by its option in src/host/CMakeLists.txt.
#ifdef QUILLVANE_INPUT_X11
#include "platform/x11/X11Backend.h"
#endif
#ifdef QUILLVANE_INPUT_WLROOTS
#include "platform/wlroots/WlrootsBackend.h"
#endif
#ifdef QUILLVANE_INPUT_KWIN
#include "platform/kwin/KWinBackend.h"
#endif
#ifdef QUILLVANE_INPUT_MUTTER
#include "platform/mutter/MutterBackend.h"
#endif
#ifdef QUILLVANE_INPUT_UINPUT
#include "platform/uinput/UinputBackend.h"
#endif

namespace quillvane {
namespace {
Q_LOGGING_CATEGORY(lcInput, "app.quillvane.Input", QtInfoMsg)

// Highest priority first.
const std::vector<InputBackendFactory> compiledBackends{
#ifdef QUILLVANE_INPUT_X11
    {"x11", makeX11Backend},
#endif
#ifdef QUILLVANE_INPUT_WLROOTS
    {"wlroots", makeWlrootsBackend},
#endif
#ifdef QUILLVANE_INPUT_KWIN
    {"kwin", makeKWinBackend},
#endif
#ifdef QUILLVANE_INPUT_MUTTER
    {"mutter", makeMutterBackend},
#endif
#ifdef QUILLVANE_INPUT_UINPUT
    {"uinput", makeUinputBackend},
#endif
};

bool isWaylandSession() {
    const char* display = std::getenv("WAYLAND_DISPLAY");
    const char* type = std::getenv("XDG_SESSION_TYPE");
    return (display && *display) || (type && std::string_view(type) == "wayland");
}

struct Refusal {
    std::string name;
    std::string reason;
};

std::string joinedNames(std::span<const InputBackendFactory> candidates) {
    std::string names;
    for (const auto& factory : candidates)
        names += (names.empty() ? "" : ", ") + factory.name;
    return names;
}

// One backend's own explanation is shown as it is; several are named so the user can tell them
// apart.
std::string unavailableReason(std::span<const InputBackendFactory> candidates,
                              std::string_view requested, const std::vector<Refusal>& refusals) {
    if (candidates.empty())
        return "This build of Quillvane has no input backend, so it cannot post input";
    if (refusals.empty())
        return "Unknown input backend \"" + std::string(requested) +
               "\"; this build has: " + joinedNames(candidates);
    if (refusals.size() == 1)
        return refusals.front().reason;
    std::string reason;
    // On Wayland the usual cause is a desktop none of the compositor interfaces belong to; saying
    // so first leads to the remedy (named by the uinput backend's own reason below).
    if (isWaylandSession())
        reason = "Nothing can post input on this Wayland desktop: Quillvane uses GNOME's remote "
                 "desktop interface, KDE's fake input and the virtual pointer and keyboard of "
                 "wlroots compositors (sway, Hyprland, labwc), and elsewhere needs /dev/uinput. "
                 "Details: ";
    const std::size_t lead = reason.size();
    for (const auto& refusal : refusals)
        reason += (reason.size() == lead ? "" : "; ") + refusal.name + ": " + refusal.reason;
    return reason;
}
} // namespace

std::span<const InputBackendFactory> compiledInputBackends() {
    return compiledBackends;
}

std::unique_ptr<InputBackend> chooseInputBackend(std::span<const InputBackendFactory> candidates,
                                                 std::string_view requested) {
    std::vector<Refusal> refusals;
    for (const auto& factory : candidates) {
        if (!requested.empty() && factory.name != requested)
            continue;
        std::unique_ptr<InputBackend> backend = factory.make ? factory.make() : nullptr;
        if (backend && backend->canPost()) {
            qCInfo(lcInput, "Input backend: %s%s", factory.name.c_str(),
                   requested.empty() ? "" : " (requested)");
            return backend;
        }
        std::string reason = backend ? backend->unavailableReason() : "it could not be opened";
        qCInfo(lcInput, "Input backend %s cannot post: %s", factory.name.c_str(), reason.c_str());
        refusals.push_back({factory.name, std::move(reason)});
    }
    std::string reason = unavailableReason(candidates, requested, refusals);
    qCWarning(lcInput, "No input backend can post: %s", reason.c_str());
    return std::make_unique<NullBackend>(std::move(reason));
}

std::unique_ptr<InputBackend> chooseInputBackend(std::string_view requested) {
    return chooseInputBackend(compiledInputBackends(), requested);
}

} // namespace quillvane
