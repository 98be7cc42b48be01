// The session's rules over fake links and a fake clock: binding, heartbeats, loss, routing, the
// rejection path and the voice path, wired as the host wires them, without TLS or Avahi.

#include <gtest/gtest.h>

#include <QSettings>
#include <QTemporaryDir>

#include "ControllerSession.h"
#include "HostSettings.h"
#include "InputHandler.h"
#include "VoiceRelay.h"
#include "fakes/FakeClock.h"
#include "fakes/FakeLink.h"
#include "fakes/FixedMicrophone.h"
#include "fakes/RecordingAudio.h"
#include "fakes/RecordingInput.h"
#include "net/LinkReception.h"

using namespace quillvane;
using Kind = WireMessage::Kind;

namespace {

const Uuid phoneID = Uuid::fromRandomBytes({1});
const Uuid otherID = Uuid::fromRandomBytes({2});
const Uuid utterance = Uuid::fromRandomBytes({3});

WireMessage hello(const char* channel, const Uuid& client = phoneID) {
    WireMessage message(Kind::hello);
    message.channel = channel;
    message.client = client;
    return message;
}

// A message written as the phone writes it; only the fields after kind and version are given.
WireMessage wire(const std::string& fields) {
    return WireMessage::fromJson(R"({"version":1,)" + fields + "}");
}

WireMessage withSession(Kind kind, std::optional<std::int64_t> sequence = {},
                        std::size_t samples = 0) {
    WireMessage message(kind);
    message.session = utterance;
    message.sequence = sequence;
    if (samples)
        message.pcm = Bytes(samples * 4, 0);
    return message;
}

class Session : public testing::Test {
protected:
    Session() {
        m_session.serve(m_reception);
        QObject::connect(&m_session, &ControllerSession::issueRaised,
                         [this](const QString& issue) { m_issue = issue; });
        m_audio.setDevices({{7, "quillvane-microphone", "Quillvane Microphone", true}});
        m_hostSettings.setDeviceUID(QStringLiteral("quillvane-microphone"));
    }

    // A new link whose peer sends `first`.
    FakeLink& connect(const WireMessage& first, const char* address = "192.168.1.20") {
        auto* link = new FakeLink(address);
        m_reception.receive(link);
        link->deliver(first);
        return *link;
    }
    // A phone with both channels bound.
    std::pair<FakeLink*, FakeLink*> bind() {
        FakeLink& control = connect(hello("control"));
        FakeLink& audio = connect(hello("audio"));
        EXPECT_TRUE(m_session.connected());
        m_input.clear();
        return {&control, &audio};
    }
    // The text of the last failure the controller was sent.
    static std::string failure(const FakeLink& control) {
        return control.last(Kind::failure).value_or(WireMessage(Kind::failure)).text.value_or("");
    }

    QTemporaryDir m_dir;
    QSettings m_settings{m_dir.filePath(QStringLiteral("q.ini")), QSettings::IniFormat};
    HostSettings m_hostSettings{m_settings};
    FakeClock m_clock;
    RecordingInput m_input;
    RecordingAudio m_audio{&m_clock};
    FixedMicrophone m_microphone{MicrophoneState{MicrophoneState::Kind::ready, {}}};
    ControllerSession m_session{m_clock, &m_input, [] { return 0.35; }};
    InputHandler m_handler{m_session, m_input};
    VoiceRelay m_voice{m_session, m_hostSettings, m_input, m_audio, m_microphone, m_clock};
    LinkReception m_reception{m_clock};
    QString m_issue;
};

} // namespace

TEST_F(Session, bindsControlThenAudioAndTurnsEveryOtherLinkAway) {
    // Nobody bound: an audio hello, or anything but a hello, closes that link; no issue.
    EXPECT_EQ(connect(hello("audio")).closeReason,
              QStringLiteral("电脑已连接其他控制端，或连接顺序错误"));
    EXPECT_EQ(connect(WireMessage(Kind::heartbeat)).closeReason, QStringLiteral("连接尚未就绪"));
    EXPECT_TRUE(m_issue.isEmpty());

    FakeLink& control = connect(hello("control"));
    EXPECT_EQ(control.last(Kind::welcome), wire(R"("kind":"welcome","doubleClickInterval":0.35)"));
    EXPECT_TRUE(m_session.controlBound());
    EXPECT_FALSE(m_session.connected());
    // Until the audio channel binds, even heartbeats are refused, and do not count as liveness.
    m_clock.advance(3);
    control.deliver(WireMessage(Kind::heartbeat));
    EXPECT_EQ(failure(control), "连接尚未就绪");
    EXPECT_FALSE(control.last(Kind::heartbeat));
    // An audio channel claiming another client id does not take the free place.
    EXPECT_TRUE(connect(hello("audio", otherID)).isClosed());

    FakeLink& audio = connect(hello("audio"));
    ASSERT_TRUE(audio.last(Kind::welcome));
    EXPECT_TRUE(m_session.connected());
    m_clock.advance(1.5);
    m_session.tick();
    EXPECT_FALSE(m_session.controlBound()) << "the refused heartbeat kept the controller alive";
}

