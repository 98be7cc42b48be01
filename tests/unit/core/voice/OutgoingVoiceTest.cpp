#include <gtest/gtest.h>

#include "VoiceTestSupport.h"
#include "voice/OutgoingVoice.h"

namespace quillvane {
namespace {

const Uuid utterance = Uuid::fromRandomBytes({7, 7, 7});

Bytes chunk(std::size_t size, std::uint8_t fill = 0) {
    return Bytes(size, fill);
}

WireMessage audio(std::int64_t sequence, Bytes pcm) {
    WireMessage message(WireMessage::Kind::audio);
    message.session = utterance;
    message.sequence = sequence;
    message.pcm = std::move(pcm);
    return message;
}

WireMessage voiceEnd(std::int64_t lastSequence) {
    WireMessage message(WireMessage::Kind::voiceEnd);
    message.session = utterance;
    message.sequence = lastSequence;
    return message;
}

void expectRefused(OutgoingVoice& voice, std::size_t size, const std::string& text) {
    expectPadError([&] { voice.append(chunk(size)); }, text);
}

TEST(OutgoingVoice, holdsBackTwoSecondsUntilTheMacIsReady) {
    OutgoingVoice voice(utterance);
    for (std::uint8_t i = 0; i < 10; ++i)
        EXPECT_TRUE(voice.append(chunk(19200, i)).empty());
    expectRefused(voice, 4, "Mac 启动过慢，音频缓冲已满");

    const auto messages = voice.markReady();
    ASSERT_EQ(messages.size(), 10u);
    for (std::uint8_t i = 0; i < 10; ++i)
        EXPECT_EQ(messages[i], audio(i, chunk(19200, i)));
    EXPECT_TRUE(voice.isReady());
    // Once ready, audio goes out at once, continuing the numbering.
    EXPECT_EQ(voice.append(chunk(8, 1)), std::vector{audio(10, chunk(8, 1))});
}

TEST(OutgoingVoice, refusesChunksThatAreNotWholePackets) {
    OutgoingVoice voice(utterance);
    for (std::size_t size : {0, 6, 19204})
        expectRefused(voice, size, "无效音频分包");
    voice.markReady();
    expectRefused(voice, 19204, "无效音频分包");
    // A refused chunk consumes no sequence number.
    EXPECT_EQ(voice.append(chunk(19200)), std::vector{audio(0, chunk(19200))});
}

TEST(OutgoingVoice, endFollowsAllAudioWhenRecordingStopsBeforeReady) {
    OutgoingVoice voice(utterance);
    voice.append(chunk(400, 1));
    voice.append(chunk(400, 2));
    EXPECT_TRUE(voice.finish().empty());
    // Chunks the recorder still delivers after the stop are dropped, even malformed ones.
    EXPECT_TRUE(voice.append(chunk(400, 3)).empty());
    EXPECT_TRUE(voice.append(chunk(3)).empty());

    EXPECT_EQ(voice.markReady(),
              (std::vector{audio(0, chunk(400, 1)), audio(1, chunk(400, 2)), voiceEnd(1)}));
    EXPECT_TRUE(voice.finish().empty());
    EXPECT_TRUE(voice.markReady().empty());
}

TEST(OutgoingVoice, utteranceWithoutAudioEndsAtMinusOne) {
    OutgoingVoice voice(utterance);
    EXPECT_TRUE(voice.markReady().empty());
    EXPECT_EQ(voice.finish(), std::vector{voiceEnd(-1)});
    EXPECT_TRUE(voice.finish().empty());
}

TEST(OutgoingVoice, endAfterReadyNamesTheLastSentPacket) {
    OutgoingVoice voice(utterance);
    voice.append(chunk(4));
    voice.markReady();
    voice.append(chunk(4));
    EXPECT_EQ(voice.finish(), std::vector{voiceEnd(1)});
}

} // namespace
} // namespace quillvane
