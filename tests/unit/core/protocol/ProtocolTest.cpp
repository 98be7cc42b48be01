#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "protocol/Base64.h"
#include "protocol/FrameCodec.h"
#include "protocol/FrameDecoder.h"
#include "protocol/PadError.h"
#include "protocol/Unicode.h"
#include "protocol/WireMessage.h"
#include "unit/core/CoreTestSupport.h"

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

WireMessage decode(std::string_view json) {
    return WireMessage::fromJson(json);
}

} // namespace

TEST(Base64, writesTheStandardFormAndReadsNothingElse) {
    EXPECT_EQ(base64Encode(Bytes{'f', 'o', 'o', 'b'}), "Zm9vYg==");
    EXPECT_EQ(base64Encode(Bytes{0xFB, 0xEF, 0xFF}), "++//");
    Bytes all(258);
    for (std::size_t i = 0; i < all.size(); ++i)
        all[i] = static_cast<std::uint8_t>(i * 37 + 11);
    // No padding, two and one padding characters, over several quartets.
    for (std::size_t size : {0, 256, 257, 258}) {
        const Bytes bytes(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(size));
        Bytes decoded{9};
        ASSERT_TRUE(base64Decode(base64Encode(bytes), decoded)) << size;
        EXPECT_EQ(decoded, bytes);
    }
    Bytes out;
    for (std::string_view bad :
         {"Zg", "Zg=", "Zg===", "====", "Zm9v\n", "Zm9-", "Zh==", "Zm9=Zm9v", "Zm=v"})
        EXPECT_FALSE(base64Decode(bad, out)) << bad;
}

