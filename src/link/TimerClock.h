#pragma once

#include <functional>

#include "Clock.h"

namespace quillvane {

// The clock of the running program: the steady clock (or the given one) and precise Qt timers.
class TimerClock final : public Clock {
public:
    explicit TimerClock(std::function<double()> now = {});

    double now() const override { return m_now(); }
    // A precise single-shot timer owned by `owner`, so it goes with it: a flood ends thousands of
    // links a second, and a timer left behind for each would pile up in the event loop. Precise,
    // because a coarse timer may fire up to 5 % early.
    void after(double seconds, QObject* owner, std::function<void()> action) override;

private:
    std::function<double()> m_now;
};

} // namespace quillvane
