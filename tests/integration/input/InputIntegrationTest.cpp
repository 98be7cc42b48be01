// The phone's input from end to end: quillvane-controller, run as a process, drives a host session
// whose InputController posts through the X11 backend to the two-head X server of
// scripts/test-env. Every check reads what a user would see: the server's pointer, buttons and
// keys, and the events a test window receives.

#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>

#include <memory>
#include <string>
#include <vector>

#include "integration/IntegrationTest.h"
#include "integration/support/X11TestClient.h"

#include "HostModel.h"
#include "InputController.h"
#include "Random.h"
#include "Uptime.h"
#include "keychain/KeychainStore.h"
#include "platform/recording/RecordingAudio.h"
#include "platform/x11/X11Backend.h"
#include "protocol/Unicode.h"

// Last: its macros would break the Qt headers above.
#include <X11/Xlib.h>

namespace quillvane {
namespace {

using testing_support::codePointOf;
using testing_support::waitUntil;
using testing_support::X11TestClient;
using Strings = std::vector<std::string>;

// Bounds that only keep a broken build from hanging; not timing requirements.
constexpr int kGenerousMs = 20'000;
// Quiet time after which no further event is expected.
constexpr int kQuietMs = 300;
// Whatever the controller held is let go this soon after it dies, however it died.
constexpr int kReleaseLimitMs = 5'000;
constexpr double kDoubleClickInterval = 0.5;

class InputSession : public testing_support::IntegrationTest {
protected:
    void SetUp() override {
        IntegrationTest::SetUp();
        ASSERT_TRUE(m_client.isOpen()) << "cannot open the test X display";
        ASSERT_TRUE(m_dir.isValid());
        m_backend = makeX11Backend();
        ASSERT_TRUE(m_backend->canPost()) << m_backend->unavailableReason();
        m_input = std::make_unique<InputController>(*m_backend, uptimeSeconds,
                                                    [] { return kDoubleClickInterval; });
        m_settings = std::make_unique<QSettings>(m_dir.filePath(QStringLiteral("quillvane.ini")),
                                                 QSettings::IniFormat);
        m_keychain = std::make_unique<KeychainStore>(
            KeychainStore::fileStore(m_dir.filePath(QStringLiteral("data")).toStdString()));
        const OutputDevice microphone{7, "quillvane-microphone", "Quillvane Microphone", true};
        m_audio.setDevices({microphone});
        m_settings->setValue(QStringLiteral("audioDevice"), QString::fromStdString(microphone.uid));

        HostModel::Services services;
        services.keychain = m_keychain.get();
        services.input = m_input.get();
        services.audio = &m_audio;
        services.microphone = &m_microphone;
        services.settings = m_settings.get();
        services.uptime = uptimeSeconds;
        services.doubleClickInterval = [] { return kDoubleClickInterval; };
        services.computerName = [] { return std::string("Input Test Host"); };
        m_host = std::make_unique<HostModel>(services);
        m_host->setPrepDelay(0.05);
        m_host->start();
        ASSERT_TRUE(m_host->isStarted()) << m_host->issue().toStdString();
        startController();
    }

    void TearDown() override {
        if (m_controller) {
            m_controller->kill();
            m_controller->waitForFinished();
        }
        m_host.reset();
        m_input.reset();
        m_backend.reset();
        if (m_client.isOpen()) {
            EXPECT_TRUE(m_client.allKeysUp()) << "a key is still held";
            EXPECT_TRUE(m_client.noButtonHeld()) << "a button is still held";
        }
    }

    // A new quillvane-controller bound to the host, taking commands on its standard input.
    void startController() {
        m_output.clear();
        m_controller = std::make_unique<QProcess>();
        QObject::connect(m_controller.get(), &QProcess::readyReadStandardOutput, m_controller.get(),
                         [this] { m_output += m_controller->readAllStandardOutput(); });
        m_controller->start(QStringLiteral(QUILLVANE_BIN_DIR "/quillvane-controller"),
                            {QStringLiteral("--host"), QStringLiteral("127.0.0.1"),
                             QStringLiteral("--port"), QString::number(m_host->port()),
                             m_host->pairingLink()});
        ASSERT_TRUE(m_controller->waitForStarted());
        ASSERT_TRUE(printed("audio {\"kind\":\"welcome\"")) << m_output.toStdString();
    }

    void killController() {
        m_controller->kill();
        m_controller->waitForFinished();
        m_controller.reset();
    }

    void send(const std::string& line) {
        m_controller->write(QByteArray::fromStdString(line + "\n"));
    }

