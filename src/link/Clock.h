#pragma once

#include <functional>

class QObject;

namespace quillvane {

// The time the session's rules are given, and the one way they wait: monotonic seconds (never
// wall-clock time, which can jump), and an action run once after a delay unless the object it
// belongs to is gone first. Tests substitute a clock they advance by hand.
class Clock {
public:
    virtual ~Clock() = default;
    virtual double now() const = 0;
    // Runs `action` once, `seconds` from now, on the event loop; never after `owner` is destroyed.
    virtual void after(double seconds, QObject* owner, std::function<void()> action) = 0;
};

} // namespace quillvane
