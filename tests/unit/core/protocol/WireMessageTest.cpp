#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "protocol/PadError.h"
#include "protocol/WireMessage.h"

using namespace quillvane;

namespace {

WireMessage decode(std::string_view json) { return WireMessage::fromJson(json); }

void expectRefused(std::string_view json) {
    EXPECT_THROW(decode(json), JsonError) << json;
}

const Uuid kSession = *Uuid::parse("6B1C2A90-5D3E-4F7A-9B21-0C4D8E7F1A23");

} // namespace

TEST(WireMessage, minimalHeartbeatHasEveryOptionalFieldAbsent) {
    const WireMessage message = decode(R"({"kind":"heartbeat","version":1})");
    EXPECT_EQ(message, WireMessage(WireMessage::Kind::heartbeat));
    EXPECT_FALSE(message.pcm.has_value());
    EXPECT_FALSE(message.movementSamples.has_value());
}

TEST(WireMessage, everyKindAndFieldRoundTrips) {
    WireMessage full(WireMessage::Kind::audio);
    full.channel = "control";
    full.client = kSession;
    full.session = kSession;
    full.sequence = -1;
    full.x = 0.1;
    full.y = -1e-300;
    full.movementSamples = std::vector<TrackpadVector>{{1.5, -2.25}, {0, 3}};
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

TEST(WireMessage, absentFieldsAreLeftOutAndNullReadsAsAbsent) {
    WireMessage message(WireMessage::Kind::click);
    message.flag = false;
    const std::string json = message.toJson();
    EXPECT_EQ(json.find("null"), std::string::npos);
    EXPECT_EQ(json.find("continuingClick"), std::string::npos);

    const WireMessage read = decode(
        R"({"kind":"click","version":1,"flag":null,"text":null,"pcm":null,"client":null,"movementSamples":null})");
    EXPECT_EQ(read, WireMessage(WireMessage::Kind::click));
}

TEST(WireMessage, uuidsAreWrittenUpperCaseAndReadInEitherCase) {
    WireMessage message(WireMessage::Kind::voiceBegin);
    message.session = kSession;
    EXPECT_NE(message.toJson().find("6B1C2A90-5D3E-4F7A-9B21-0C4D8E7F1A23"), std::string::npos);
    const WireMessage lower = decode(
        R"({"kind":"voiceBegin","version":1,"session":"6b1c2a90-5d3e-4f7a-9b21-0c4d8e7f1a23"})");
    EXPECT_EQ(lower.session, kSession);
    expectRefused(R"({"kind":"voiceBegin","version":1,"session":"6b1c2a905d3e4f7a9b210c4d8e7f1a23"})");
}

TEST(WireMessage, pcmIsPaddedBase64AndEmptyDiffersFromAbsent) {
    WireMessage message(WireMessage::Kind::audio);
    message.pcm = Bytes{'a', 'b'};
    EXPECT_NE(message.toJson().find(R"("pcm":"YWI=")"), std::string::npos);

    const WireMessage empty = decode(R"({"kind":"audio","version":1,"pcm":""})");
    ASSERT_TRUE(empty.pcm.has_value());
    EXPECT_TRUE(empty.pcm->empty());

    // "/" escaped as "\/" is how some encoders write Base64; it is the same text.
    const WireMessage escaped = decode(R"({"kind":"audio","version":1,"pcm":"\/w=="})");
    EXPECT_EQ(escaped.pcm, (Bytes{0xFF}));

    expectRefused(R"({"kind":"audio","version":1,"pcm":"YWI"})");     // padding missing
    expectRefused(R"({"kind":"audio","version":1,"pcm":"YW I="})");   // white space
    expectRefused(R"({"kind":"audio","version":1,"pcm":"YWJ="})");    // non-canonical tail bits
    expectRefused(R"({"kind":"audio","version":1,"pcm":"Y\nWI="})");  // escaped newline
    expectRefused(R"({"kind":"audio","version":1,"pcm":12})");
}

TEST(WireMessage, requiredKeysAndClosedSetsAreEnforced) {
    expectRefused(R"({"kind":"heartbeat"})");
    expectRefused(R"({"version":1})");
    expectRefused(R"({"kind":"ping","version":1})");
    expectRefused(R"({"kind":null,"version":1})");
    expectRefused(R"({"kind":"heartbeat","version":null})");
    expectRefused(R"({"kind":"scroll","version":1,"scrollPhase":"momentumStarted"})");
    EXPECT_EQ(decode(R"({"kind":"scroll","version":1,"scrollPhase":"momentumChanged"})").scrollPhase,
              TrackpadScrollPhase::momentumChanged);
}

TEST(WireMessage, numbersMustFitTheirFieldExactly) {
    expectRefused(R"({"kind":"key","version":1,"keyCode":70000})");
    expectRefused(R"({"kind":"key","version":1,"keyCode":-1})");
    expectRefused(R"({"kind":"key","version":1,"keyCode":3.0})");
    expectRefused(R"({"kind":"audio","version":1,"sequence":1.5})");
    expectRefused(R"({"kind":"heartbeat","version":1.0})");
    expectRefused(R"({"kind":"heartbeat","version":"1"})");
    expectRefused(R"({"kind":"key","version":1,"modifiers":-4})");
    expectRefused(R"({"kind":"click","version":1,"flag":1})");
    expectRefused(R"({"kind":"move","version":1,"x":"1"})");
    expectRefused(R"({"kind":"move","version":1,"x":1e400})");
    EXPECT_EQ(decode(R"({"kind":"key","version":1,"keyCode":65535})").keyCode, 65535);
    // An integer is a valid float.
    EXPECT_EQ(decode(R"({"kind":"scroll","version":1,"x":3})").x, 3.0);
}

TEST(WireMessage, unknownKeysAreIgnoredWhateverTheirValue) {
    const WireMessage message = decode(
        R"({"future":{"nested":[1,2,{"a":null}]},"kind":"text","extra":"x","version":1,"text":"ok"})");
    EXPECT_EQ(message.kind, WireMessage::Kind::text);
    EXPECT_EQ(message.text, "ok");
}

TEST(WireMessage, movementSamplesNeedBothCoordinates) {
    const WireMessage message =
        decode(R"({"kind":"move","version":1,"movementSamples":[{"x":1,"y":2,"z":9},{"y":4,"x":3}]})");
    ASSERT_TRUE(message.movementSamples);
    EXPECT_EQ(*message.movementSamples, (std::vector<TrackpadVector>{{1, 2}, {3, 4}}));
    expectRefused(R"({"kind":"move","version":1,"movementSamples":[{"x":1}]})");
    expectRefused(R"({"kind":"move","version":1,"movementSamples":[[1,2]]})");
    expectRefused(R"({"kind":"move","version":1,"movementSamples":{"x":1,"y":2}})");
}

TEST(WireMessage, malformedDocumentsAreRefused) {
    expectRefused("");
    expectRefused("[]");
    expectRefused("null");
    expectRefused(R"({"kind":"heartbeat","version":1)");
    expectRefused(R"({"kind":"heartbeat","version":1} {})");
    expectRefused(R"({"kind":"heartbeat","version":1}x)");
    expectRefused("{\"kind\":\"text\",\"version\":1,\"text\":\"\xff\"}");
}

TEST(WireMessage, nonFiniteNumbersAndInvalidTextRefuseToEncode) {
    for (const double bad : {std::nan(""), std::numeric_limits<double>::infinity(),
                             -std::numeric_limits<double>::infinity()}) {
        WireMessage scroll(WireMessage::Kind::scroll);
        scroll.x = bad;
        EXPECT_THROW((void)scroll.toJson(), JsonError);
        WireMessage move(WireMessage::Kind::move);
        move.movementSamples = std::vector<TrackpadVector>{{0, bad}};
        EXPECT_THROW((void)move.toJson(), JsonError);
    }
    WireMessage text(WireMessage::Kind::text);
    text.text = std::string("\xc3\x28");
    EXPECT_THROW((void)text.toJson(), JsonError);
}

TEST(WireMessage, floatsSurviveTheTextForm) {
    for (const double value : {0.1, 1.0 / 3.0, -0.0, 5e-324, 1.7976931348623157e308, 123456789.0}) {
        WireMessage message(WireMessage::Kind::scroll);
        message.x = value;
        const WireMessage back = decode(message.toJson());
        ASSERT_TRUE(back.x);
        EXPECT_EQ(std::signbit(*back.x), std::signbit(value));
        EXPECT_EQ(*back.x, value);
    }
}

TEST(WireMessage, escapedKeysReadLikeTheirPlainForm) {
    const WireMessage message = decode(
        R"({"k\u0069nd":"move","version":1,"movementSamples":[{"\u0078":1,"y":2}],"te\u0078t":"a"})");
    EXPECT_EQ(message.kind, WireMessage::Kind::move);
    EXPECT_EQ(message.text, "a");
    EXPECT_EQ(*message.movementSamples, (std::vector<TrackpadVector>{{1, 2}}));
}

TEST(WireMessage, unknownValuesMustStillBeWellFormed) {
    expectRefused(R"({"kind":"hello","version":1,"future":"a":"}"]})");
    expectRefused(R"({"kind":"hello","version":1,"future":[1,,2]})");
    expectRefused(R"({"kind":"hello","version":1,"future":{"a" 1}})");
    expectRefused(R"({"kind":"hello","version":1,"future":[1}})");
    expectRefused(R"({"kind":"move","version":1,"movementSamples":[{"x":1,"y":2,"z":[}]})");
}

