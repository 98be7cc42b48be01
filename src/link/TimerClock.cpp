#include "TimerClock.h"

#include <QTimer>

#include <chrono>

namespace quillvane {

TimerClock::TimerClock(std::function<double()> now) : m_now(std::move(now)) {
    if (!m_now)
        m_now = [] {
            using namespace std::chrono;
            return duration<double>(steady_clock::now().time_since_epoch()).count();
        };
}

void TimerClock::after(double seconds, QObject* owner, std::function<void()> action) {
    auto* timer = new QTimer(owner);
    timer->setSingleShot(true);
    timer->setTimerType(Qt::PreciseTimer);
    QObject::connect(timer, &QTimer::timeout, owner, [timer, action = std::move(action)] {
        timer->deleteLater();
        action();
    });
    timer->start(std::chrono::milliseconds(static_cast<long>(seconds * 1000)));
}

} // namespace quillvane
