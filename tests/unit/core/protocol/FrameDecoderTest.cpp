#include <gtest/gtest.h>

#include <string>

#include "protocol/FrameCodec.h"
#include "protocol/FrameDecoder.h"
#include "protocol/Base64.h"
#include "protocol/PadError.h"

using namespace quillvane;

namespace {

std::string padErrorText(const std::function<void()>& action) {
    try {
        action();
    } catch (const PadError& error) {
        return error.message();
    }
    return "no error";
}

Bytes frameOf(std::string_view json) {
    const auto length = static_cast<std::uint32_t>(json.size());
    Bytes frame;
    frame.reserve(4 + json.size());
    for (int shift = 24; shift >= 0; shift -= 8)
        frame.push_back(static_cast<std::uint8_t>(length >> shift));
    for (const char c : json)
        frame.push_back(static_cast<std::uint8_t>(c));
    return frame;
}

WireMessage textMessage(std::string text) {
    WireMessage message(WireMessage::Kind::text);
    message.text = std::move(text);
    return message;
}

Bytes concat(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const auto& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

} // namespace

TEST(FrameCodec, writesBigEndianLengthThenJson) {
    const Bytes frame = FrameCodec::encode(WireMessage(WireMessage::Kind::cancel));
    const std::string json = WireMessage(WireMessage::Kind::cancel).toJson();
    ASSERT_EQ(frame.size(), json.size() + 4);
    EXPECT_EQ(frame[0], 0);
    EXPECT_EQ(frame[1], 0);
    EXPECT_EQ(frame[2], 0);
    EXPECT_EQ(frame[3], json.size());
    EXPECT_EQ(std::string(frame.begin() + 4, frame.end()), json);
}

TEST(FrameCodec, refusesPayloadsOverTheLimit) {
    // The JSON overhead of a text message is 40 bytes; fill up to exactly the limit, then one more.
    const std::size_t overhead = textMessage("").toJson().size();
    const Bytes largest = FrameCodec::encode(textMessage(std::string(65536 - overhead, 'a')));
    EXPECT_EQ(largest.size(), 65540u);
    EXPECT_EQ(padErrorText([&] { FrameCodec::encode(textMessage(std::string(65537 - overhead, 'a'))); }),
              "消息过大");

    WireMessage audio(WireMessage::Kind::audio);
    audio.pcm = Bytes(60000, 0);
    EXPECT_EQ(padErrorText([&] { FrameCodec::encode(audio); }), "消息过大");
}

TEST(FrameDecoder, splitsAtEveryByte) {
    const Bytes stream = concat({FrameCodec::encode(textMessage("one")),
                                 FrameCodec::encode(textMessage("二")),
                                 FrameCodec::encode(WireMessage(WireMessage::Kind::heartbeat))});
    for (std::size_t cut = 0; cut <= stream.size(); ++cut) {
        FrameDecoder decoder;
        auto first = decoder.append(std::span(stream).first(cut));
        auto second = decoder.append(std::span(stream).subspan(cut));
        first.insert(first.end(), second.begin(), second.end());
        ASSERT_EQ(first.size(), 3u) << "cut at " << cut;
        EXPECT_EQ(first[0], textMessage("one"));
        EXPECT_EQ(first[1], textMessage("二"));
        EXPECT_EQ(first[2].kind, WireMessage::Kind::heartbeat);
        EXPECT_EQ(decoder.pendingSize(), 0u);
    }
}

TEST(FrameDecoder, byteByByteYieldsEachMessageOnItsLastByte) {
    const Bytes frame = FrameCodec::encode(textMessage("trickle"));
    FrameDecoder decoder;
    for (std::size_t i = 0; i + 1 < frame.size(); ++i)
        ASSERT_TRUE(decoder.append(std::span(frame).subspan(i, 1)).empty());
    const auto messages = decoder.append(std::span(frame).last(1));
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0], textMessage("trickle"));
}

TEST(FrameDecoder, refusesBadLengthsAsSoonAsThePrefixArrives) {
    FrameDecoder zero;
    EXPECT_EQ(padErrorText([&] { zero.append(Bytes{0, 0, 0, 0}); }), "无效消息长度");
    FrameDecoder tooLong;
    EXPECT_EQ(padErrorText([&] { tooLong.append(Bytes{0, 1, 0, 1}); }), "无效消息长度");
    FrameDecoder huge;
    EXPECT_EQ(padErrorText([&] { huge.append(Bytes{0xFF, 0xFF, 0xFF, 0xFF}); }), "无效消息长度");

    FrameDecoder largest;
    EXPECT_TRUE(largest.append(Bytes{0, 1, 0, 0}).empty());
    EXPECT_TRUE(largest.append(Bytes(65535, ' ')).empty());
    EXPECT_EQ(largest.pendingSize(), 65539u);
}

TEST(FrameDecoder, acceptsAPayloadOfExactlyTheLimit) {
    const std::string head = R"({"kind":"text","version":1,"text":")";
    std::string json = head + std::string(65536 - head.size() - 2, 'x') + "\"}";
    ASSERT_EQ(json.size(), 65536u);
    FrameDecoder decoder;
    const auto messages = decoder.append(frameOf(json));
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].text->size(), 65536 - head.size() - 2);
}

TEST(FrameDecoder, aBadFrameFailsTheWholeChunk) {
    const Bytes good = FrameCodec::encode(WireMessage(WireMessage::Kind::heartbeat));
    FrameDecoder badLength;
    EXPECT_EQ(padErrorText([&] { badLength.append(concat({good, Bytes{0, 0, 0, 0}})); }),
              "无效消息长度");

    FrameDecoder badVersion;
    EXPECT_EQ(padErrorText([&] {
                  badVersion.append(concat({good, frameOf(R"({"kind":"heartbeat","version":2})")}));
              }),
              "两端协议版本不一致，请更新应用");

    FrameDecoder badJson;
    EXPECT_THROW(badJson.append(concat({good, frameOf(R"({"kind":"heartbeat"})")})), JsonError);
}

TEST(FrameDecoder, payloadIsParsedWithoutReadingIntoTheNextFrame) {
    // A payload that is a valid prefix of a longer document must not borrow the next frame's bytes.
    const Bytes first = frameOf(R"({"kind":"text","version":1,"text":"a"})");
    const Bytes second = frameOf(R"({"kind":"text","version":1,"text":"b"})");
    FrameDecoder decoder;
    const auto messages = decoder.append(concat({first, second}));
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(messages[1].text, "b");

    FrameDecoder truncated;
    EXPECT_THROW(truncated.append(concat({frameOf(R"({"kind":"text","version":1,"text":"a")"),
                                          frameOf(R"("})")})),
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
