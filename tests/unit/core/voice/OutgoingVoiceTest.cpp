#include <gtest/gtest.h>

#include "unit/core/PadErrorOf.h"
#include "voice/OutgoingVoice.h"

using namespace quillvane;

namespace {

const Uuid utterance = Uuid::fromRandomBytes({7, 7, 7});

// An audio message when `pcm` is given, else the voiceEnd naming `sequence` as the last.
WireMessage sent(std::int64_t sequence, std::optional<Bytes> pcm = std::nullopt) {
    WireMessage message(pcm ? WireMessage::Kind::audio : WireMessage::Kind::voiceEnd);
    message.session = utterance;
    message.sequence = sequence;
    message.pcm = std::move(pcm);
    return message;
}

} // namespace

TEST(OutgoingVoice, holdsBackTwoSecondsUntilTheMacIsReadyAndEndsAfterAllAudio) {
    OutgoingVoice voice(utterance);
    for (std::size_t size : {0, 6, 19204})
        EXPECT_EQ(padErrorOf([&] { voice.append(Bytes(size)); }), "无效音频分包") << size;
    for (std::uint8_t i = 0; i < 10; ++i)
        EXPECT_TRUE(voice.append(Bytes(19200, i)).empty());
    EXPECT_EQ(padErrorOf([&] { voice.append(Bytes(4)); }), "Mac 启动过慢，音频缓冲已满");

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
