#include "PointerSweep.h"

#include <chrono>
#include <cstdint>

#include "MotionObserver.h"
#include "XTestPointer.h"
#include "support/EventWait.h"

namespace quillvane::bench {

using namespace testing_support;

namespace {

using namespace std::chrono_literals;

// How far past a move's own motion a match may look, should one ever go missing.
constexpr std::size_t kMatchWindow = 16;

} // namespace

void PointerSweep::place(MotionObserver& observer, XTestPointer& pointer, int x, int y) {
    pointer.warp(x, y);
    waitUntil([&] { return observer.lastAt(x, y); }, 2s);
    observer.take();
}

MoveSweep::Run PointerSweep::run(MotionObserver& observer, XTestPointer& pointer,
                                 const std::function<void(int, int, int)>& post) const {
    place(observer, pointer, x0, y0);
    std::vector<int> xs(static_cast<std::size_t>(count));
    int x = x0;
    for (int i = 0; i < count; ++i)
        xs[static_cast<std::size_t>(i)] = x += stepOf(i);
    std::vector<std::int64_t> sentAt(static_cast<std::size_t>(count));
    MoveSweep::pace(count, perSecond, [&](int i) {
        sentAt[static_cast<std::size_t>(i)] = MoveSweep::now();
        post(i, xs[static_cast<std::size_t>(i)], y0);
    });
    waitUntil([&] { return observer.lastAt(xs.back(), y0); }, 2s);
    return MoveSweep::match(xs, y0, sentAt, observer.take(), warmup, kMatchWindow);
}

} // namespace quillvane::bench
