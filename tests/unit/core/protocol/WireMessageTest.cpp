#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "protocol/PadError.h"
#include "protocol/WireMessage.h"

using namespace quillvane;

namespace {

WireMessage decode(std::string_view json) {
    return WireMessage::fromJson(json);
}

} // namespace

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

TEST(WireMessage, absentAndNullFieldsReadAsAbsentButAnEmptyPcmIsPresent) {
    EXPECT_EQ(decode(R"({"kind":"heartbeat","version":1})"),
              WireMessage(WireMessage::Kind::heartbeat));
    EXPECT_EQ(decode(R"({"kind":"click","version":1,"flag":null,"pcm":null,"client":null})"),
              WireMessage(WireMessage::Kind::click));
    EXPECT_EQ(decode(R"({"kind":"audio","version":1,"pcm":""})").pcm, Bytes{});
    // "/" escaped as "\/" is how some encoders write Base64; it is the same text.
    EXPECT_EQ(decode(R"({"kind":"audio","version":1,"pcm":"\/w=="})").pcm, (Bytes{0xFF}));
}

TEST(WireMessage, readsAnyEncodersLayout) {
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
