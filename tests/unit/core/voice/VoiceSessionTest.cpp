#include <gtest/gtest.h>

#include "unit/core/CoreTestSupport.h"
#include "voice/OutgoingVoice.h"
#include "voice/VoiceReceiveFailure.h"
#include "voice/VoiceSession.h"

using namespace quillvane;
using Failure = VoiceReceiveFailure;

namespace {

const Uuid utterance = Uuid::fromRandomBytes({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15});
const Uuid other = Uuid::fromRandomBytes({9, 9, 9});

// Expects `receive` to be refused for `detail`, leaving the session untouched.
void expectRefused(VoiceSession& session, const Uuid& id, std::int64_t sequence,
                   std::int64_t samples, const Failure::Detail& detail) {
    const VoiceSession before = session;
    try {
        session.receive(id, sequence, samples, 99.0);
        ADD_FAILURE() << "packet " << sequence << " was accepted";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.detail(), detail) << failure.debugDescription();
    }
    EXPECT_EQ(session, before);
}

// An audio message when `pcm` is given, else the voiceEnd naming `sequence` as the last.
WireMessage sent(std::int64_t sequence, std::optional<Bytes> pcm = std::nullopt) {
    WireMessage message(pcm ? WireMessage::Kind::audio : WireMessage::Kind::voiceEnd);
    message.session = utterance;
    message.sequence = sequence;
    message.pcm = std::move(pcm);
    return message;
}

VoiceSession started() {
    VoiceSession session;
    session.begin(utterance, 10.0);
    return session;
}

} // namespace

TEST(VoiceSession, refusesPacketsInCheckOrder) {
    VoiceSession idle;
    expectRefused(idle, utterance, 0, 100, Failure::InactiveSession{});
    VoiceSession session = started();
    // Out of order and of invalid size: the order is reported.
    expectRefused(session, utterance, 1, 0, Failure::UnexpectedSequence{0, 1});
    expectRefused(session, utterance, 0, 0, Failure::InvalidSamples{0});
    expectRefused(session, utterance, 0, 4801, Failure::InvalidSamples{4801});
    session.receive(utterance, 0, 1, 11.0);
    // A second begin, of this utterance or another, leaves the utterance as it was.
    for (const Uuid& id : {utterance, other})
        EXPECT_EQ(padErrorOf([&] { session.begin(id, 11.5); }), "上一段语音尚未结束");
    expectRefused(session, utterance, 0, 100, Failure::UnexpectedSequence{1, 0});
    session.receive(utterance, 1, 4800, 11.0);
    session.end(utterance, 1, 12.0);
    // Another utterance's packet while ending is about identity, not about the ending.
    expectRefused(session, other, 2, 100, Failure::InactiveSession{});
    expectRefused(session, utterance, 2, 100, Failure::AlreadyEnding{});
}

TEST(VoiceSession, boundsBacklogAtTwoSeconds) {
    VoiceSession session = started();
    for (std::int64_t sequence = 0; sequence < 10; ++sequence)
        session.receive(utterance, sequence, 4800, 11.0);
    EXPECT_EQ(session.pendingSamples(), 48000);
    expectRefused(session, utterance, 10, 4800, Failure::PlaybackBacklog{48000, 4800});
    EXPECT_FALSE(session.played(utterance, 0));
    session.receive(utterance, 10, 4800, 12.0);
    EXPECT_EQ(session.pendingSamples(), 48000);
}

TEST(VoiceSession, completesOnTheLastPlayedPacketAndExpiresFiveSecondsAfterActivity) {
    EXPECT_TRUE(started().end(utterance, -1, 11.0));
    EXPECT_FALSE(VoiceSession().expired(1e9));
    VoiceSession session = started();
    EXPECT_FALSE(session.expired(15.0));
    EXPECT_TRUE(session.expired(15.001));
    session.receive(utterance, 0, 100, 14.0);
    // A packet played out while the phone still speaks is no completion.
    EXPECT_FALSE(session.played(utterance, 0));
    session.receive(utterance, 1, 100, 14.0);
    session.receive(utterance, 2, 100, 14.0);
    EXPECT_TRUE(session.expired(19.001));
    EXPECT_EQ(padErrorOf([&] { session.end(utterance, 1, 18.0); }), "语音尾部不完整");
    EXPECT_EQ(padErrorOf([&] { session.end(other, 2, 18.0); }), "语音尾部不完整");
    EXPECT_FALSE(session.end(utterance, 2, 18.0));
    EXPECT_EQ(padErrorOf([&] { session.end(utterance, 2, 18.0); }), "语音尾部不完整");
    EXPECT_FALSE(session.expired(23.0));
    EXPECT_TRUE(session.expired(23.001));
    // Completion notices may come out of order; the last outstanding one completes.
    EXPECT_FALSE(session.played(other, 1));
    EXPECT_FALSE(session.played(utterance, 2));
    EXPECT_TRUE(session.played(utterance, 1));
    EXPECT_FALSE(session.played(utterance, 1));
}

TEST(VoiceSession, cancelTellsThePhoneOnlyAboutAPresentUtterance) {
    const std::string reason = "音频超时，已释放语音快捷键";
    EXPECT_EQ(VoiceSession().cancel(reason), std::nullopt);
    VoiceSession session = started();
    WireMessage expected(WireMessage::Kind::failure);
    expected.session = utterance;
    expected.text = reason;
    EXPECT_EQ(session.cancel(reason), expected);
    EXPECT_EQ(session, VoiceSession());
    session = started();
    EXPECT_EQ(session.cancel(std::nullopt), std::nullopt);
    EXPECT_EQ(session, VoiceSession());
}

TEST(OutgoingVoice, holdsBackTwoSecondsUntilTheMacIsReadyAndEndsAfterAllAudio) {
    OutgoingVoice voice(utterance);
    for (std::size_t size : {0, 6, 19204})
        EXPECT_EQ(padErrorOf([&] { voice.append(Bytes(size)); }), "无效音频分包") << size;
    for (std::uint8_t i = 0; i < 10; ++i)
        EXPECT_TRUE(voice.append(Bytes(19200, i)).empty());
    EXPECT_EQ(padErrorOf([&] { voice.append(Bytes(4)); }), "电脑启动过慢，音频缓冲已满");

    const auto messages = voice.markReady();
    ASSERT_EQ(messages.size(), 10u);
    for (std::uint8_t i = 0; i < 10; ++i)
        EXPECT_EQ(messages[i], sent(i, Bytes(19200, i)));
    // Once ready, audio goes out at once, continuing the numbering; the end names the last.
    EXPECT_EQ(voice.append(Bytes(8, 1)), std::vector{sent(10, Bytes(8, 1))});
    EXPECT_EQ(voice.finish(), std::vector{sent(10)});
    EXPECT_TRUE(voice.finish().empty());

    // Recording stopped before the Mac was ready: the end follows all held-back audio.
    OutgoingVoice early(utterance);
    early.append(Bytes(400, 1));
    early.append(Bytes(400, 2));
    EXPECT_TRUE(early.finish().empty());
    // Chunks the recorder still delivers after the stop are dropped, even malformed ones.
    EXPECT_TRUE(early.append(Bytes(3)).empty());
    EXPECT_EQ(early.markReady(),
              (std::vector{sent(0, Bytes(400, 1)), sent(1, Bytes(400, 2)), sent(1)}));
    EXPECT_TRUE(early.markReady().empty());

    OutgoingVoice silent(utterance);
    EXPECT_TRUE(silent.markReady().empty());
    EXPECT_EQ(silent.finish(), std::vector{sent(-1)});
}
