// The wlroots backend against a headless sway: what a focused Wayland window (wev) receives, what
// happens when the compositor goes away and comes back, and when the backend is chosen.

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <linux/input-event-codes.h>

#include <QProcess>

#include "InputBackends.h"
#include "integration/IntegrationTest.h"
#include "integration/support/BackendHost.h"
#include "integration/support/CompositorProcess.h"
#include "integration/support/WevRecorder.h"
#include "platform/wlroots/WlrootsBackend.h"

namespace quillvane {
namespace {

using testing_support::BackendHost;
using testing_support::CompositorProcess;
using testing_support::WevEvent;
using testing_support::WevRecorder;
using testing_support::buttonStates;
using testing_support::controllerDeathLetsGo;
using testing_support::heldAfter;
using testing_support::stoppingTheBackendLetsGo;
using testing_support::described;
using testing_support::keyChanges;
using testing_support::named;
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
        placePointer(512, 384);
    }

    // Puts the seat's pointer at (x, y) as the user's own mouse would, by sway's own command,
    // and waits for wev to see it there.
    void placePointer(int x, int y) {
        const std::string ipc = std::string(std::getenv("XDG_RUNTIME_DIR")) + "/" + socketName +
                                ".ipc";
        ASSERT_EQ(QProcess::execute(QStringLiteral("swaymsg"),
                                    {QStringLiteral("-s"), QString::fromStdString(ipc),
                                     QStringLiteral("seat seat0 cursor set %1 %2").arg(x).arg(y)}),
                  0);
        // Where wev maps only after the move, it learns the position from the pointer's enter.
        ASSERT_TRUE(m_wev->waitFor([&](const Events& events) {
            for (auto event = events.rbegin(); event != events.rend(); ++event)
                if (event->name == "motion" || (event->name == "enter" && event->interface == "wl_pointer"))
                    return event->position() == std::pair(double(x), double(y));
            return false;
        })) << "the pointer never reached " << x << "," << y << "; wev saw:\n"
            << described(m_wev->events());
        m_wev->clear();
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
    EXPECT_TRUE(testing_support::waitUntil([&] {
        return session.host().issue().toStdString().find("经 Wayland 混成器发送输入已停止") != std::string::npos;
    }, 10000)) << session.host().issue().toStdString();
    EXPECT_FALSE(session.input().dragging());

    s_sway = std::make_unique<CompositorProcess>("sway", socketName);
    ASSERT_TRUE(s_sway->waitUntilReady()) << s_sway->output();
    ASSERT_TRUE(testing_support::waitUntil([&] { return !session.host().hasIssue(); }, 10000))
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
// through this backend: moves, clicks, scrolls, keys and text of any script reach the window (keys
// after the text under the seat's keymap again), moves continuing from wherever the pointer is by
// exactly the motion given, which sway stops at the output's edge; when the controller dies or the
// program stops with a button or key down, it is let go.
TEST_F(WlrootsBackendTest, theControllerDrivesTheWindowFromWhereThePointerIs) {
    EXPECT_EQ(m_backend->displays(), (std::vector<DisplayRect>{{0, 0, 1024, 768}}));
    auto session = std::make_unique<BackendHost>(*m_backend);
    ASSERT_TRUE(session->startController()) << session->controllerOutput();

    session->send("move 40 -20");
    ASSERT_TRUE(m_wev->waitFor([](const Events& events) { return !named(events, "motion").empty(); }));
    // The user's own mouse moves the pointer meanwhile: the phone's next move starts there.
    const Events first = m_wev->events();
    placePointer(300, 200);
    session->send("move 30 10");
    session->send("move 2000 0");
    session->send("click");
    session->send("scroll 0 12 began");
    session->send("scroll 0 0 ended");
    session->send("key 6 1179648"); // Command+Shift+Z, posted as Control+Shift+Z
    session->send("text Hello, 世界 👋");
    session->send("key 0"); // A, under the seat's keymap again
    const auto typed = [](const Events& events) {
        std::string text;
        const auto keys = named(events, "key");
        for (auto key = keys.begin() + std::min<std::ptrdiff_t>(6, keys.size()); key != keys.end();
             ++key)
            if (key->number("state") == 1)
                text += key->utf8();
        return text;
    };
    ASSERT_TRUE(m_wev->waitFor([&](const Events& events) {
        return typed(events) == "Hello, 世界 👋a";
    })) << "wev saw:\n" << described(m_wev->events());
    const Events events = m_wev->events();
    EXPECT_EQ(named(first, "motion").front().position(), std::pair(552.0, 364.0));
    const auto motions = named(events, "motion");
    ASSERT_GE(motions.size(), 2u) << described(events);
    EXPECT_EQ(motions[0].position(), std::pair(330.0, 210.0));
    EXPECT_EQ(motions[1].position(), std::pair(1023.0, 210.0));
    EXPECT_TRUE(testing_support::isOneLeftClick(events));
    // Down the page is positive on Wayland, where a Mac's positive pixels move the view up; the
    // gesture's end stops the finger-sourced axis.
    const auto axes = named(events, "axis");
    const auto sources = named(events, "axis_source");
    const auto stops = named(events, "axis_stop");
    ASSERT_FALSE(axes.empty() || sources.empty() || stops.empty()) << described(events);
    EXPECT_EQ(axes[0].number("axis"), 0);
    EXPECT_LT(*axes[0].number("value"), 0);
    EXPECT_NE(sources[0].fields.find("finger"), std::string::npos);
    EXPECT_EQ(stops[0].number("axis"), 0);
    const auto changes = keyChanges(events);
    EXPECT_EQ(std::vector<std::string>(changes.begin(), changes.begin() + 6),
              (std::vector<std::string>{"+29", "+42", "+44", "-44", "-42", "-29"}));
    EXPECT_NE(named(events, "key")[2].fields.find("sym: Z"), std::string::npos);
    EXPECT_NE(named(events, "modifiers").back().fields.find("depressed: 00000000"),
              std::string::npos)
        << "a modifier is still held";

    EXPECT_TRUE(controllerDeathLetsGo(*session, [&] { return heldAfter(m_wev->events()); }));
    session.reset();
    EXPECT_TRUE(stoppingTheBackendLetsGo(m_backend, *m_wev));
}

// Chosen where sway is the session's compositor and there is no X server; without a compositor
// of ours, X alone is posted to through XTest.
TEST_F(WlrootsBackendTest, chosenUnderSwayAndXTestWithoutIt) {
    m_backend.reset();
    EXPECT_EQ(testing_support::backendChosenWithoutX(), "wlroots");
    unsetenv("WAYLAND_DISPLAY");
    EXPECT_EQ(chooseInputBackend(compiledInputBackends(), "")->name(), "x11");
}

} // namespace
} // namespace quillvane
