#include "PointerPosition.h"

#include <cmath>

namespace quillvane {

namespace {

bool isFinite(TrackpadVector p) {
    return std::isfinite(p.x) && std::isfinite(p.y);
}

} // namespace

TrackpadVector PointerPosition::resolve(TrackpadVector observed, double time) {
    if (!isFinite(observed) || !std::isfinite(time)) {
        reset();
        return observed;
    }
    const bool recent = m_timestamp && *m_timestamp <= time && time - *m_timestamp < recentWindow;

    bool keepCommanded;
    if (m_lastObserved && *m_lastObserved == observed)
        keepCommanded = recent;
    else
        keepCommanded = recognise(observed) && recent;

    if (!keepCommanded) {
        m_commanded = observed;
        m_trail.clear();
    }
    m_lastObserved = observed;
    m_timestamp = time;
    return m_commanded.value_or(observed);
}

bool PointerPosition::recognise(TrackpadVector observed) {
    if (m_trail.empty())
        return false;
    auto nearest = m_trail.begin();
    double nearestDistance = std::hypot(nearest->x - observed.x, nearest->y - observed.y);
    for (auto it = m_trail.begin() + 1; it != m_trail.end(); ++it) {
        const double distance = std::hypot(it->x - observed.x, it->y - observed.y);
        // Strictly nearer only: among equally near entries the oldest is taken, which keeps the
        // newer positions that the system has not reported yet.
        if (distance < nearestDistance) {
            nearest = it;
            nearestDistance = distance;
        }
    }
    if (std::abs(nearest->x - observed.x) > recognitionTolerance ||
        std::abs(nearest->y - observed.y) > recognitionTolerance)
        return false;
    m_trail.erase(m_trail.begin(), nearest + 1);
    return true;
}

void PointerPosition::record(TrackpadVector position) {
    if (!isFinite(position)) {
        reset();
        return;
    }
    m_commanded = position;
    m_trail.push_back(position);
    if (m_trail.size() > maximumTrail)
        m_trail.erase(m_trail.begin(), m_trail.end() - maximumTrail);
}

void PointerPosition::reset() {
    m_commanded.reset();
    m_lastObserved.reset();
    m_timestamp.reset();
    m_trail.clear();
}

} // namespace quillvane
