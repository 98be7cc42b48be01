#include "UinputBackend.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <unistd.h>

#include <libevdev/libevdev-uinput.h>
#include <libevdev/libevdev.h>
#include <linux/input-event-codes.h>

#include <QTimer>

#include "HiResWheel.h"
#include "platform/common/ClipboardTextRoute.h"
#include "platform/common/ShadowPointer.h"
#include "platform/wayland/WaylandSession.h"
#include "platform/xkb/LayoutTyping.h"
#include "platform/evdev/MacKeyTable.h"

namespace quillvane {
namespace {

constexpr const char* uinputPath = "/dev/uinput";
constexpr const char* ruleName = "60-quillvane-uinput.rules";

// Where the opt-in udev rule is: the installed copy next to the program's other data, found as
// every data file is, at <directory of the executable>/../share/quillvane.
std::string rulePath() {
    std::error_code error;
    const auto exe = std::filesystem::read_symlink("/proc/self/exe", error);
    if (!error) {
        const auto candidate = exe.parent_path() / ".." / "share" / "quillvane" / ruleName;
        if (std::filesystem::exists(candidate, error))
            return std::filesystem::weakly_canonical(candidate, error).string();
    }
    return std::string("/usr/share/quillvane/") + ruleName;
}

std::string explainOpenFailure(int error) {
    if (error == ENOENT || error == ENODEV || error == ENXIO)
        return "系统没有发送输入所需的 /dev/uinput，请加载内核的 uinput 模块（sudo modprobe uinput）";
    if (error == EACCES || error == EPERM) {
        const std::string rule = rulePath();
        // The command is the bracketed detail, shown the same in every language.
        return "此用户不能写入 /dev/uinput，Quillvane 无法创建输入设备；运行一次这条命令即可允许（" +
               ("sudo ln -s " + rule) +
               " /etc/udev/rules.d/ && sudo udevadm control --reload && sudo udevadm trigger "
               "/dev/uinput）";
    }
    return std::string("无法通过 /dev/uinput 创建输入设备（") + std::strerror(error) + "）";
}

// The displays the compositor lays the pointer on: the connected DRM connectors' preferred modes,
// side by side in connector order (the arrangement itself is the compositor's and not readable
// here); a common laptop panel when none can be read. Relative motion is clamped by the compositor,
// so a guess only makes the shadow pointer less exact, never the real one wrong.
std::vector<DisplayRect> connectedDisplays() {
    std::vector<std::filesystem::path> connectors;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/sys/class/drm", error))
        connectors.push_back(entry.path());
    std::sort(connectors.begin(), connectors.end());
    std::vector<DisplayRect> displays;
    double x = 0;
    for (const auto& connector : connectors) {
        std::ifstream status(connector / "status");
        std::string state;
        if (!(status >> state) || state != "connected")
            continue;
        std::ifstream modes(connector / "modes");
        std::string mode;
        int width = 0;
        int height = 0;
        if (!(modes >> mode) || std::sscanf(mode.c_str(), "%dx%d", &width, &height) != 2 ||
            width <= 0 || height <= 0)
            continue;
        displays.push_back({x, 0, double(width), double(height)});
        x += width;
    }
    if (displays.empty())
        displays.push_back({0, 0, 1920, 1080});
    return displays;
}

class UinputBackend final : public InputBackend {
public:
    UinputBackend();
    ~UinputBackend() override;

    UinputBackend(const UinputBackend&) = delete;
    UinputBackend& operator=(const UinputBackend&) = delete;

    std::string_view name() const override { return "uinput"; }
    bool canPost() const override { return m_device != nullptr; }
    std::string unavailableReason() const override { return m_reason; }

    std::vector<DisplayRect> displays() override;
    std::optional<TrackpadVector> pointerLocation() override;

    void mouse(const MouseEvent& event) override;
    void scroll(const ScrollEvent& event) override;
    void key(std::uint16_t macKeyCode, bool down) override;
    void text(std::string_view character) override;
    void flush() override;
    void discardPendingText() override;

private:
    void write(unsigned int type, unsigned int code, int value);
    void sync() { write(EV_SYN, SYN_REPORT, 0); }
    void press(unsigned int code, bool down);
    void moveTo(TrackpadVector target);
    void postMotion(TrackpadVector delta);
    void postMouse(const MouseEvent& event);
    void postScroll(const ScrollEvent& event);
    void releaseHeld();
    void type(const KeyStroke& stroke);
    void pressPaste();
    const LayoutKeys* layout() const;
    // Posts now, or behind the pastes still waiting, so that nothing overtakes pasted text.
    void post(std::function<void()> event);

