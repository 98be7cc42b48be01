#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "InputBackends.h"
#include "fakes/RecordingBackend.h"

using namespace quillvane;

namespace {

// A candidate that opens a recording backend named `name`, able to post or not, and notes that it
// was opened.
InputBackendFactory candidate(std::string name, bool canPost, std::vector<std::string>& opened) {
    return {name, [name, canPost, &opened] {
                opened.push_back(name);
                auto backend = std::make_unique<RecordingBackend>();
                backend->label = name;
                backend->permitted = canPost;
                backend->reason = name + " is missing";
                return std::unique_ptr<InputBackend>(std::move(backend));
            }};
}

} // namespace

TEST(InputBackends, takesTheFirstThatCanPostInPriorityOrder) {
    std::vector<std::string> opened;
    const std::vector<InputBackendFactory> candidates{candidate("x11", false, opened),
                                                      candidate("uinput", true, opened),
                                                      candidate("portal", true, opened)};
    chooseInputBackend(candidates);
    EXPECT_EQ(opened, (std::vector<std::string>{"x11", "uinput"}));
}

TEST(InputBackends, anOverrideOpensOnlyTheNamedBackend) {
    std::vector<std::string> opened;
    const std::vector<InputBackendFactory> candidates{candidate("x11", true, opened),
                                                      candidate("uinput", false, opened)};
    EXPECT_EQ(chooseInputBackend(candidates, "x11")->name(), "x11");

    const auto refused = chooseInputBackend(candidates, "uinput");
    EXPECT_FALSE(refused->canPost());
    EXPECT_EQ(refused->unavailableReason(), "uinput is missing");
    EXPECT_EQ(opened, (std::vector<std::string>{"x11", "uinput"}));

    EXPECT_EQ(chooseInputBackend(candidates, "wayland")->unavailableReason(),
              "未知的输入后端（wayland → x11, uinput）");
}

// The user reads one explanation: the desktop's own route where it is not Wayland; on Wayland
// the interfaces Quillvane knows, with the fallback's (the last candidate's) step.
TEST(InputBackends, whenNoneCanPostTheNullBackendExplainsTheWayOut) {
    std::vector<std::string> opened;
    const std::vector<InputBackendFactory> candidates{candidate("x11", false, opened),
                                                      {"uinput", [] { return nullptr; }}};
    unsetenv("WAYLAND_DISPLAY");
    unsetenv("XDG_SESSION_TYPE");
    const auto backend = chooseInputBackend(candidates);
    EXPECT_FALSE(backend->canPost());
    EXPECT_EQ(backend->name(), "none");
    EXPECT_EQ(backend->unavailableReason(), "x11 is missing");

    setenv("XDG_SESSION_TYPE", "wayland", 1);
    const std::string onWayland = chooseInputBackend(candidates)->unavailableReason();
    unsetenv("XDG_SESSION_TYPE");
    EXPECT_TRUE(onWayland.starts_with("这个 Wayland 桌面没有可以发送输入的接口")) << onWayland;
    EXPECT_TRUE(onWayland.ends_with("/dev/uinput（无法打开输入后端）")) << onWayland;
    EXPECT_FALSE(
        chooseInputBackend(std::span<const InputBackendFactory>())->unavailableReason().empty());
}
