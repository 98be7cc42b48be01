// The uinput backend against a real kernel: this program runs as the first program of a qemu
// guest booted from Debian's own kernel (see run-in-guest), where /dev/uinput exists, and reads
// what the backend posts back from the device's /dev/input/event node with libevdev, as a
// compositor would.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <libevdev/libevdev.h>

#include "InputBackends.h"
#include "platform/uinput/UinputBackend.h"

namespace quillvane {
namespace {

using Event = std::tuple<unsigned int, unsigned int, int>; // type, code, value
using Events = std::vector<Event>;

constexpr std::uint16_t macZ = 6, macShift = 56, macCommand = 55, macA = 0;

// The event node the kernel made for our device, opened for reading.
class DeviceReader {
public:
    DeviceReader() {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (!m_device && std::chrono::steady_clock::now() < deadline) {
            // Nodes that are not evdev ones (mice) libevdev refuses.
            for (const auto& entry : std::filesystem::directory_iterator("/dev/input")) {
                const int fd = open(entry.path().c_str(), O_RDONLY | O_NONBLOCK);
                libevdev* device = nullptr;
                if (fd >= 0 && libevdev_new_from_fd(fd, &device) == 0 &&
                    std::string(libevdev_get_name(device)) == uinputDeviceName) {
                    m_fd = fd;
                    m_device = device;
                    break;
                }
                libevdev_free(device); // nothing for a null device
                if (fd >= 0)
                    close(fd);
            }
            if (!m_device)
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }
    ~DeviceReader() {
        libevdev_free(m_device);
        if (m_fd >= 0)
            close(m_fd);
    }
    bool found() const { return m_device != nullptr; }

    // Everything that arrives until the device has been quiet for a while, without the
    // SYN_REPORT frames; stops early once the device is gone.
    Events read() {
        Events events;
        pollfd waiting{m_fd, POLLIN, 0};
        while (poll(&waiting, 1, 300) > 0) {
            input_event event;
            int status = 0;
            while ((status = libevdev_next_event(m_device, LIBEVDEV_READ_FLAG_NORMAL, &event)) ==
                   LIBEVDEV_READ_STATUS_SUCCESS) {
                if (event.type != EV_SYN)
                    events.emplace_back(event.type, event.code, event.value);
            }
            if (status != -EAGAIN)
                break; // the device went away
        }
        return events;
    }

private:
    int m_fd = -1;
    libevdev* m_device = nullptr;
};

class UinputGuestTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(std::filesystem::exists("/dev/uinput"))
            << "this test runs inside the qemu guest that tests/integration/uinput/run-in-guest "
               "boots";
        m_backend = makeUinputBackend();
        ASSERT_TRUE(m_backend->canPost()) << m_backend->unavailableReason();
        m_reader = std::make_unique<DeviceReader>();
        ASSERT_TRUE(m_reader->found()) << "no event node carries the device's name";
    }

