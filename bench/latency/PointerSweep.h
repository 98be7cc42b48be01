#pragma once

#include <functional>
#include <vector>

#include "MoveSweep.h"

namespace quillvane::bench {

class MotionObserver;
class XTestPointer;

// Moves on the X server, paced and matched: the pointer starts at (x0, y0) and goes `step` pixels
// a move to the right for a leg of moves, then left for one, so every move lands on a pixel of
// its own, and the n-th move is matched with the first later motion the observer saw there.
struct PointerSweep {
    int x0 = 0;
    int y0 = 0;
    int step = 2;
    int leg = 100;
    int count = 0;
    double perSecond = 240;
    // Moves matched but not counted at the start of a run.
    int warmup = 0;

    // The horizontal step of move i.
    int stepOf(int i) const { return (i / leg) % 2 == 0 ? step : -step; }

    // Puts the pointer at (x, y), waits until the observer has seen it there and forgets what
    // the observer saw before.
    static void place(MotionObserver& observer, XTestPointer& pointer, int x, int y);

    // Places the pointer at the start, has `post(i, x, y)` send move i (ending at (x, y)) when it
    // falls due, and pairs each move with its motion.
    MoveSweep::Run run(MotionObserver& observer, XTestPointer& pointer,
                       const std::function<void(int, int, int)>& post) const;
};

} // namespace quillvane::bench
