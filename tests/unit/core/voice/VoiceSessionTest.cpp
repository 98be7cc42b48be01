#include <gtest/gtest.h>

#include "VoiceTestSupport.h"
#include "voice/VoiceReceiveFailure.h"
#include "voice/VoiceSession.h"

namespace quillvane {
namespace {

const Uuid utterance = Uuid::fromRandomBytes({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15});
const Uuid other = Uuid::fromRandomBytes({9, 9, 9});

// Expects `receive` to be refused with `detail` and its text, leaving the session untouched.
void expectRefused(VoiceSession& session, const Uuid& id, std::int64_t sequence,
                   std::int64_t samples, const VoiceReceiveFailure::Detail& detail,
                   const char* text) {
    const VoiceSession before = session;
    try {
        session.receive(id, sequence, samples, 99.0);
        ADD_FAILURE() << "packet " << sequence << " was accepted";
    } catch (const VoiceReceiveFailure& failure) {
        EXPECT_EQ(failure.detail(), detail) << failure.debugDescription();
        EXPECT_STREQ(failure.what(), text);
    }
    EXPECT_EQ(session, before);
}

VoiceSession started(double now = 10.0) {
    VoiceSession session;
    session.begin(utterance, now);
    return session;
}

TEST(VoiceSession, beginsOnlyWhenNoUtteranceIsPresent) {
    VoiceSession session = started();
    session.receive(utterance, 0, 100, 11.0);
    const VoiceSession before = session;
    expectPadError([&] { session.begin(utterance, 12.0); }, "上一段语音尚未结束");
    EXPECT_EQ(session, before);

    session.cancel(std::nullopt);
    session.begin(other, 13.0);
    EXPECT_EQ(session.id(), other);
    EXPECT_EQ(session.nextSequence(), 0);
    EXPECT_EQ(session.pendingSamples(), 0);
}

TEST(VoiceSession, refusesPacketsInCheckOrder) {
    VoiceSession idle;
    expectRefused(idle, utterance, 0, 100, VoiceReceiveFailure::InactiveSession{},
                  "语音会话已结束，请重新开始");

    VoiceSession session = started();
    // Out of order and of invalid size: the order is reported.
    expectRefused(session, utterance, 3, 0, VoiceReceiveFailure::UnexpectedSequence{0, 3},
                  "音频分包序号异常，请重试");
    expectRefused(session, utterance, 0, 0, VoiceReceiveFailure::InvalidSamples{0},
                  "音频分包大小无效，请重试");
    expectRefused(session, utterance, 0, 4801, VoiceReceiveFailure::InvalidSamples{4801},
                  "音频分包大小无效，请重试");
    expectRefused(session, utterance, 0, -4, VoiceReceiveFailure::InvalidSamples{-4},
                  "音频分包大小无效，请重试");
    session.receive(utterance, 0, 1, 11.0);
    session.receive(utterance, 1, 4800, 11.0);
    EXPECT_EQ(session.pendingSamples(), 4801);

    session.end(utterance, 1, 12.0);
    // Another utterance's packet while ending is about identity, not about the ending.
    expectRefused(session, other, 2, 100, VoiceReceiveFailure::InactiveSession{},
                  "语音会话已结束，请重新开始");
    expectRefused(session, utterance, 2, 100, VoiceReceiveFailure::AlreadyEnding{},
                  "语音已进入收尾，请重新开始");
}

TEST(VoiceSession, refusesGapsAndRepeats) {
    VoiceSession session = started();
    expectRefused(session, utterance, 1, 100, VoiceReceiveFailure::UnexpectedSequence{0, 1},
                  "音频分包序号异常，请重试");
    session.receive(utterance, 0, 100, 11.0);
    expectRefused(session, utterance, 0, 100, VoiceReceiveFailure::UnexpectedSequence{1, 0},
                  "音频分包序号异常，请重试");
}

TEST(VoiceSession, boundsBacklogAtTwoSeconds) {
    VoiceSession session = started();
    for (std::int64_t sequence = 0; sequence < 10; ++sequence)
        session.receive(utterance, sequence, 4800, 11.0);
    EXPECT_EQ(session.pendingSamples(), 48000);
    expectRefused(session, utterance, 10, 4800, VoiceReceiveFailure::PlaybackBacklog{48000, 4800},
                  "Mac 音频播放积压超过两秒，请重试");
    expectRefused(session, utterance, 10, 1, VoiceReceiveFailure::PlaybackBacklog{48000, 1},
                  "Mac 音频播放积压超过两秒，请重试");

    EXPECT_FALSE(session.played(utterance, 0));
    EXPECT_EQ(session.pendingSamples(), 43200);
    session.receive(utterance, 10, 4800, 12.0);
    EXPECT_EQ(session.pendingSamples(), 48000);
    EXPECT_EQ(session.pending().size(), 10u);
}

TEST(VoiceSession, completesWhenLastPacketHasPlayed) {
    VoiceSession empty = started();
    EXPECT_TRUE(empty.end(utterance, -1, 11.0));

    VoiceSession session = started();
    session.receive(utterance, 0, 100, 11.0);
    session.receive(utterance, 1, 100, 11.0);
    for (std::int64_t wrongLast : {0, 2, -1})
        expectPadError([&] { session.end(utterance, wrongLast, 12.0); }, "语音尾部不完整");
    expectPadError([&] { session.end(other, 1, 12.0); }, "语音尾部不完整");
    EXPECT_FALSE(session.end(utterance, 1, 12.0));
    expectPadError([&] { session.end(utterance, 1, 12.0); }, "语音尾部不完整");

    EXPECT_FALSE(session.played(other, 1));
    // Completion notices may come out of order; the last outstanding one completes.
    EXPECT_FALSE(session.played(utterance, 1));
    EXPECT_TRUE(session.played(utterance, 0));
    EXPECT_FALSE(session.played(utterance, 0));
    EXPECT_FALSE(session.played(utterance, 1));
    EXPECT_EQ(session.playedSequence(), 1);
    EXPECT_EQ(session.pendingSamples(), 0);
}

TEST(VoiceSession, expiresFiveSecondsAfterLastActivity) {
    VoiceSession idle;
    EXPECT_FALSE(idle.expired(1e9));

    VoiceSession session = started(10.0);
    EXPECT_FALSE(session.expired(15.0));
    EXPECT_TRUE(session.expired(15.001));
    session.receive(utterance, 0, 100, 14.0);
    EXPECT_FALSE(session.expired(19.0));
    EXPECT_TRUE(session.expired(19.001));
    // A refused packet is no activity.
    EXPECT_THROW(session.receive(utterance, 5, 100, 18.0), VoiceReceiveFailure);
    EXPECT_TRUE(session.expired(19.001));

    session.end(utterance, 0, 18.0);
    EXPECT_FALSE(session.expired(23.0));
    EXPECT_TRUE(session.expired(23.001));
}

TEST(VoiceSession, cancelTellsThePhoneOnlyAboutAPresentUtterance) {
    VoiceSession idle;
    EXPECT_EQ(idle.cancel(std::string("音频超时，已释放语音快捷键")), std::nullopt);

    VoiceSession session = started();
    session.receive(utterance, 0, 100, 11.0);
    session.end(utterance, 0, 11.5);
    const auto failure = session.cancel(std::string("音频超时，已释放语音快捷键"));
    WireMessage expected(WireMessage::Kind::failure);
    expected.session = utterance;
    expected.text = "音频超时，已释放语音快捷键";
    EXPECT_EQ(failure, expected);
    EXPECT_EQ(session, VoiceSession());

    VoiceSession silent = started();
    silent.receive(utterance, 0, 100, 11.0);
    EXPECT_EQ(silent.cancel(std::nullopt), std::nullopt);
    EXPECT_EQ(silent, VoiceSession());
}

} // namespace
} // namespace quillvane
