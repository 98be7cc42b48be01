#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "protocol/WireMessage.h"

namespace quillvane {

// Packs pointer deltas into move messages (phone side) and reads them back (computer side).
// One message carries 1 to 64 samples, each within ±2000 points per axis, and on the sending side
// also sums to at most 2000 points per axis, so the receiver's checks always pass.
struct TrackpadMoveBatch {
    static constexpr std::size_t maximumSamples = 64;
    static constexpr double maximumDelta = 2000;

    TrackpadMoveBatch() = delete;

    // The one rule for a pointer or scroll delta: finite, and within ±2000 points per axis.
    static bool isValidDelta(double x, double y);
    // 1 to 64 valid deltas.
    static bool isValidBatch(std::span<const TrackpadVector> deltas);

    // Move messages for the deltas in order; `x`/`y` of each is the sum of its samples, and the
    // samples are listed only when there are two or more. Throws PadError "无效移动事件" when a
    // delta is not finite or beyond ±2000, producing nothing.
    static std::vector<WireMessage> messages(std::span<const TrackpadVector> deltas);

    // The samples of a received move message: its sample list, or the single vector (x, y) with
    // absent components as 0. Throws PadError "无效移动事件" unless the message is a move with 1 to
    // 64 finite samples within ±2000. The sum in `x`/`y` is not compared with the samples.
    static std::vector<TrackpadVector> samples(const WireMessage& message);
};

} // namespace quillvane
