#include "UinputBackend.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <unistd.h>

#include <libevdev/libevdev-uinput.h>
#include <libevdev/libevdev.h>
#include <linux/input-event-codes.h>

#include "HiResWheel.h"
#include "platform/common/PostingBackend.h"
#include "platform/wayland/WaylandSession.h"

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

class UinputBackend final : public PostingBackend {
public:
    UinputBackend();
    ~UinputBackend() override;

    UinputBackend(const UinputBackend&) = delete;
    UinputBackend& operator=(const UinputBackend&) = delete;

    std::string_view name() const override { return "uinput"; }
    std::vector<DisplayRect> displays() override;

private:
    // The device counts whole units; what is left of a pixel is carried into the next motion.
    void postMotion(TrackpadVector delta) override;
    void postButton(std::uint32_t code, bool down) override { postKey(code, down); }
    void postKey(std::uint32_t code, bool down) override;
    void postScroll(const ScrollEvent& event) override;
    void send() override;
    const LayoutKeys* layout() override;

    void write(unsigned int type, unsigned int code, int value);
    void sync() { write(EV_SYN, SYN_REPORT, 0); }

    libevdev_uinput* m_device = nullptr;
    std::vector<DisplayRect> m_displays;
    TrackpadVector m_unposted;
    HiResWheel m_wheel;
    std::optional<LayoutKeys> m_layout;
    // Under a Wayland compositor: its displays, its keymap, and its clipboard for the characters
    // the keymap has no key for.
    std::unique_ptr<WaylandSession> m_session;
};

UinputBackend::UinputBackend() : PostingBackend() {
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
        lose(explainOpenFailure(-status));
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
    setAvailable(m_session ? m_session->clipboard() : nullptr);
}

// The kernel's input core also releases the keys of a device that goes away; releasing them here
// as well keeps the guarantee from resting on that alone.
UinputBackend::~UinputBackend() {
    letGo();
    if (m_device)
        libevdev_uinput_destroy(m_device);
}

void UinputBackend::write(unsigned int type, unsigned int code, int value) {
    if (!m_device)
        return;
    const int status = libevdev_uinput_write_event(m_device, type, code, value);
    // Only a device the kernel took away fails here; what it held went with it.
    if (status != 0 && status != -EAGAIN) {
        libevdev_uinput_destroy(std::exchange(m_device, nullptr));
        lose(std::string("uinput 设备不再接受输入（") + std::strerror(-status) + "）");
    }
}

std::vector<DisplayRect> UinputBackend::displays() {
    if (!canPost())
        return {};
    if (m_session && !m_session->isLost())
        if (auto live = m_session->displays(); !live.empty())
            m_displays = std::move(live);
    return m_displays;
}

const LayoutKeys* UinputBackend::layout() {
    if (m_session && m_session->layout())
        return &*m_session->layout();
    return m_layout ? &*m_layout : nullptr;
}

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

// Each change its own frame, so that the desktop sees a modifier change before the key; the
// compositor counts double clicks from the timing of presses, as with a real mouse.
void UinputBackend::postKey(std::uint32_t code, bool down) {
    write(EV_KEY, code, down ? 1 : 0);
    sync();
}

void UinputBackend::postScroll(const ScrollEvent& event) {
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

void UinputBackend::send() {
    if (m_session)
        m_session->flush();
}

} // namespace

std::unique_ptr<InputBackend> makeUinputBackend() {
    return std::make_unique<UinputBackend>();
}

} // namespace quillvane