TEST(WireMessage, compactAndSpacedSampleListsReadAlike) {
    const std::string compact =
        R"({"kind":"move","version":1,"movementSamples":[{"x":-0.5,"y":1e2},{"y":3,"x":-4.25E-1}]})";
    const std::string spaced =
        R"({ "kind" : "move", "version" : 1, "movementSamples" : [ { "x" : -0.5, "y" : 1e2 }, { "y" : 3, "x" : -4.25E-1 } ] })";
    const auto expected = std::vector<TrackpadVector>{{-0.5, 100}, {-0.425, 3}};
    EXPECT_EQ(decode(compact).movementSamples, expected);
    EXPECT_EQ(decode(spaced).movementSamples, expected);
    EXPECT_EQ(decode(R"({"kind":"move","version":1,"movementSamples":[]})").movementSamples,
              std::vector<TrackpadVector>{});

    // Forms JSON does not allow are refused on either path.
    for (const char* bad : {"01", "1.", ".5", "+1", "1e", "inf", "NaN", "0x10", "1e400", "--1"}) {
        const std::string number(bad);
        expectRefused(R"({"kind":"move","version":1,"movementSamples":[{"x":)" + number + R"(,"y":0}]})");
        expectRefused(R"({"kind":"move","version":1,"movementSamples":[{"x": )" + number + R"(,"y":0}]})");
    }
    expectRefused(R"({"kind":"move","version":1,"movementSamples":[{"x":1,"y":2},]})");
    expectRefused(R"({"kind":"move","version":1,"movementSamples":[{"x":1,"y":2}})");
    expectRefused(R"({"kind":"move","version":1,"movementSamples":[{"x":1,"y":2})");
}
