#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "pointer/TrackpadMoveBatch.h"
#include "protocol/PadError.h"

using namespace quillvane;

namespace {

void expectRefused(const WireMessage& message) {
    try {
        TrackpadMoveBatch::samples(message);
        ADD_FAILURE() << "accepted";
    } catch (const PadError& e) {
        EXPECT_EQ(e.message(), "无效移动事件");
    }
}

WireMessage moveWith(std::vector<TrackpadVector> samples) {
    WireMessage m(WireMessage::Kind::move);
    m.movementSamples = std::move(samples);
    return m;
}

} // namespace

TEST(TrackpadMoveBatch, splitsAtSixtyFourSamples) {
    const std::vector<TrackpadVector> deltas(65, {1, 0});
    const auto messages = TrackpadMoveBatch::messages(deltas);
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(messages[0].x, 64);
    EXPECT_EQ(messages[0].y, 0);
    EXPECT_EQ(messages[0].movementSamples->size(), 64u);
    WireMessage single(WireMessage::Kind::move);
    single.x = 1;
    single.y = 0;
    EXPECT_EQ(messages[1], single);
    EXPECT_TRUE(TrackpadMoveBatch::messages({}).empty());
}

TEST(TrackpadMoveBatch, splitsBeforeTheSumPassesTwoThousand) {
    const std::vector<TrackpadVector> deltas{{1500, 0}, {600, 0}, {0, -1500}, {0, -500}};
    const auto messages = TrackpadMoveBatch::messages(deltas);
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(messages[0].x, 1500);
    EXPECT_FALSE(messages[0].movementSamples);
    // A sum of exactly -2000 on an axis is still within bounds.
    EXPECT_EQ(messages[1].x, 600);
    EXPECT_EQ(messages[1].y, -2000);
    EXPECT_EQ(messages[1].movementSamples->size(), 3u);
}

TEST(TrackpadMoveBatch, everySentMessageIsAcceptedByTheReceiver) {
    std::vector<TrackpadVector> deltas;
    for (int i = 0; i < 300; ++i)
        deltas.push_back({(i % 7) * 300.0 - 900, i % 2 ? 2000.0 : -3.5});
    std::vector<TrackpadVector> received;
    for (const auto& message : TrackpadMoveBatch::messages(deltas)) {
        EXPECT_LE(std::abs(*message.x), 2000);
        EXPECT_LE(std::abs(*message.y), 2000);
        const auto samples = TrackpadMoveBatch::samples(message);
        received.insert(received.end(), samples.begin(), samples.end());
    }
    EXPECT_EQ(received, deltas);
}

TEST(TrackpadMoveBatch, refusesInvalidDeltasAndMessages) {
    EXPECT_THROW(TrackpadMoveBatch::messages(std::vector<TrackpadVector>{{1, 0}, {NAN, 0}}),
                 PadError);
    EXPECT_THROW(TrackpadMoveBatch::messages(std::vector<TrackpadVector>{{0, -2000.5}}), PadError);
    expectRefused(moveWith({}));
    expectRefused(moveWith(std::vector<TrackpadVector>(65, {1, 1})));
    expectRefused(moveWith({{1, 1}, {0, NAN}}));
    expectRefused(moveWith({{2001, 0}}));
    WireMessage scroll(WireMessage::Kind::scroll);
    scroll.x = 1;
    expectRefused(scroll);
    WireMessage bare(WireMessage::Kind::move);
    bare.x = INFINITY;
    expectRefused(bare);
}

TEST(TrackpadMoveBatch, singleVectorMessageDefaultsMissingAxisToZero) {
    WireMessage m(WireMessage::Kind::move);
    m.y = -2000;
    EXPECT_EQ(TrackpadMoveBatch::samples(m), (std::vector<TrackpadVector>{{0, -2000}}));
    // The samples win over a sum that does not match them.
    m = moveWith(std::vector<TrackpadVector>(64, {2000, 2000}));
    m.x = 3;
    EXPECT_EQ(TrackpadMoveBatch::samples(m).size(), 64u);
}
