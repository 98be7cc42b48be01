#pragma once

#include <optional>
#include <vector>

#include "protocol/WireMessage.h"

namespace quillvane {

// Gathers pointer deltas and sends them as at most one move message per frame interval, so a
// fast touch panel does not flood the link while every sample still reaches the host in order.
class PointerMoveQueue {
public:
    // 120 Hz, the report rate of the fastest common phone touch panels: at that rate each finger
    // sample leaves at once; faster panels and motion sensors share a message.
    static constexpr double frameInterval = 1.0 / 120;
    // Whether a frame interval has passed from `last` to `time`. A microsecond of slack keeps a
    // caller that ticks exactly once per interval from missing every other frame to rounding.
    static bool frameDue(std::optional<double> last, double time) {
        return !last || time - *last >= frameInterval - 1e-6;
    }

    // Queues a delta sampled at `time`; a non-finite one is dropped. Deltas go out in 1/256ths
    // of a point, the rest carried into the next one, so no motion is lost and their JSON stays
    // short (a few digits instead of seventeen, and quick to write). The queue never holds more
    // than one message may carry: past 64 samples the last one absorbs the rest, and the sum stays
    // within the 2000 points per axis a message may carry (a jump beyond that is cut short).
    void add(TrackpadVector delta, double time);
    // Sends the queue when a frame interval has passed since the newest sample of the last move
    // message was taken. Sample times, not send times: an owner that also flushes from its frame
    // tick (whose time runs ahead of the samples' own, which are taken before they are handed
    // over) would otherwise hold every later sample back to the next tick, a frame late.
    void flushDue(double time, std::vector<WireMessage>& out);
    // Sends the queue now: a click or a button change must follow the motion before it.
    void flush(std::vector<WireMessage>& out);
    void clear();

    bool empty() const { return m_pending.empty(); }
    TrackpadVector pendingSum() const { return m_sum; }

private:
    std::vector<TrackpadVector> m_pending;
    TrackpadVector m_sum;
    TrackpadVector m_carry;
    double m_newest = 0;              // when the newest queued sample was taken
    std::optional<double> m_lastSent; // the same for the last message sent
};

} // namespace quillvane
