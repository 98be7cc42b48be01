// The wlroots backend against a headless sway: what a focused Wayland window (wev) receives, what
// happens when the compositor goes away and comes back, and when the backend is chosen.

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <QProcess>

#include "InputBackends.h"
#include "integration/IntegrationTest.h"
#include "integration/support/BackendHost.h"
#include "integration/support/CompositorProcess.h"
#include "integration/support/WevRecorder.h"
#include "platform/wlroots/WlrootsBackend.h"

namespace quillvane {
namespace {

using namespace testing_support;
using Events = std::vector<WevEvent>;

constexpr const char* socketName = "sway-test";

class WlrootsBackendTest : public testing_support::IntegrationTest {
protected:
    static void SetUpTestSuite() {
        s_sway = std::make_unique<CompositorProcess>("sway", socketName);
    }
    static void TearDownTestSuite() { s_sway.reset(); }

    void SetUp() override {
        IntegrationTest::SetUp();
        ASSERT_TRUE(s_sway->waitUntilReady()) << s_sway->output();
        setenv("WAYLAND_DISPLAY", socketName, 1);
        // The seat has a pointer and a keyboard only once the backend's devices exist.
        m_backend = makeWlrootsBackend();
        ASSERT_TRUE(m_backend->canPost()) << m_backend->unavailableReason();
        m_wev = std::make_unique<WevRecorder>(socketName);
        ASSERT_TRUE(m_wev->waitForKeyboardFocus()) << "wev never got the keyboard";
        // The pointer over the window, where the user's mouse moves it on.
        swaymsg(QStringLiteral("seat seat0 cursor set 512 384"));
        ASSERT_TRUE(m_wev->waitFor([](const Events& events) {
            return WevRecorder::hasEvent(events, "wl_pointer", "enter");
        })) << described(m_wev->events());
    }

    static void swaymsg(const QString& command) {
        const std::string ipc = std::string(std::getenv("XDG_RUNTIME_DIR")) + "/" + socketName +
                                ".ipc";
        ASSERT_EQ(QProcess::execute(QStringLiteral("swaymsg"),
                                    {QStringLiteral("-s"), QString::fromStdString(ipc), command}),
                  0);
    }

    void TearDown() override {
        m_backend.reset();
        m_wev.reset();
    }

    static inline std::unique_ptr<CompositorProcess> s_sway;
    std::unique_ptr<WevRecorder> m_wev;
    std::unique_ptr<InputBackend> m_backend;
};

// A compositor that goes away takes what our devices held with it: the host's issue says input
// stopped and no drag is believed held; once a compositor answers on the same socket, input
// posts again and the issue goes.
TEST_F(WlrootsBackendTest, aLostCompositorIsReportedAndFoundAgain) {
    BackendHost session(*m_backend);
    session.input().setDrag(true, false);
    m_wev.reset();
    s_sway.reset();
    // Waited for by its words: another test may stop avahi-daemon meanwhile, and its issue too
    // would be the host's.
    EXPECT_TRUE(waitUntil([&] {
        return session.host().issue().toStdString().find("经 Wayland 混成器发送输入已停止") != std::string::npos;
    }, 10000)) << session.host().issue().toStdString();
    EXPECT_FALSE(session.input().dragging());

    s_sway = std::make_unique<CompositorProcess>("sway", socketName);
    ASSERT_TRUE(s_sway->waitUntilReady()) << s_sway->output();
    ASSERT_TRUE(waitUntil([&] { return !session.host().hasIssue(); }, 10000))
        << session.host().issue().toStdString();
    m_wev = std::make_unique<WevRecorder>(socketName);
    ASSERT_TRUE(m_wev->waitForKeyboardFocus());
    session.input().move({{30, 20}});
    session.input().click(false, false);
    EXPECT_TRUE(m_wev->waitFor([](const Events& events) {
        return buttonStates(events) == std::vector{1, 0};
    })) << described(m_wev->events());
}

// quillvane-controller, run as a process, drives a host session whose InputController posts
// through this backend: text of any script types as keys, and the gesture's end stops the
// finger's scroll; when the controller dies or the program stops with a button or key down, it is
// let go.
TEST_F(WlrootsBackendTest, theControllerDrivesTheWindowFromWhereThePointerIs) {
    EXPECT_EQ(m_backend->displays(), (std::vector<DisplayRect>{{0, 0, 1024, 768}}));
    auto session = std::make_unique<BackendHost>(*m_backend);
    const auto userMoves = [](TrackpadVector delta) {
        swaymsg(QStringLiteral("seat seat0 cursor move %1 %2").arg(delta.x).arg(delta.y));
    };
    const Events events =
        expectTheControllerDrivesTheWindow(*session, *m_wev, userMoves, "Hello, 世界 👋");
    const auto sources = named(events, "axis_source");
    const auto stops = named(events, "axis_stop");
    EXPECT_TRUE(!sources.empty() && sources[0].fields.find("finger") != std::string::npos);
    EXPECT_TRUE(!stops.empty() && stops[0].number("axis") == 0) << described(events);

    EXPECT_TRUE(controllerDeathLetsGo(*session, [&] { return heldAfter(m_wev->events()); }));
    session.reset();
    EXPECT_TRUE(stoppingTheBackendLetsGo(m_backend, *m_wev));

    // Chosen where sway is the session's compositor and there is no X server; without a
    // compositor of ours, X alone is posted to through XTest.
    EXPECT_EQ(backendChosenWithoutX(), "wlroots");
    unsetenv("WAYLAND_DISPLAY");
    EXPECT_EQ(chooseInputBackend(compiledInputBackends(), "")->name(), "x11");
}

} // namespace
} // namespace quillvane
