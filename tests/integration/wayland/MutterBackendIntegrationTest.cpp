// The Mutter backend against a headless Mutter on a private session bus: what a focused Wayland
// window receives (wev for pointer and keys, a Qt text field for text), what happens when Mutter
// goes away and comes back, and when the backend is chosen.

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <linux/input-event-codes.h>

#include <QProcess>

#include "InputBackends.h"
#include "integration/IntegrationTest.h"
#include "integration/support/BackendHost.h"
#include "integration/support/CompositorProcess.h"
#include "integration/support/TextFieldWindow.h"
#include "integration/support/WevRecorder.h"
#include "platform/mutter/MutterBackend.h"

namespace quillvane {
namespace {

using testing_support::BackendHost;
using testing_support::CompositorProcess;
using testing_support::TextFieldWindow;
using testing_support::WevEvent;
using testing_support::WevRecorder;
using testing_support::buttonStates;
using testing_support::described;
using testing_support::keyChanges;
using testing_support::named;
using Events = std::vector<WevEvent>;

constexpr std::uint16_t macShift = 56;
constexpr const char* socketName = "mutter-test";

// Mutter's private session bus, as its starter wrote it down.
void useMuttersBus() {
    std::ifstream file(std::string(std::getenv("XDG_RUNTIME_DIR")) + "/" + socketName + ".bus");
    std::string address;
    std::getline(file, address);
    setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
}

class MutterBackendTest : public testing_support::IntegrationTest {
protected:
    static void SetUpTestSuite() {
        // The user's GNOME settings, in a file of the run: XKB options that put a euro sign on
        // AltGr+E. In a session GNOME Shell hands them to Mutter; Mutter alone keeps its plain US
        // keymap, which has the sign on the euro key, so both ends can type it as a key, and the
        // backend only believes so when it has read the options.
        const std::string config = std::string(std::getenv("QUILLVANE_TEST_ENV_DIR")) +
                                   "/mutter/config";
        std::filesystem::create_directories(config);
        setenv("XDG_CONFIG_HOME", config.c_str(), 1);
        setenv("GSETTINGS_BACKEND", "keyfile", 1);
        QProcess::execute(QStringLiteral("gsettings"),
                          {QStringLiteral("set"), QStringLiteral("org.gnome.desktop.input-sources"),
                           QStringLiteral("xkb-options"),
                           QStringLiteral("['lv3:ralt_switch', 'eurosign:e']")});
        s_mutter = std::make_unique<CompositorProcess>("mutter", socketName);
    }
    static void TearDownTestSuite() { s_mutter.reset(); }

    void SetUp() override {
        IntegrationTest::SetUp();
        ASSERT_TRUE(s_mutter->waitUntilReady()) << s_mutter->output();
        setenv("WAYLAND_DISPLAY", socketName, 1);
        useMuttersBus();
        // Mutter's socket comes before its names on the bus; the backend opens its session when
        // the remote desktop name appears.
        m_backend = makeMutterBackend();
        ASSERT_TRUE(testing_support::waitUntil([&] { return m_backend->canPost(); }, 15000))
            << m_backend->unavailableReason();
        ASSERT_EQ(m_backend->displays(), (std::vector<DisplayRect>{{0, 0, 1024, 768}}));
    }

    void TearDown() override {
        m_mouse.reset();
        m_backend.reset();
        m_wev.reset();
    }

    // wev, focused, with the pointer over it: placed there by a second remote desktop session,
    // the user's own mouse, pushed into the top-left corner and walked down the diagonal.
    void openWev() {
        m_wev = std::make_unique<WevRecorder>(socketName);
        ASSERT_TRUE(m_wev->waitForKeyboardFocus()) << "wev never got the keyboard";
        m_mouse = makeMutterBackend();
        ASSERT_TRUE(testing_support::waitUntil([&] { return m_mouse->canPost(); }, 15000));
        m_mouse->moveBy({-5000, -5000});
        for (int i = 0; i < 60 && !WevRecorder::hasEvent(m_wev->events(), "wl_pointer", "enter");
             ++i) {
            m_mouse->moveBy({12, 9});
            m_mouse->flush();
            m_wev->waitFor([](const Events& events) {
                return WevRecorder::hasEvent(events, "wl_pointer", "enter");
            }, 250);
        }
        ASSERT_TRUE(WevRecorder::hasEvent(m_wev->events(), "wl_pointer", "enter"))
            << "the pointer never entered wev; it saw:\n" << described(m_wev->events());
        moveMouse({40, 30});
    }

