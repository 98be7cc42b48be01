#include <gtest/gtest.h>

#include <string>

#include "protocol/Base64.h"
#include "protocol/FrameCodec.h"
#include "protocol/FrameDecoder.h"
#include "protocol/PadError.h"
#include "unit/core/PadErrorOf.h"

using namespace quillvane;

namespace {

// A frame built by hand, so the codec is checked against the format and not against itself.
Bytes frameOf(std::string_view json, Bytes frame = {}) {
    const auto length = static_cast<std::uint32_t>(json.size());
    for (int shift = 24; shift >= 0; shift -= 8)
        frame.push_back(static_cast<std::uint8_t>(length >> shift));
    frame.insert(frame.end(), json.begin(), json.end());
    return frame;
}

WireMessage textMessage(std::string text) {
    WireMessage message(WireMessage::Kind::text);
    message.text = std::move(text);
    return message;
}

} // namespace

TEST(FrameCodec, writesBigEndianLengthThenJsonUpToTheLimit) {
    const WireMessage cancel(WireMessage::Kind::cancel);
    EXPECT_EQ(FrameCodec::encode(cancel), frameOf(cancel.toJson()));
    const std::string fill(65536 - textMessage("").toJson().size(), 'a');
    const Bytes largest = FrameCodec::encode(textMessage(fill));
    FrameDecoder decoder;
    EXPECT_EQ(decoder.append(largest), std::vector{textMessage(fill)});
    EXPECT_EQ(padErrorOf([&] { FrameCodec::encode(textMessage(fill + "a")); }), "消息过大");
}

TEST(FrameDecoder, splitsAtEveryByte) {
    const std::vector<WireMessage> sent{textMessage("one"), textMessage("二"),
                                        WireMessage(WireMessage::Kind::heartbeat)};
    Bytes stream;
    for (const auto& message : sent)
        stream = frameOf(message.toJson(), std::move(stream));
    for (std::size_t cut = 0; cut <= stream.size(); ++cut) {
        SCOPED_TRACE(cut);
        FrameDecoder decoder;
        auto received = decoder.append(std::span(stream).first(cut));
        const auto rest = decoder.append(std::span(stream).subspan(cut));
        received.insert(received.end(), rest.begin(), rest.end());
        EXPECT_EQ(received, sent);
        EXPECT_EQ(decoder.pendingSize(), 0u);
    }
}

TEST(FrameDecoder, aBadFrameFailsTheWholeChunk) {
    const Bytes good = FrameCodec::encode(WireMessage(WireMessage::Kind::heartbeat));
    // A bad length is refused as soon as its prefix is here, before any payload.
    for (const Bytes& prefix : {Bytes{0, 0, 0, 0}, Bytes{0, 1, 0, 1}, Bytes{0xFF, 0, 0, 0}}) {
        Bytes chunk = good;
        chunk.insert(chunk.end(), prefix.begin(), prefix.end());
        FrameDecoder decoder;
        EXPECT_EQ(padErrorOf([&] { decoder.append(chunk); }), "无效消息长度");
    }
    FrameDecoder versionTwo;
    EXPECT_EQ(padErrorOf(
                  [&] { versionTwo.append(frameOf(R"({"kind":"heartbeat","version":2})", good)); }),
              "两端协议版本不一致，请更新应用");
    // A payload that is a valid prefix of a longer document must not borrow the next frame's bytes.
    FrameDecoder truncated;
    EXPECT_THROW(
        truncated.append(frameOf(R"("})", frameOf(R"({"kind":"text","version":1,"text":"a")"))),
        JsonError);
}

TEST(FrameDecoder, whatFollowsAPayloadNeverDecidesItsFate) {
    // A valid hello, then an unbalanced document. Delivered in these pieces, the bytes left in the
    // buffer after the second payload once closed it for the parser, and it was accepted.
    Bytes stream;
    ASSERT_TRUE(base64Decode(
        "AAAAYHsia2luZCI6ImhlbGxvIiwidmVyc2lvbiI6MSwiY2hhbm5lbCI6ImNvbnRyb2wiLCJjbGlldXQiOiIyQjFDMk"
        "E5MC01RDMnPTBGN0EtNEIyMS0wQzREOEU3RjFBMjMifQAAAE57ImtpbmQiOiJoZWxsbyIsInZlcnNpb24iOjEsImNo"
        "YW5uZWwiOiJjb250cm9sIiwiY2xpbmQiOiJhdUIxQzJBYW5uZWx4MyI6In0iXX19",
        stream));
    FrameDecoder whole;
    EXPECT_THROW(whole.append(stream), JsonError);

    FrameDecoder pieces;
    std::size_t offset = 0;
    std::size_t delivered = 0;
    auto deliver = [&] {
        for (const std::size_t length : {75, 97, 10, 1}) {
            delivered += pieces.append(std::span(stream).subspan(offset, length)).size();
            offset += length;
        }
    };
    EXPECT_THROW(deliver(), JsonError);
    EXPECT_EQ(delivered, 1u); // the hello, and nothing after it
}