TEST_F(Session, aBoundControllerIsAnsweredAndKeptWhileOthersAreTurnedAway) {
    auto [control, audio] = bind();
    control->deliver(WireMessage(Kind::heartbeat));
    EXPECT_EQ(control->last(Kind::heartbeat),
              wire(R"("kind":"heartbeat","doubleClickInterval":0.35)"));

    // Refusals on a bound channel are answered with a failure and become the issue; the session
    // goes on.
    control->deliver(hello("control"));
    EXPECT_EQ(failure(*control), "重复或无效握手");
    control->deliver(WireMessage(Kind::welcome));
    EXPECT_EQ(failure(*control), "无效控制消息");
    EXPECT_FALSE(control->last(Kind::failure)->session);
    EXPECT_EQ(m_issue, QStringLiteral("无效控制消息"));
    audio->deliver(WireMessage(Kind::move));
    EXPECT_EQ(failure(*control), "无效音频消息");
    // Bad input is refused before it is posted, and releases whatever was held.
    WireMessage tooMany(Kind::move);
    tooMany.movementSamples = std::vector<TrackpadVector>(65, TrackpadVector{1, 1});
    control->deliver(tooMany);
    EXPECT_EQ(failure(*control), "无效移动事件");
    EXPECT_EQ(m_input.count("move"), 0u);
    EXPECT_EQ(m_input.count("releaseAll"), 4u);
    m_input.setPermitted(false);
    control->deliver(wire(R"("kind":"drag","flag":true)"));
    EXPECT_EQ(failure(*control), "请授予辅助功能权限");
    EXPECT_EQ(m_input.count("drag"), 0u);

    // A second phone, a second audio channel of this one, and a link that is none of the bound
    // channels, are closed; the first phone keeps being served.
    EXPECT_EQ(connect(hello("control", otherID), "192.168.1.30").closeReason,
              QStringLiteral("电脑已连接其他控制端，或连接顺序错误"));
    EXPECT_TRUE(connect(hello("audio")).isClosed());
    EXPECT_EQ(connect(WireMessage(Kind::heartbeat)).closeReason,
              QStringLiteral("未绑定的控制通道"));
    EXPECT_FALSE(control->isClosed() || audio->isClosed());
    EXPECT_TRUE(m_session.connected());
}

// Moves, keys and text, every field given, reach the desktop through quillvane-controller in the
// X11 and Wayland tests; here the fields a phone may leave out, and a cancel.
TEST_F(Session, routesInputMessagesWithTheirDefaults) {
    auto [control, audio] = bind();
    for (const char* fields :
         {R"("kind":"scroll","y":-12.5,"scrollPhase":"began")", R"("kind":"click")",
          R"("kind":"drag","flag":true)", R"("kind":"cancel")"})
        control->deliver(wire(fields));
    const std::vector<std::string> expected = {
        "scroll x=0 y=-12.5 phase=began",
        "click right=false continuing=none",
        "drag held=true continuing=false",
        "releaseShortcut",
        "releaseAll",
    };
    EXPECT_EQ(m_input.calls(), expected);
    EXPECT_FALSE(control->last(Kind::failure));
    // A text the desktop refused after its message was taken fails as visibly.
    m_input.failLater("剪贴板不可用，文字未能输入");
    EXPECT_EQ(failure(*control), "剪贴板不可用，文字未能输入");
    EXPECT_EQ(m_issue, QStringLiteral("剪贴板不可用，文字未能输入"));
}

TEST_F(Session, aHeartbeatGapOverFourSecondsOrEitherChannelLostDropsTheControllerAndWhatItHeld) {
    auto [control, audio] = bind();
    m_clock.advance(ControllerSession::heartbeatLimit);
    m_session.tick();
    EXPECT_TRUE(m_session.connected()) << "a gap of exactly the limit keeps the controller";
    control->deliver(WireMessage(Kind::heartbeat));
    m_clock.advance(ControllerSession::heartbeatLimit + 0.01);
    m_session.tick();
    EXPECT_FALSE(m_session.connected());
    EXPECT_TRUE(control->isClosed() && audio->isClosed());
    EXPECT_EQ(m_issue, QStringLiteral("连接中断，已释放所有按键"));
    EXPECT_EQ(m_input.count("releaseAll"), 1u);

    // The places are free again each time: a phone binds at once.
    for (const bool audioFirst : {true, false}) {
        std::tie(control, audio) = bind();
        (audioFirst ? audio : control)->close(QStringLiteral("连接已关闭"));
        EXPECT_FALSE(m_session.controlBound());
        EXPECT_TRUE(control->isClosed() && audio->isClosed());
        EXPECT_EQ(m_input.count("releaseAll"), 1u);
    }
    bind();
}