    void sendRaw(const WireMessage& message, const char* channel = "control") {
        send(std::string("raw ") + channel + " " + message.toJson());
    }

    // Whether the controller printed `text` (one of the host's messages) within the time.
    bool printed(const std::string& text) {
        const QByteArray wanted = QByteArray::fromStdString(text);
        return waitUntil([&] { return m_output.contains(wanted); }, kGenerousMs);
    }

    // The line the controller prints for the host's failure message with this text.
    static std::string failure(const std::string& text) {
        return R"(control {"kind":"failure","version":1,"text":")" + text + "\"}\n";
    }

    Uuid beginVoice() {
        const Uuid session = randomUuid();
        WireMessage begin(WireMessage::Kind::voiceBegin);
        begin.session = session;
        sendRaw(begin);
        return session;
    }

    // One short packet and its end; the host plays it out and answers with voiceDone.
    void finishVoice(const Uuid& session) {
        WireMessage packet(WireMessage::Kind::audio);
        packet.session = session;
        packet.sequence = 0;
        packet.pcm = Bytes(480 * 4, 0);
        sendRaw(packet, "audio");
        WireMessage end(WireMessage::Kind::voiceEnd);
        end.session = session;
        end.sequence = 0;
        sendRaw(end, "audio");
    }

    bool nothingMore() { return m_client.events(1, kQuietMs).empty(); }

