// The Mutter backend against a headless Mutter on a private session bus: what a focused Wayland
// window receives (wev for pointer and keys, a Qt text field for text), what happens when Mutter
// goes away and comes back, and when the backend is chosen.

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <QProcess>

#include "integration/IntegrationTest.h"
#include "integration/support/BackendHost.h"
#include "integration/support/CompositorProcess.h"
#include "integration/support/TextFieldWindow.h"
#include "integration/support/WevRecorder.h"
#include "platform/mutter/MutterBackend.h"

namespace quillvane {
namespace {

using namespace testing_support;
using Events = std::vector<WevEvent>;

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
        ASSERT_TRUE(waitUntil([&] { return m_backend->canPost(); }, 15000))
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
        ASSERT_TRUE(waitUntil([&] { return m_mouse->canPost(); }, 15000));
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
    BackendHost session(*m_backend);
    expectTextArrivesAndTheUsersCopyIsKept(session, field, false);

    session.send("text a\ab");
    const std::string reason = "无法在这个桌面输入文字中的字符";
    EXPECT_TRUE(waitUntil([&] {
        return session.controllerOutput().find(reason) != std::string::npos;
    })) << session.controllerOutput();
    EXPECT_EQ(session.host().issue().toStdString(), reason);
}

// Mutter restarting (GNOME Shell crashing) ends the session and what it held: the host's issue
// says input stopped and no drag is believed held; with Mutter back, a new session posts and the
// issue goes.
TEST_F(MutterBackendTest, chosenUnderGnomeAndALostSessionIsReportedAndMadeAgain) {
    // Chosen where Mutter is the session's compositor and there is no X server.
    EXPECT_EQ(backendChosenWithoutX(), "mutter");
    BackendHost session(*m_backend);
    session.input().setDrag(true, false);
    std::ifstream pidFile(std::string(std::getenv("XDG_RUNTIME_DIR")) + "/" + socketName + ".pid");
    pid_t pid = 0;
    pidFile >> pid;
    ASSERT_GT(pid, 0);
    kill(pid, SIGKILL);
    // Waited for by its words: another test may stop avahi-daemon meanwhile, and its issue too
    // would be the host's.
    EXPECT_TRUE(waitUntil([&] {
        return session.host().issue().toStdString().find("GNOME") != std::string::npos;
    }, 10000)) << session.host().issue().toStdString();
    EXPECT_FALSE(session.input().dragging());

    ASSERT_TRUE(waitUntil([&] { return !session.host().hasIssue(); }, 15000))
        << session.host().issue().toStdString();
    ASSERT_TRUE(s_mutter->waitUntilReady()) << s_mutter->output();
    openWev();
    session.input().click(false, false);
    EXPECT_TRUE(m_wev->waitFor([](const Events& events) {
        return buttonStates(events) == std::vector{1, 0};
    })) << described(m_wev->events());
}

// quillvane-controller, run as a process, drives a host session posting through Mutter (the euro
// sign typed as a key, not pasted, once the user's XKB options are read; Mutter 43 passes the
// gesture's finish on as a finger's frame without an axis_stop); when the controller dies, nothing
// it held stays down.
TEST_F(MutterBackendTest, theControllerDrivesTheWindowFromWhereThePointerIs) {
    openWev();
    BackendHost session(*m_backend);
    const auto userMoves = [&](TrackpadVector delta) {
        m_mouse->moveBy(delta);
        m_mouse->flush();
    };
    const Events events = expectTheControllerDrivesTheWindow(session, *m_wev, userMoves, "€");
    const auto sources = named(events, "axis_source");
    EXPECT_TRUE(!sources.empty() && sources[0].fields.find("finger") != std::string::npos);
    EXPECT_TRUE(controllerDeathLetsGo(session, [&] { return heldAfter(m_wev->events()); }));
}

} // namespace
} // namespace quillvane
