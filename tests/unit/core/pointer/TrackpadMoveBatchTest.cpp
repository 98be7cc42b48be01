#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "pointer/TrackpadMoveBatch.h"
#include "unit/core/PadErrorOf.h"

using namespace quillvane;

TEST(TrackpadMoveBatch, splitsSoThatEverySentMessageIsAccepted) {
    // At most 64 samples, and no sum past 2000 on either axis, per message.
    const auto messages = TrackpadMoveBatch::messages(std::vector<TrackpadVector>(65, {1, 0}));
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(TrackpadMoveBatch::samples(messages[0]).size(), 64u);
    // A single vector travels as the message's own x and y.
    EXPECT_EQ(messages[1].x, 1);
    EXPECT_FALSE(messages[1].movementSamples);
    EXPECT_EQ(TrackpadMoveBatch::messages(std::vector<TrackpadVector>{{1500, 0}, {600, 0}}).size(),
              2u);

    std::vector<TrackpadVector> deltas;
    for (int i = 0; i < 300; ++i)
        deltas.push_back({(i % 7) * 300.0 - 900, i % 2 ? 2000.0 : -3.5});
    std::vector<TrackpadVector> received;
    for (const auto& message : TrackpadMoveBatch::messages(deltas)) {
        const auto samples = TrackpadMoveBatch::samples(message);
        received.insert(received.end(), samples.begin(), samples.end());
    }
    EXPECT_EQ(received, deltas);
}

TEST(TrackpadMoveBatch, refusesInvalidMessages) {
    for (const auto& samples :
         {std::vector<TrackpadVector>{}, std::vector<TrackpadVector>(65, {1, 1}),
          std::vector<TrackpadVector>{{1, 1}, {0, NAN}}, std::vector<TrackpadVector>{{2001, 0}}}) {
        WireMessage message(WireMessage::Kind::move);
        message.movementSamples = samples;
        EXPECT_EQ(padErrorOf([&] { TrackpadMoveBatch::samples(message); }), "无效移动事件");
    }
    WireMessage bare(WireMessage::Kind::move);
    bare.x = INFINITY;
    EXPECT_THROW(TrackpadMoveBatch::samples(bare), PadError);
    EXPECT_THROW(TrackpadMoveBatch::samples(WireMessage(WireMessage::Kind::scroll)), PadError);
    EXPECT_THROW(TrackpadMoveBatch::messages(std::vector<TrackpadVector>{{0, -2000.5}}), PadError);
}