    // Moves the user's mouse by `delta` and waits until wev sees it; where the pointer is then.
    std::pair<double, double> moveMouse(TrackpadVector delta) {
        m_wev->clear();
        m_mouse->moveBy(delta);
        m_mouse->flush();
        m_wev->waitFor([](const Events& events) { return !named(events, "motion").empty(); });
        const auto motions = named(m_wev->events(), "motion");
        m_wev->clear();
        return motions.empty() ? std::pair(-1.0, -1.0) : *motions.back().position();
    }

    static inline std::unique_ptr<CompositorProcess> s_mutter;
    std::unique_ptr<WevRecorder> m_wev;
    std::unique_ptr<InputBackend> m_backend;
    std::unique_ptr<InputBackend> m_mouse;
};

// Texts from quillvane-controller: the session's first, with characters the layout has no key for,
// is pasted; one the layout can type goes as keysyms; after a paste the user's own copy is back on
// the clipboard; one with a character that can be neither typed nor pasted (a bell) comes back to
// the controller as a failure and is the host's issue.
TEST_F(MutterBackendTest, textOfAnyScriptArrivesTheClipboardIsKeptAndWhatCannotFailsVisibly) {
    TextFieldWindow field(socketName);
    ASSERT_TRUE(field.waitUntilFocused()) << "the text field never got the keyboard";
    BackendHost session(*m_backend);
    ASSERT_TRUE(session.startController()) << session.controllerOutput();
    session.send("text Hello, 世界 👋");
    ASSERT_EQ(field.waitForText("Hello, 世界 👋"), "Hello, 世界 👋");
    session.send("text  Hi!"); // the controller trims its lines, not inner spaces
    ASSERT_EQ(field.waitForText("Hello, 世界 👋 Hi!"), "Hello, 世界 👋 Hi!");
    ASSERT_TRUE(field.copy("the user's copy")) << "Mutter never took the window's copy";
    // At once: Mutter's word of the copy may reach the host only after the paste's selection.
    session.send("text  再见");
    EXPECT_EQ(field.waitForText("Hello, 世界 👋 Hi! 再见"), "Hello, 世界 👋 Hi! 再见");
    EXPECT_EQ(field.waitForClipboard("the user's copy"), "the user's copy");

    session.send("text a\ab");
    const std::string reason = "无法在这个桌面输入文字中的字符";
    EXPECT_TRUE(testing_support::waitUntil([&] {
        return session.controllerOutput().find(reason) != std::string::npos;
    })) << session.controllerOutput();
    EXPECT_EQ(session.host().issue().toStdString(), reason);
}

// Mutter restarting (GNOME Shell crashing) ends the session and what it held: the host's issue
// says input stopped and no drag is believed held; with Mutter back, a new session posts and the
// issue goes.
TEST_F(MutterBackendTest, aLostSessionIsReportedAndMadeAgain) {
    BackendHost session(*m_backend);
    session.input().setDrag(true, false);
    std::ifstream pidFile(std::string(std::getenv("XDG_RUNTIME_DIR")) + "/" + socketName + ".pid");
    pid_t pid = 0;
    pidFile >> pid;
    ASSERT_GT(pid, 0);
    kill(pid, SIGKILL);
    // Waited for by its words: another test may stop avahi-daemon meanwhile, and its issue too
    // would be the host's.
    EXPECT_TRUE(testing_support::waitUntil([&] {
        return session.host().issue().toStdString().find("GNOME") != std::string::npos;
    }, 10000)) << session.host().issue().toStdString();
    EXPECT_FALSE(session.input().dragging());

    ASSERT_TRUE(testing_support::waitUntil([&] { return !session.host().hasIssue(); }, 15000))
        << session.host().issue().toStdString();
    ASSERT_TRUE(s_mutter->waitUntilReady()) << s_mutter->output();
    openWev();
    session.input().click(false, false);
    EXPECT_TRUE(m_wev->waitFor([](const Events& events) {
        return buttonStates(events) == std::vector{1, 0};
    })) << described(m_wev->events());
}

// quillvane-controller, run as a process, drives a host session posting through Mutter: moves
// continue from wherever the pointer is, and clicks, scrolls and keys reach the window (the euro
// sign typed as a key, not pasted, once the user's XKB options are read); when the controller dies,
// nothing it held stays down.
TEST_F(MutterBackendTest, theControllerDrivesTheWindowFromWhereThePointerIs) {
    openWev();
    BackendHost session(*m_backend);
    ASSERT_TRUE(session.startController()) << session.controllerOutput();
    // The phone's first move starts where the user's mouse left the pointer, and so does its
    // next one after the mouse moved it again; Mutter moves the pointer by the motion as sent
    // (factor 1 in every run, from 1 to 100 pixels at 8 to 300 ms apart). The mouse's nudge of
    // half a pixel is how the test learns where the pointer is.
    const auto [x0, y0] = moveMouse({0, 0.5});
    session.send("move 30 10");
    ASSERT_TRUE(m_wev->waitFor([](const Events& events) { return !named(events, "motion").empty(); }));
    const auto [x1, y1] = *named(m_wev->events(), "motion").front().position();
    EXPECT_NEAR(x1 - x0, 30, 1);
    EXPECT_NEAR(y1 - y0, 10, 1);
    const auto [x2, y2] = moveMouse({-70, 20});
    session.send("move 30 10");
    session.send("click");
    session.send("scroll 0 12 began");
    session.send("scroll 0 0 ended");
    session.send("key 6 1179648"); // Command+Shift+Z, posted as Control+Shift+Z
    session.send("text €");
    ASSERT_TRUE(m_wev->waitFor([](const Events& events) {
        return named(events, "axis_source").size() >= 2 && keyChanges(events).size() >= 8;
    })) << "wev saw:\n" << described(m_wev->events());
    const Events events = m_wev->events();
    const auto [x3, y3] = *named(events, "motion").front().position();
    EXPECT_NEAR(x3 - x2, 30, 1);
    EXPECT_NEAR(y3 - y2, 10, 1);

    EXPECT_TRUE(testing_support::isOneLeftClick(events));

    // Mutter 43 passes the gesture's finish on as a finger-sourced frame without an axis_stop.
    const auto axes = named(events, "axis");
    ASSERT_FALSE(axes.empty());
    EXPECT_EQ(axes[0].number("axis"), 0);
    EXPECT_LT(*axes[0].number("value"), 0) << "a Mac's positive pixels move the view up";
    EXPECT_NE(named(events, "axis_source").front().fields.find("finger"), std::string::npos);

    const auto changes = keyChanges(events);
    EXPECT_EQ(std::vector<std::string>(changes.begin(), changes.begin() + 6),
              (std::vector<std::string>{"+29", "+42", "+44", "-44", "-42", "-29"}));
    const auto keys = named(events, "key");
    EXPECT_NE(keys[2].fields.find("sym: Z"), std::string::npos) << keys[2].fields;
    EXPECT_NE(described(named(events, "modifiers")).find("Shift Control"), std::string::npos)
        << "Z came without Control and Shift";
    EXPECT_TRUE(std::any_of(keys.begin(), keys.end(), [](const WevEvent& key) {
        return key.utf8() == "€";
    })) << "the euro sign was not typed as a key; wev saw:\n" << described(events);
    EXPECT_NE(named(events, "modifiers").back().fields.find("depressed: 00000000"),
              std::string::npos)
        << "a modifier is still held";
    EXPECT_TRUE(testing_support::controllerDeathLetsGo(
        session, [&] { return testing_support::heldAfter(m_wev->events()); }));
}

// Chosen where Mutter is the session's compositor and there is no X server.
TEST_F(MutterBackendTest, chosenUnderGnome) {
    m_backend.reset();
    EXPECT_EQ(testing_support::backendChosenWithoutX(), "mutter");
}

} // namespace
} // namespace quillvane