    libevdev_uinput* m_device = nullptr;
    std::string m_reason;
    std::vector<DisplayRect> m_displays;
    // Where this backend has put the pointer, as far as it can know, and the fraction of a pixel
    // not yet posted on each axis.
    ShadowPointer m_shadow;
    TrackpadVector m_unposted;
    HiResWheel m_wheel;
    std::optional<LayoutKeys> m_layout;
    // Under a Wayland compositor: its displays, its keymap, and its clipboard for the characters
    // the keymap has no key for.
    std::unique_ptr<WaylandSession> m_session;
    std::unique_ptr<ClipboardTextRoute> m_route;
    // Keys and buttons this device holds down, released before it goes away.
    std::set<unsigned int> m_held;
    // Owns the deferred loss notice, which goes with the backend.
    QObject m_context;
};

UinputBackend::UinputBackend() {
    libevdev* description = libevdev_new();
    libevdev_set_name(description, uinputDeviceName);
    libevdev_set_id_bustype(description, BUS_VIRTUAL);
    libevdev_enable_event_type(description, EV_REL);
    for (unsigned int code : {REL_X, REL_Y, REL_WHEEL, REL_HWHEEL, REL_WHEEL_HI_RES,
                              REL_HWHEEL_HI_RES})
        libevdev_enable_event_code(description, EV_REL, code, nullptr);
    libevdev_enable_event_type(description, EV_KEY);
    for (unsigned int code : {BTN_LEFT, BTN_RIGHT, BTN_MIDDLE})
        libevdev_enable_event_code(description, EV_KEY, code, nullptr);
    // Every key of a full keyboard, so that any key of the layout can type its character.
    for (unsigned int code = KEY_ESC; code < BTN_MISC; ++code)
        libevdev_enable_event_code(description, EV_KEY, code, nullptr);
    const int status =
        libevdev_uinput_create_from_device(description, LIBEVDEV_UINPUT_OPEN_MANAGED, &m_device);
    libevdev_free(description);
    if (status != 0) {
        m_device = nullptr;
        m_reason = explainOpenFailure(-status);
        return;
    }
    std::string noCompositor;
    if (std::getenv("WAYLAND_DISPLAY"))
        m_session = WaylandSession::connect(noCompositor);
    if (m_session && !m_session->displays().empty())
        m_displays = m_session->displays();
    else
        m_displays = connectedDisplays();
    m_layout = LayoutKeys::systemDefault();
    if (m_session && m_session->clipboard())
        m_route = std::make_unique<ClipboardTextRoute>(*m_session->clipboard(),
                                                       [this] { pressPaste(); });
}

UinputBackend::~UinputBackend() {
    if (!m_device)
        return;
    // Events still waiting behind a paste are posted first, then the user's clipboard restored.
    m_route.reset();
    releaseHeld();
    libevdev_uinput_destroy(m_device);
}

// The kernel's input core also releases the keys of a device that goes away; releasing them here
// as well keeps the guarantee from resting on that alone.
void UinputBackend::releaseHeld() {
    const std::set<unsigned int> held = std::exchange(m_held, {});
    for (unsigned int code : held)
        write(EV_KEY, code, 0);
    if (!held.empty())
        sync();
}

void UinputBackend::write(unsigned int type, unsigned int code, int value) {
    if (!m_device)
        return;
    const int status = libevdev_uinput_write_event(m_device, type, code, value);
    // Only a device the kernel took away fails here; what it held went with it.
    if (status != 0 && status != -EAGAIN) {
        m_reason = std::string("uinput 设备不再接受输入（") + std::strerror(-status) + "）";
        m_held.clear();
        libevdev_uinput_destroy(std::exchange(m_device, nullptr));
        // Told from the event loop, never from inside the call that found it.
        QTimer::singleShot(0, &m_context, [this] { notifyLost(); });
    }
}

void UinputBackend::press(unsigned int code, bool down) {
    if (down == m_held.contains(code))
        return;
    write(EV_KEY, code, down ? 1 : 0);
    if (down)
        m_held.insert(code);
    else
        m_held.erase(code);
}

std::vector<DisplayRect> UinputBackend::displays() {
    if (!canPost())
        return {};
    if (m_session && !m_session->isLost())
        if (auto live = m_session->displays(); !live.empty())
            m_displays = std::move(live);
    return m_displays;
}

const LayoutKeys* UinputBackend::layout() const {
    if (m_session && m_session->layout())
        return &*m_session->layout();
    return m_layout ? &*m_layout : nullptr;
}

void UinputBackend::post(std::function<void()> event) {
    if (m_route)
        m_route->post(std::move(event));
    else
        event();
}

std::optional<TrackpadVector> UinputBackend::pointerLocation() {
    if (!canPost())
        return std::nullopt;
    return m_shadow.position();
}

// The compositor moves its pointer by what the device reports, clamped to its outputs; the shadow
// follows the same clamp so that the next move starts where the pointer really stopped.
void UinputBackend::moveTo(TrackpadVector target) {
    if (!std::isfinite(target.x) || !std::isfinite(target.y))
        return;
    m_shadow.setDisplays(displays());
    if (!m_shadow.position())
        postMotion(m_shadow.home());
    postMotion(m_shadow.moveTo(target));
}

// The device counts whole units; what is left of a pixel is carried into the next motion.
void UinputBackend::postMotion(TrackpadVector delta) {
    const double dx = delta.x + m_unposted.x;
    const double dy = delta.y + m_unposted.y;
    const int wholeX = static_cast<int>(std::trunc(dx));
    const int wholeY = static_cast<int>(std::trunc(dy));
    m_unposted = {dx - wholeX, dy - wholeY};
    if (wholeX != 0)
        write(EV_REL, REL_X, wholeX);
    if (wholeY != 0)
        write(EV_REL, REL_Y, wholeY);
    if (wholeX != 0 || wholeY != 0)
        sync();
}

void UinputBackend::mouse(const MouseEvent& event) {
    if (canPost())
        post([this, event] { postMouse(event); });
}

void UinputBackend::postMouse(const MouseEvent& event) {
    if (!canPost())
        return;
    moveTo(event.position);
    unsigned int button = 0;
    bool down = false;
    switch (event.type) {
    case MouseEventType::moved:
    case MouseEventType::leftDragged:
        return;
    case MouseEventType::leftDown:
    case MouseEventType::leftUp:
        button = BTN_LEFT;
        down = event.type == MouseEventType::leftDown;
        break;
    case MouseEventType::rightDown:
    case MouseEventType::rightUp:
        button = BTN_RIGHT;
        down = event.type == MouseEventType::rightDown;
        break;
    }
    // The compositor counts double clicks from the timing of presses, as with a real mouse.
    press(button, down);
    sync();
}

void UinputBackend::scroll(const ScrollEvent& event) {
    if (canPost())
        post([this, event] { postScroll(event); });
}

void UinputBackend::postScroll(const ScrollEvent& event) {
    if (!canPost())
        return;
    const WheelMotion motion = m_wheel.add(event);
    if (motion.verticalHiRes != 0)
        write(EV_REL, REL_WHEEL_HI_RES, motion.verticalHiRes);
    if (motion.horizontalHiRes != 0)
        write(EV_REL, REL_HWHEEL_HI_RES, motion.horizontalHiRes);
    if (motion.verticalDetents != 0)
        write(EV_REL, REL_WHEEL, motion.verticalDetents);
    if (motion.horizontalDetents != 0)
        write(EV_REL, REL_HWHEEL, motion.horizontalDetents);
    if (motion != WheelMotion{})
        sync();
}

void UinputBackend::key(std::uint16_t macKeyCode, bool down) {
    if (!canPost())
        return;
    if (const auto evdev = evdevKeyForMacKey(macKeyCode))
        post([this, code = *evdev, down] {
            press(code, down);
            sync();
        });
}

// Each change its own frame, so that the desktop sees the modifier state change before the key.
void UinputBackend::type(const KeyStroke& stroke) {
    if (!canPost())
        return;
    for (const auto& [code, down] :
         strokeChanges(stroke, [this](std::uint16_t key) { return m_held.contains(key); })) {
        press(code, down);
        sync();
    }
}

// Ctrl with the key that types "v" in this keymap: programs match the shortcut by its character.
void UinputBackend::pressPaste() {
    const auto v = layout() ? layout()->strokeFor(U'v') : std::nullopt;
    type({{KEY_LEFTCTRL}, v ? v->key : std::uint16_t{KEY_V}});
}

// Each character as the keys of the layout that type it (the compositor's keymap under Wayland,
// else the system keyboard's); one it lacks is pasted where a compositor lets us set the clipboard.
void UinputBackend::text(std::string_view character) {
    if (canPost())
        typeText(character, layout(), m_route.get(),
                 [this](const KeyStroke& stroke) { type(stroke); });
}

void UinputBackend::flush() {
    if (m_session)
        m_session->flush();
}

void UinputBackend::discardPendingText() {
    if (m_route)
        m_route->discardPendingText();
}

} // namespace

std::unique_ptr<InputBackend> makeUinputBackend() {
    return std::make_unique<UinputBackend>();
}

} // namespace quillvane