    X11TestClient m_client;
    QTemporaryDir m_dir;
    std::unique_ptr<InputBackend> m_backend;
    std::unique_ptr<InputController> m_input;
    std::unique_ptr<QSettings> m_settings;
    std::unique_ptr<KeychainStore> m_keychain;
    RecordingAudio m_audio;
    FixedMicrophone m_microphone{MicrophoneState{MicrophoneState::Kind::ready, {}}};
    std::unique_ptr<HostModel> m_host;
    std::unique_ptr<QProcess> m_controller;
    QByteArray m_output;
};

TEST_F(InputSession, movesFollowThePathAcrossBothHeadsAndStopOnePointInside) {
    m_client.warpPointer(400, 300);
    send("move 300 0");
    EXPECT_TRUE(m_client.pointerReaches(700, 300, 0));
    send("move 200 50");
    EXPECT_TRUE(m_client.pointerReaches(900, 350, 0)) << "did not cross to the right head";
    send("move 2000 2000");
    EXPECT_TRUE(m_client.pointerReaches(1599, 599, 0));
    send("move -2000 -2000");
    EXPECT_TRUE(m_client.pointerReaches(0, 0, 0));
    // Each sample is clamped where it lands: the first stops at the right edge, the second
    // comes back 100 from there (the sum alone would end at the edge).
    send("move 700 300");
    send("move 1000 0 -100 0");
    EXPECT_TRUE(m_client.pointerReaches(1499, 300, 0));

    WireMessage tooLong(WireMessage::Kind::move);
    tooLong.x = 650;
    tooLong.y = 0;
    tooLong.movementSamples = std::vector<TrackpadVector>(65, TrackpadVector{10, 0});
    sendRaw(tooLong);
    EXPECT_TRUE(printed(failure("无效移动事件"))) << m_output.toStdString();
    EXPECT_TRUE(m_client.pointerReaches(1499, 300, 0));
    // The session goes on from where the refused batch left the pointer.
    send("move 1 1");
    EXPECT_TRUE(m_client.pointerReaches(1500, 301, 0));
}

TEST_F(InputSession, clicksReachTheWindowUnderThePointer) {
    m_client.openWindow(0, 0, 800, 600);
    m_client.warpPointer(300, 200);
    send("click");
    send("click");
    send("click right");
    const auto events = m_client.events(6);
    Strings seen;
    for (const auto& event : events)
        seen.push_back(event.describe());
    EXPECT_EQ(seen,
              (Strings{"+button1", "-button1", "+button1", "-button1", "+button3", "-button3"}));
    ASSERT_EQ(events.size(), 6u);
    // A double click to any client: the second press in the same place within the interval.
    EXPECT_EQ(events[2].x, events[0].x);
    EXPECT_EQ(events[2].y, events[0].y);
    EXPECT_LT(events[2].time - events[0].time, kDoubleClickInterval * 1000);
    EXPECT_TRUE(nothingMore());
}

TEST_F(InputSession, aDragHoldsTheButtonAcrossMovesAndAClickOnlyEndsIt) {
    m_client.openWindow(0, 0, 800, 600);
    m_client.warpPointer(700, 300);
    send("drag on");
    send("move 100 0");
    EXPECT_TRUE(m_client.pointerReaches(800, 300, Button1Mask));
    send("move 100 50");
    EXPECT_TRUE(m_client.pointerReaches(900, 350, Button1Mask));
    send("move 50 -50");
    EXPECT_TRUE(m_client.pointerReaches(950, 300, Button1Mask));
    send("drag off");
    EXPECT_TRUE(m_client.pointerReaches(950, 300, 0));
    EXPECT_EQ(m_client.described(2), (Strings{"+button1", "-button1"}));

    m_client.warpPointer(200, 200);
    send("drag on");
    send("move 20 0");
    EXPECT_TRUE(m_client.pointerReaches(220, 200, Button1Mask));
    send("click");
    EXPECT_TRUE(m_client.pointerReaches(220, 200, 0));
    EXPECT_EQ(m_client.described(2), (Strings{"+button1", "-button1"}));
    EXPECT_TRUE(nothingMore()) << "the click pressed a button of its own";
}

TEST_F(InputSession, keysAndTextArriveAsTypedWithNothingLeftHeld) {
    m_client.openWindow(0, 0, 400, 400);
    send("key 6 0x120000");
    const auto combination = m_client.events(6);
    Strings seen;
    for (const auto& event : combination)
        seen.push_back(event.describe());
    EXPECT_EQ(seen, (Strings{"+Shift_L", "+Super_L", "+Z", "-Z", "-Super_L", "-Shift_L"}));
    ASSERT_EQ(combination.size(), 6u);
    EXPECT_EQ(combination[2].state & (ShiftMask | Mod4Mask), unsigned(ShiftMask | Mod4Mask));
    EXPECT_TRUE(m_client.allKeysUp());

    const std::string text = "Hello, 世界 👋";
    send("text " + text);
    std::u32string expected;
    for (std::size_t offset = 0; offset < text.size();)
        expected += nextCodePoint(text, offset);
    std::u32string typed;
    for (const auto& event : m_client.events(2 * expected.size()))
        if (event.type == KeyPress)
            typed += codePointOf(event.keysym);
    EXPECT_EQ(typed, expected);

    send("key 127");
    EXPECT_TRUE(printed(failure("键盘控制需要辅助功能权限"))) << m_output.toStdString();
    EXPECT_TRUE(nothingMore());
}

TEST_F(InputSession, killingTheControllerReleasesWhatItHeld) {
    const auto released = [&] { return m_client.noButtonHeld() && m_client.allKeysUp(); };
    m_client.warpPointer(400, 300);
    send("drag on");
    send("move 30 0");
    ASSERT_TRUE(m_client.pointerReaches(430, 300, Button1Mask));
    killController();
    EXPECT_TRUE(waitUntil(released, kReleaseLimitMs)) << "the drag's button is still held";

    // The hold-mode voice shortcut is what stays held on the keyboard between messages.
    startController();
    beginVoice();
    ASSERT_TRUE(printed(R"("kind":"voiceReady")")) << m_output.toStdString();
    ASSERT_FALSE(m_client.allKeysUp());
    killController();
    EXPECT_TRUE(waitUntil(released, kReleaseLimitMs)) << "the voice shortcut is still held";
}

TEST_F(InputSession, theVoiceShortcutIsHeldOrTappedAsItsModeSays) {
    m_client.openWindow(0, 0, 400, 400);
    const Strings press{"+Control_L", "+Alt_L", "+space"};
    const Strings release{"-space", "-Alt_L", "-Control_L"};
    Strings tap = press;
    tap.insert(tap.end(), release.begin(), release.end());

    const Uuid held = beginVoice();
    EXPECT_EQ(m_client.described(3), press);
    ASSERT_TRUE(printed(R"("kind":"voiceReady")")) << m_output.toStdString();
    EXPECT_TRUE(nothingMore()) << "the shortcut was let go while speaking";
    finishVoice(held);
    EXPECT_TRUE(printed(R"("kind":"voiceDone")")) << m_output.toStdString();
    EXPECT_EQ(m_client.described(3), release);
    EXPECT_TRUE(m_client.allKeysUp());

    m_host->setShortcutMode(VoiceShortcutMode::toggle);
    m_output.clear();
    beginVoice();
    EXPECT_EQ(m_client.described(6), tap);
    EXPECT_TRUE(m_client.allKeysUp());
    ASSERT_TRUE(printed(R"("kind":"voiceReady")")) << m_output.toStdString();
    send("cancel");
    EXPECT_EQ(m_client.described(6), tap);
    EXPECT_TRUE(nothingMore());
}

} // namespace
} // namespace quillvane