TEST(Unicode, validatesUtf8StrictlyAndKeepsUserPerceivedCharactersWhole) {
    EXPECT_TRUE(isValidUtf8("plain, 世界, 👋"));
    // Overlong "/", a surrogate, above U+10FFFF, cut short, a lone continuation byte.
    for (std::string_view bad :
         {"\xc0\xaf", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xe4\xb8", "\x80"})
        EXPECT_FALSE(isValidUtf8(bad)) << bad;
    // Combining accent, skin tone, zero-width joiners, two flags, CR LF.
    EXPECT_EQ(characterCount("e\u0301👍🏽👩‍👩‍👧🇨🇳🇫🇷\r\n"), 6u);
    EXPECT_EQ(characterPrefix("ab👩‍👩‍👧cd", 3), "ab👩‍👩‍👧");
}

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

TEST(WireMessage, everyKindAndFieldRoundTrips) {
    WireMessage full(WireMessage::Kind::audio);
    full.channel = "control";
    full.client = Uuid::fromRandomBytes({1});
    full.session = Uuid::fromRandomBytes({2});
    full.sequence = -1;
    full.x = 0.1;
    full.y = -1e-300;
    // Doubles come back exactly, the smallest and the largest too.
    full.movementSamples =
        std::vector<TrackpadVector>{{1.0 / 3.0, 5e-324}, {1.7976931348623157e308, -2.25}};
    full.scrollPhase = TrackpadScrollPhase::momentumChanged;
    full.keyCode = 65535;
    full.modifiers = std::numeric_limits<std::uint64_t>::max();
    full.text = "Hello, 世界 👋 \"quoted\" \\ \n\t\x01";
    full.flag = true;
    full.continuingClick = false;
    full.doubleClickInterval = 0.5;
    full.pcm = Bytes{0, 1, 2, 0xFF, 0xFE};
    EXPECT_EQ(decode(full.toJson()), full);

    for (int k = 0; k <= static_cast<int>(WireMessage::Kind::failure); ++k) {
        const WireMessage message(static_cast<WireMessage::Kind>(k));
        EXPECT_EQ(decode(message.toJson()), message);
    }
}

TEST(WireMessage, readsAnyEncodersLayoutWithAbsentAndNullFieldsAsAbsentButAnEmptyPcmPresent) {
    EXPECT_EQ(decode(R"({"kind":"heartbeat","version":1})"),
              WireMessage(WireMessage::Kind::heartbeat));
    EXPECT_EQ(decode(R"({"kind":"click","version":1,"flag":null,"pcm":null,"client":null})"),
              WireMessage(WireMessage::Kind::click));
    EXPECT_EQ(decode(R"({"kind":"audio","version":1,"pcm":""})").pcm, Bytes{});
    // "/" escaped as "\/" is how some encoders write Base64; it is the same text.
    EXPECT_EQ(decode(R"({"kind":"audio","version":1,"pcm":"\/w=="})").pcm, (Bytes{0xFF}));

    const WireMessage message = decode(
        R"({"future":{"nested":[1,{"a":null}]},"k\u0069nd":"scroll","version":1,"x":3,"te\u0078t":"a"})");
    EXPECT_EQ(message.kind, WireMessage::Kind::scroll);
    EXPECT_EQ(message.text, "a");
    EXPECT_EQ(message.x, 3.0);

    const auto expected = std::vector<TrackpadVector>{{-0.5, 100}, {-0.425, 3}};
    for (
        const std::string_view json :
        {R"({"kind":"move","version":1,"movementSamples":[{"x":-0.5,"y":1e2},{"y":3,"x":-4.25E-1}]})",
         R"({ "kind" : "move", "version" : 1, "movementSamples" : [ { "x" : -0.5, "y" : 1e2 }, { "y" : 3, "x" : -4.25E-1 } ] })",
         R"({"kind":"move","version":1,"movementSamples":[{"x":-0.5,"z":9,"y":1e2},{"y":3,"\u0078":-0.425}]})"})
        EXPECT_EQ(decode(json).movementSamples, expected) << json;
}

TEST(WireMessage, refusesWhatTheFormDoesNotAllow) {
    for (const std::string_view json :
         {R"({"kind":"heartbeat"})", R"({"version":1})", R"({"kind":"ping","version":1})",
          R"({"kind":"heartbeat","version":"1"})", R"({"kind":"heartbeat","version":1} {})",
          R"({"kind":"heartbeat","version":1)",
          "{\"kind\":\"text\",\"version\":1,\"text\":\"\xff\"}", "[]", ""})
        EXPECT_THROW(decode(json), JsonError) << json;

    // Each field below is put into an otherwise valid message.
    const auto expectRefused = [](const std::string& field) {
        EXPECT_THROW(decode(R"({"kind":"move","version":1,)" + field + "}"), JsonError) << field;
    };
    // Values that do not fit their field's type or range.
    for (const std::string field :
         {R"("scrollPhase":"momentumStarted")", R"("keyCode":70000)", R"("keyCode":-1)",
          R"("keyCode":3.0)", R"("sequence":1.5)", R"("modifiers":-4)", R"("flag":1)", R"("x":"1")",
          R"("x":1e400)", R"("session":"6b1c2a905d3e4f7a9b210c4d8e7f1a23")"})
        expectRefused(field);
    // Non-canonical Base64, broken sample lists, and unknown values that are not well-formed.
    for (const std::string field :
         {R"("pcm":"YWI")", R"("pcm":"YWJ=")", R"("pcm":"Y\nWI=")", R"("pcm":12)",
          R"("movementSamples":[{"x":1}])", R"("movementSamples":[[1,2]])",
          R"("movementSamples":[{"x":1,"y":2},])", R"("movementSamples":[{"x":1,"y":2})",
          R"("movementSamples":[{"x":1,"y":2,"z":[}])", R"("future":"a":"}"])",
          R"("future":[1,,2])"})
        expectRefused(field);
    // Number forms JSON does not allow, on the compact sample path and the general one.
    for (const std::string number : {"01", "1.", ".5", "+1", "1e", "NaN", "0x10", "1e400", "--1"}) {
        expectRefused(R"("movementSamples":[{"x":)" + number + R"(,"y":0}])");
        expectRefused(R"("movementSamples":[{"x": )" + number + R"(,"y":0}])");
    }

    // Nor is a non-finite number ever written.
    WireMessage scroll(WireMessage::Kind::scroll);
    scroll.x = std::nan("");
    EXPECT_THROW((void)scroll.toJson(), JsonError);
}
