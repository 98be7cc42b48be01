// The KWin backend against a headless KWin: what a focused Wayland window (wev) receives, and how
// the backend is chosen and refused.

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "integration/IntegrationTest.h"
#include "integration/support/BackendHost.h"
#include "integration/support/CompositorProcess.h"
#include "integration/support/TextFieldWindow.h"
#include "integration/support/WevRecorder.h"
#include "platform/kwin/KWinBackend.h"

namespace quillvane {
namespace {

using namespace testing_support;
using Events = std::vector<WevEvent>;

class KWinBackendTest : public testing_support::IntegrationTest {
protected:
    static void SetUpTestSuite() {
        // The desktop-entry check that lets only installed programs in is KWin's own and is lifted
        // here; a second compositor below keeps it.
        s_kwin = std::make_unique<CompositorProcess>(
            "kwin", "kwin-test", std::map<std::string, std::string>{
                                     {"KWIN_WAYLAND_NO_PERMISSION_CHECKS", "1"}});
    }
    static void TearDownTestSuite() { s_kwin.reset(); }

    void SetUp() override {
        IntegrationTest::SetUp();
        ASSERT_TRUE(s_kwin->waitUntilReady()) << s_kwin->output();
        setenv("WAYLAND_DISPLAY", "kwin-test", 1);
        m_wev = std::make_unique<WevRecorder>("kwin-test");
        ASSERT_TRUE(m_wev->waitForKeyboardFocus()) << "wev never got the keyboard";
        m_backend = makeKWinBackend();
        ASSERT_TRUE(m_backend->canPost()) << m_backend->unavailableReason();
        // The seat gains a pointer once the backend's device exists; wev enters with it.
        ASSERT_TRUE(m_wev->waitFor([](const Events& events) {
            return WevRecorder::hasEvent(events, "wl_pointer", "enter");
        }));
        m_wev->clear();
    }

    void TearDown() override {
        m_backend.reset();
        m_wev.reset();
    }

    static inline std::unique_ptr<CompositorProcess> s_kwin;
    std::unique_ptr<WevRecorder> m_wev;
    std::unique_ptr<InputBackend> m_backend;
};

// quillvane-controller, run as a process, drives a host session posting through KWin, the user's
// mouse a second fake input device; nothing stays held when the controller dies, or when the
// program stops with a button down.
TEST_F(KWinBackendTest, theControllerDrivesTheWindowFromWhereThePointerIsAndNothingStaysHeld) {
    EXPECT_EQ(m_backend->displays(), (std::vector<DisplayRect>{{0, 0, 1024, 768}}));
    auto mouse = makeKWinBackend();
    const auto userMoves = [&](TrackpadVector delta) {
        mouse->moveBy(delta);
        mouse->flush();
    };
    {
        BackendHost session(*m_backend);
        expectTheControllerDrivesTheWindow(session, *m_wev, userMoves, "Hi!");
        EXPECT_TRUE(controllerDeathLetsGo(session, [&] { return heldAfter(m_wev->events()); }));
    }
    EXPECT_TRUE(stoppingTheBackendLetsGo(m_backend, *m_wev));
}

TEST_F(KWinBackendTest, textOfAnyScriptArrivesAndTheUsersClipboardIsKept) {
    TextFieldWindow field("kwin-test");
    BackendHost session(*m_backend);
    expectTextArrivesAndTheUsersCopyIsKept(session, field, true);
}

// KWin chosen where it is the session's compositor; a KWin that goes away takes the backend's
// right to post with it, and says so; refused, with the step that fixes it, where KWin's
// desktop-entry check stands.
TEST_F(KWinBackendTest, chosenUnderKWinLostWithItAndRefusedWhenNotStartedFromItsEntry) {
    EXPECT_EQ(backendChosenWithoutX(), "kwin");
    s_kwin->stop();
    EXPECT_TRUE(waitUntil([&] { return !m_backend->canPost(); }, 5000));
    EXPECT_NE(m_backend->unavailableReason().find("经 KWin 发送输入已停止"), std::string::npos)
        << m_backend->unavailableReason();

    CompositorProcess guarded("kwin", "kwin-guarded");
    ASSERT_TRUE(guarded.waitUntilReady()) << guarded.output();
    setenv("WAYLAND_DISPLAY", "kwin-guarded", 1);
    const auto refused = makeKWinBackend();
    EXPECT_FALSE(refused->canPost());
    EXPECT_NE(refused->unavailableReason().find("已安装的桌面项"), std::string::npos)
        << refused->unavailableReason();
}

} // namespace
} // namespace quillvane
