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

// What the user reads: one explanation with the step that fixes it (each backend's own reason is
// in the log). With several refused, on a Wayland desktop the usual cause is a compositor none of
// the interfaces belong to, and the remedy is the fallback's, the last candidate (uinput);
// elsewhere it is the desktop's own route, the first (X11).
std::string unavailableReason(std::span<const InputBackendFactory> candidates,
                              std::string_view requested, const std::vector<Refusal>& refusals) {
    if (candidates.empty())
        return "这个版本的 Quillvane 没有输入后端，无法发送输入";
    if (refusals.empty())
        return "未知的输入后端（" + std::string(requested) + " → " + joinedNames(candidates) + "）";
    if (refusals.size() == 1 || !isWaylandSession())
        return refusals.front().reason;
    return "这个 Wayland 桌面没有可以发送输入的接口：Quillvane 使用 GNOME 的远程桌面接口、KDE "
           "的模拟输入和 wlroots 混成器的虚拟指针与键盘，其他桌面需要 /dev/uinput（" +
           refusals.back().reason + "）";
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
        std::string reason = backend ? backend->unavailableReason() : "无法打开输入后端";
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
