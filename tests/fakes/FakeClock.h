#pragma once

#include <QObject>
#include <QPointer>

#include <functional>
#include <map>

#include "Clock.h"

namespace quillvane {

// A clock that stands still until the test advances it; what waits on it runs then, in order.
class FakeClock final : public Clock {
public:
    double now() const override { return m_now; }
    void after(double seconds, QObject* owner, std::function<void()> action) override {
        m_waiting.emplace(m_now + seconds, Waiting{QPointer<QObject>(owner), std::move(action)});
    }

    // Moves time on by `seconds`, running each action that falls due at its own time.
    void advance(double seconds) {
        const double until = m_now + seconds;
        while (!m_waiting.empty() && m_waiting.begin()->first <= until) {
            auto next = m_waiting.extract(m_waiting.begin());
            m_now = next.key();
            if (next.mapped().owner)
                next.mapped().action();
        }
        m_now = until;
    }

private:
    struct Waiting {
        QPointer<QObject> owner;
        std::function<void()> action;
    };
    double m_now = 1000.0;
    std::multimap<double, Waiting> m_waiting;
};

} // namespace quillvane