TEST_F(Session, aLinkThatHasNotBoundByItsDeadlineIsClosed) {
    auto* idle = new FakeLink; // says nothing
    m_reception.receive(idle);
    FakeLink& control = connect(hello("control"));
    m_clock.advance(LinkReception::kBindDeadline - 0.01);
    EXPECT_FALSE(idle->isClosed());
    m_clock.advance(0.02);
    EXPECT_EQ(idle->closeReason, QStringLiteral("会话握手超时"));
    EXPECT_FALSE(control.isClosed());
}

TEST_F(Session, anUtteranceGatesInputAndIsPlayedOutThenAnsweredWithVoiceDone) {
    auto [control, audio] = bind();
    control->deliver(withSession(Kind::voiceBegin));
    EXPECT_EQ(m_input.count("beginShortcut code=49 modifiers=0xc0000 mode=hold"), 1u);
    EXPECT_FALSE(control->last(Kind::voiceReady));
    m_clock.advance(m_hostSettings.prepDelay());
    EXPECT_EQ(control->last(Kind::voiceReady), withSession(Kind::voiceReady));

    // While speaking, other control messages are dropped unanswered, whatever session they name.
    WireMessage move = withSession(Kind::move);
    move.movementSamples = std::vector<TrackpadVector>{{1, 1}};
    control->deliver(move);
    control->deliver(WireMessage(Kind::welcome));
    for (int sequence = 0; sequence < 3; ++sequence)
        audio->deliver(withSession(Kind::audio, sequence, 4'800));
    audio->deliver(withSession(Kind::voiceEnd, 2));
    m_clock.advance(1.0);
    EXPECT_EQ(control->last(Kind::voiceDone), withSession(Kind::voiceDone));
    EXPECT_EQ(m_input.count("move"), 0u);
    EXPECT_FALSE(control->last(Kind::failure));
    control->deliver(move);
    EXPECT_EQ(m_input.count("move"), 1u);
    // The next utterance taps the shortcut where the user chose that.
    m_hostSettings.setShortcutMode(VoiceShortcutMode::toggle);
    control->deliver(withSession(Kind::voiceBegin));
    EXPECT_EQ(m_input.count("beginShortcut code=49 modifiers=0xc0000 mode=toggle"), 1u);
}

TEST_F(Session, aBrokenUtteranceFailsWithItsSessionAndLatePacketsAreDropped) {
    auto [control, audio] = bind();
    control->deliver(withSession(Kind::voiceBegin));
    audio->deliver(withSession(Kind::audio, 1, 100)); // packet 0 never came
    WireMessage outOfOrder = withSession(Kind::failure);
    outOfOrder.text = "音频分包序号异常，请重试";
    EXPECT_EQ(control->last(Kind::failure), outOfOrder);
    EXPECT_EQ(m_issue, QStringLiteral("音频分包序号异常，请重试"));
    EXPECT_GE(m_input.count("releaseAll"), 1u);
    EXPECT_FALSE(audio->isClosed());
    audio->deliver(withSession(Kind::audio, 0, 100));
    EXPECT_EQ(control->sent.size(), 2u) << "a late packet was answered";
    // Voice that stops arriving expires at a tick, while the heartbeats go on.
    control->deliver(withSession(Kind::voiceBegin));
    for (double waited = 0; waited <= VoiceSession::staleAfter; waited += 2) {
        m_clock.advance(2);
        control->deliver(WireMessage(Kind::heartbeat));
    }
    m_session.tick();
    EXPECT_EQ(failure(*control), "音频超时，已释放语音快捷键");

    // No virtual device chosen, or the microphone not ready: the utterance does not start.
    m_hostSettings.setDeviceUID(QStringLiteral("speakers"));
    m_audio.setDevices({{8, "speakers", "Speakers", false}});
    control->deliver(withSession(Kind::voiceBegin));
    EXPECT_EQ(failure(*control), "请先在电脑选择虚拟音频输出设备");
    m_audio.setDevices({{7, "quillvane-microphone", "Quillvane Microphone", true}});
    m_hostSettings.setDeviceUID(QStringLiteral("quillvane-microphone"));
    m_microphone.setState(MicrophoneState{MicrophoneState::Kind::missing, {}});
    control->deliver(withSession(Kind::voiceBegin));
    EXPECT_EQ(failure(*control), "Quillvane Microphone 尚未安装");
    EXPECT_FALSE(m_voice.speaking());
}