    std::unique_ptr<InputBackend> m_backend;
    std::unique_ptr<DeviceReader> m_reader;
};

TEST_F(UinputGuestTest, pointerMovesClicksAndScrollsAsAMouseWould) {
    // The pointer moves on from wherever it is: the first motion is the motion given.
    m_backend->moveBy({100, 50});
    EXPECT_EQ(m_reader->read(), (Events{{EV_REL, REL_X, 100}, {EV_REL, REL_Y, 50}}));
    // Half pixels are carried, not lost: the second half makes a whole one.
    m_backend->moveBy({10.5, -4});
    m_backend->moveBy({0.5, 0});
    m_backend->mouse({MouseEventType::leftDown, {}, 1});
    m_backend->mouse({MouseEventType::leftUp, {}, 1});
    m_backend->mouse({MouseEventType::rightDown, {}, 1});
    m_backend->mouse({MouseEventType::rightUp, {}, 1});
    EXPECT_EQ(m_reader->read(), (Events{{EV_REL, REL_X, 10},
                                        {EV_REL, REL_Y, -4},
                                        {EV_REL, REL_X, 1},
                                        {EV_KEY, BTN_LEFT, 1},
                                        {EV_KEY, BTN_LEFT, 0},
                                        {EV_KEY, BTN_RIGHT, 1},
                                        {EV_KEY, BTN_RIGHT, 0}}));

    // 50 pixels are one detent (120 units); two of 25 make half a detent each, and the detent
    // comes with the second; positive horizontal pixels move the view left, the kernel's minus.
    m_backend->scroll({.wheel1 = 50});
    m_backend->scroll({.wheel1 = -25});
    m_backend->scroll({.wheel1 = -25});
    m_backend->scroll({.wheel2 = 50});
    EXPECT_EQ(m_reader->read(), (Events{{EV_REL, REL_WHEEL_HI_RES, 120},
                                        {EV_REL, REL_WHEEL, 1},
                                        {EV_REL, REL_WHEEL_HI_RES, -60},
                                        {EV_REL, REL_WHEEL_HI_RES, -60},
                                        {EV_REL, REL_WHEEL, -1},
                                        {EV_REL, REL_HWHEEL_HI_RES, -120},
                                        {EV_REL, REL_HWHEEL, -1}}));
}

TEST_F(UinputGuestTest, keysKeepTheirMacPositionAndEveryHeldOneIsReleasedBeforeTheDeviceGoes) {
    for (const auto key : {macCommand, macShift, macZ})
        m_backend->key(key, true);
    for (const auto key : {macZ, macShift, macCommand})
        m_backend->key(key, false);
    EXPECT_EQ(m_reader->read(), (Events{{EV_KEY, KEY_LEFTMETA, 1},
                                        {EV_KEY, KEY_LEFTSHIFT, 1},
                                        {EV_KEY, KEY_Z, 1},
                                        {EV_KEY, KEY_Z, 0},
                                        {EV_KEY, KEY_LEFTSHIFT, 0},
                                        {EV_KEY, KEY_LEFTMETA, 0}}));

    // Text as the layout's keys ("us" here: no /etc/default/keyboard in the guest), Shift only
    // around the characters that need it.
    m_backend->text("Hi!\n");
    EXPECT_EQ(m_reader->read(), (Events{{EV_KEY, KEY_LEFTSHIFT, 1},
                                        {EV_KEY, KEY_H, 1},
                                        {EV_KEY, KEY_H, 0},
                                        {EV_KEY, KEY_LEFTSHIFT, 0},
                                        {EV_KEY, KEY_I, 1},
                                        {EV_KEY, KEY_I, 0},
                                        {EV_KEY, KEY_LEFTSHIFT, 1},
                                        {EV_KEY, KEY_1, 1},
                                        {EV_KEY, KEY_1, 0},
                                        {EV_KEY, KEY_LEFTSHIFT, 0},
                                        {EV_KEY, KEY_ENTER, 1},
                                        {EV_KEY, KEY_ENTER, 0}}));

    // Held at the end: a key and the left button (a drag). A second press of a held key adds
    // nothing the kernel would have to balance.
    m_backend->key(macA, true);
    m_backend->key(macA, true);
    m_backend->mouse({MouseEventType::leftDown, {0, 0}, 1});
    Events held = m_reader->read();
    std::erase_if(held, [](const Event& event) { return std::get<0>(event) != EV_KEY; });
    EXPECT_EQ(held, (Events{{EV_KEY, KEY_A, 1}, {EV_KEY, BTN_LEFT, 1}}));
    // The node yields nothing once the device is gone, so it is read while the backend goes.
    Events released;
    std::thread reading([&] { released = m_reader->read(); });
    m_backend.reset();
    reading.join();
    std::sort(released.begin(), released.end());
    EXPECT_EQ(released, (Events{{EV_KEY, KEY_A, 0}, {EV_KEY, BTN_LEFT, 0}}));
}

// Where nothing else offers input, the host chooses uinput; where /dev/uinput is missing or not
// writable, the explanation names what fixes it.
TEST(UinputGuestSelection, uinputIsChosenWhereItIsTheOnlyWayAndExplainedWhereItCannot) {
    unsetenv("DISPLAY");
    unsetenv("WAYLAND_DISPLAY");
    EXPECT_EQ(chooseInputBackend(compiledInputBackends(), "")->name(), "uinput");

    const pid_t child = fork();
    if (child == 0) {
        // As an ordinary user, /dev/uinput (0600 root) is not writable.
        if (setresgid(65534, 65534, 65534) != 0 || setresuid(65534, 65534, 65534) != 0)
            _exit(2);
        const auto backend = makeUinputBackend();
        const std::string reason = backend->unavailableReason();
        std::printf("as nobody: %s\n", reason.c_str());
        _exit(!backend->canPost() && reason.find("udevadm trigger /dev/uinput") != std::string::npos
                  ? 0
                  : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);

    std::filesystem::rename("/dev/uinput", "/dev/uinput.away");
    const auto missing = makeUinputBackend();
    std::filesystem::rename("/dev/uinput.away", "/dev/uinput");
    EXPECT_FALSE(missing->canPost());
    EXPECT_NE(missing->unavailableReason().find("sudo modprobe uinput"), std::string::npos)
        << missing->unavailableReason();
}

} // namespace
} // namespace quillvane
