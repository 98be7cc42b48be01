// An utterance through the host session: admission, the input gate, completion and the ways it
// is abandoned, as the phone sees them.

#include "HostTestSupport.h"

#include "Random.h"

using namespace quillvane;
using namespace quillvane::test;
using Kind = WireMessage::Kind;

namespace {

class HostVoice : public HostFixture {
protected:
    void SetUp() override {
        HostFixture::SetUp();
        startHost();
        m_host->setPrepDelay(0.05);
        m_phone = std::make_unique<TestController>(*m_host);
        ASSERT_TRUE(m_phone->bind());
        m_input.clear();
    }

    Uuid begin() {
        const Uuid session = randomUuid();
        WireMessage voiceBegin(Kind::voiceBegin);
        voiceBegin.session = session;
        m_phone->control().send(voiceBegin);
        return session;
    }

    std::unique_ptr<TestController> m_phone;
};

} // namespace

TEST_F(HostVoice, anUtteranceGatesInputAndIsPlayedOutThenAnsweredWithVoiceDone) {
    const Uuid session = begin();
    const auto ready = m_phone->await(m_phone->control(), Kind::voiceReady);
    ASSERT_TRUE(ready);
    EXPECT_EQ(ready->session, session);
    EXPECT_TRUE(m_host->speaking());
    EXPECT_EQ(m_host->status(), QStringLiteral("正在接收手机语音"));
    EXPECT_EQ(inputCalls("beginShortcut code=49 modifiers=0xc0000 mode=hold"), 1u);

    // While speaking, other control messages are dropped unanswered, whatever session they name.
    WireMessage move(Kind::move);
    move.movementSamples = std::vector<TrackpadVector>{{1, 1}};
    move.session = randomUuid();
    m_phone->control().send(move);
    m_phone->control().send(WireMessage(Kind::welcome));

    for (int sequence = 0; sequence < 3; ++sequence)
        m_phone->audio().send(audioPacket(session, sequence, 4'800));
    WireMessage end(Kind::voiceEnd);
    end.session = session;
    end.sequence = 2;
    m_phone->audio().send(end);

    const auto done = m_phone->await(m_phone->control(), Kind::voiceDone);
    ASSERT_TRUE(done);
    EXPECT_EQ(done->session, session);
    EXPECT_EQ(m_audio.receivedSamples(), 14'400);
    EXPECT_FALSE(m_host->speaking());
    EXPECT_EQ(m_host->status(), QStringLiteral("手机已连接"));
    EXPECT_GE(inputCalls("releaseShortcut"), 1u);
    EXPECT_EQ(inputCalls("move"), 0u);

    m_phone->control().send(move);
    EXPECT_TRUE(QTest::qWaitFor([&] { return inputCalls("move") == 1; }, kGenerousMs));
    for (const auto& message : m_phone->received(m_phone->control()))
        EXPECT_NE(message.kind, Kind::failure);
}

TEST_F(HostVoice, aBadPacketOrABacklogFailsTheUtteranceWithItsSession) {
    const Uuid session = begin();
    ASSERT_TRUE(m_phone->await(m_phone->control(), Kind::voiceReady));
    m_phone->audio().send(audioPacket(session, 1, 100)); // packet 0 never came

    const auto failure = m_phone->await(m_phone->control(), Kind::failure);
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->text, "音频分包序号异常，请重试");
    EXPECT_EQ(failure->session, session);
    EXPECT_EQ(m_host->issue(), QStringLiteral("音频分包序号异常，请重试"));
    EXPECT_FALSE(m_host->speaking());
    EXPECT_GE(inputCalls("releaseAll"), 1u);
    EXPECT_FALSE(m_phone->isClosed(m_phone->audio()));

    // Late packets of the abandoned utterance are dropped without another reply.
    m_phone->audio().send(audioPacket(session, 0, 100));
    WireMessage heartbeat(Kind::heartbeat);
    m_phone->control().send(heartbeat);
    ASSERT_TRUE(m_phone->await(m_phone->control(), Kind::heartbeat));
    EXPECT_FALSE(m_phone->await(m_phone->control(), Kind::failure, 1, 300));

    // Eleven full packets at once: the first ten are exactly two seconds, the eleventh is over.
    const Uuid next = begin();
    ASSERT_TRUE(m_phone->await(m_phone->control(), Kind::voiceReady, 1));
    const std::int64_t before = m_audio.receivedSamples();
    for (int sequence = 0; sequence < 11; ++sequence)
        m_phone->audio().send(audioPacket(next, sequence, 4'800));
    const auto backlog = m_phone->await(m_phone->control(), Kind::failure, 1);
    ASSERT_TRUE(backlog);
    EXPECT_EQ(backlog->text, "电脑音频播放积压超过两秒，请重试");
    EXPECT_EQ(backlog->session, next);
    EXPECT_EQ(m_audio.receivedSamples() - before, 48'000);
}

TEST_F(HostVoice, voiceBeginNeedsAVirtualDeviceAndAReadyMicrophone) {
    m_host->setDeviceUID(QString());
    begin();
    auto failure = m_phone->await(m_phone->control(), Kind::failure);
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->text, "请先在电脑选择虚拟音频输出设备");

    m_host->setDeviceUID(QString::fromStdString(virtualDevice().uid));
    m_microphone.setState(MicrophoneState{MicrophoneState::Kind::missing, {}});
    begin();
    failure = m_phone->await(m_phone->control(), Kind::failure, 1);
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->text, "Quillvane Microphone 尚未安装");
    EXPECT_FALSE(m_host->speaking());
}

TEST_F(HostVoice, aSettingChangeACancelOrADisconnectAbandonsTheUtterance) {
    const Uuid session = begin();
    ASSERT_TRUE(m_phone->await(m_phone->control(), Kind::voiceReady));
    m_host->setHotkeyCode(50);
    const auto failure = m_phone->await(m_phone->control(), Kind::failure);
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->text, "电脑语音设置已改变，请重新开始");
    EXPECT_EQ(failure->session, session);
    EXPECT_EQ(m_settings->value(QStringLiteral("hotkeyCode")).toLongLong(), 50);

    begin();
    ASSERT_TRUE(m_phone->await(m_phone->control(), Kind::voiceReady, 1));
    m_phone->control().send(WireMessage(Kind::cancel));
    EXPECT_TRUE(QTest::qWaitFor([&] { return !m_host->speaking(); }, kGenerousMs));
    EXPECT_GE(inputCalls("releaseAll"), 1u);

    begin();
    ASSERT_TRUE(m_phone->await(m_phone->control(), Kind::voiceReady, 2));
    m_phone->control().close();
    EXPECT_TRUE(QTest::qWaitFor([&] { return !m_host->speaking() && !m_host->connected(); },
                                kGenerousMs));
    EXPECT_FALSE(m_audio.device().has_value());
}
