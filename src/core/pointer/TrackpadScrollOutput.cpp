#include "TrackpadScrollOutput.h"

#include <cmath>
#include <cstdint>

namespace quillvane {

namespace {

ScrollEvent::Phase scrollPhase(std::optional<TrackpadScrollPhase> phase) {
    if (!phase)
        return ScrollEvent::Phase::none;
    switch (*phase) {
    case TrackpadScrollPhase::began:
        return ScrollEvent::Phase::began;
    case TrackpadScrollPhase::changed:
        return ScrollEvent::Phase::changed;
    case TrackpadScrollPhase::ended:
        return ScrollEvent::Phase::ended;
    case TrackpadScrollPhase::cancelled:
        return ScrollEvent::Phase::cancelled;
    case TrackpadScrollPhase::momentumBegan:
    case TrackpadScrollPhase::momentumChanged:
    case TrackpadScrollPhase::momentumEnded:
        break;
    }
    return ScrollEvent::Phase::none;
}

ScrollEvent::Momentum momentumPhase(std::optional<TrackpadScrollPhase> phase) {
    if (!phase)
        return ScrollEvent::Momentum::none;
    switch (*phase) {
    case TrackpadScrollPhase::momentumBegan:
        return ScrollEvent::Momentum::began;
    case TrackpadScrollPhase::momentumChanged:
        return ScrollEvent::Momentum::changed;
    case TrackpadScrollPhase::momentumEnded:
        return ScrollEvent::Momentum::ended;
    default:
        return ScrollEvent::Momentum::none;
    }
}

// Steps in the middle of a stage are worth an event only when they move something; stage
// boundaries are always sent so the receiving application sees every transition.
bool isStageBoundary(std::optional<TrackpadScrollPhase> phase) {
    return phase && *phase != TrackpadScrollPhase::changed &&
           *phase != TrackpadScrollPhase::momentumChanged;
}

} // namespace

std::optional<ScrollEvent> TrackpadScrollOutput::event(double x, double y,
                                                       std::optional<TrackpadScrollPhase> phase) {
    if (!std::isfinite(x) || !std::isfinite(y) || std::abs(x) > maximumDelta ||
        std::abs(y) > maximumDelta)
        return std::nullopt;

    if (phase) {
        switch (*phase) {
        case TrackpadScrollPhase::began:
            m_pixels.reset();
            m_scrolling = true;
            m_momentum = false;
            break;
        case TrackpadScrollPhase::ended:
        case TrackpadScrollPhase::cancelled:
            m_scrolling = false;
            break;
        case TrackpadScrollPhase::momentumBegan:
            m_scrolling = false;
            m_momentum = true;
            break;
        case TrackpadScrollPhase::momentumEnded:
            m_momentum = false;
            break;
        case TrackpadScrollPhase::changed:
        case TrackpadScrollPhase::momentumChanged:
            break;
        }
    }

    const TrackpadVector whole = m_pixels.add(x, y);
    // A cancelled gesture or finished momentum has no later step to carry a fraction into.
    if (phase == TrackpadScrollPhase::cancelled || phase == TrackpadScrollPhase::momentumEnded)
        m_pixels.reset();

    if (whole.x == 0 && whole.y == 0 && !isStageBoundary(phase))
        return std::nullopt;

    // |whole| < 2001 by the bound above, well within 32 bits.
    ScrollEvent event;
    event.wheel1 = static_cast<std::int32_t>(whole.y);
    event.wheel2 = static_cast<std::int32_t>(whole.x);
    event.phase = scrollPhase(phase);
    event.momentum = momentumPhase(phase);
    return event;
}

std::optional<ScrollEvent> TrackpadScrollOutput::close() {
    m_pixels.reset();
    if (m_momentum)
        return event(0, 0, TrackpadScrollPhase::momentumEnded);
    if (m_scrolling)
        return event(0, 0, TrackpadScrollPhase::cancelled);
    return std::nullopt;
}

} // namespace quillvane
