#include "EventWait.h"

#include <QCoreApplication>
#include <QEvent>
#include <QEventLoop>
#include <QTimer>

namespace quillvane::testing_support {

bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
    if (done())
        return true;
    bool expired = false;
    QTimer deadline;
    deadline.setSingleShot(true);
    deadline.setTimerType(Qt::PreciseTimer);
    QObject::connect(&deadline, &QTimer::timeout, &deadline, [&expired] { expired = true; });
    deadline.start(limit);
    QTimer poll;
    poll.start(std::chrono::milliseconds(20));
    while (!expired) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        // As a running loop would: objects let go with deleteLater() are gone between passes.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        if (done())
            return true;
    }
    return done();
}

} // namespace quillvane::testing_support
