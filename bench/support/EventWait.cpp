#include "EventWait.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

namespace quillvane::bench {

bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
    if (done())
        return true;
    // The timer only wakes the loop at the limit; until then the loop sleeps in poll().
    bool expired = false;
    QTimer deadline;
    deadline.setSingleShot(true);
    deadline.setTimerType(Qt::PreciseTimer);
    QObject::connect(&deadline, &QTimer::timeout, &deadline, [&expired] { expired = true; });
    deadline.start(limit);
    while (!expired) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        if (done())
            return true;
    }
    return false;
}

bool runFor(std::chrono::milliseconds duration, const std::function<bool()>& stop) {
    return !waitUntil(stop, duration);
}

} // namespace quillvane::bench
