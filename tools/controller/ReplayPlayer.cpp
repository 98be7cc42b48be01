#include "ReplayPlayer.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace quillvane {

ReplayPlayer::ReplayPlayer(TraceFile trace, QObject* parent)
    : QObject(parent), m_replay(std::move(trace.events), trace.settings),
      m_start(m_replay.nextTime()) {
    m_clock.setSingleShot(true);
    m_clock.setTimerType(Qt::PreciseTimer);
    connect(&m_clock, &QTimer::timeout, this, &ReplayPlayer::play);
}

void ReplayPlayer::print(const ControllerOutput& output) {
    for (const auto& message : output.messages)
        std::printf("sent %s\n", message.toJson().c_str());
    for (const Haptic haptic : output.haptics)
        std::printf("haptic %s\n", haptic == Haptic::start ? "start" : "detent");
    std::fflush(stdout);
}

void ReplayPlayer::start() {
    m_elapsed.start();
    play();
}

void ReplayPlayer::play() {
    std::vector<ControllerReplay::Step> steps;
    m_replay.runUntil(m_start + static_cast<double>(m_elapsed.nsecsElapsed()) / 1e9, steps);
    for (const auto& step : steps) {
        for (const auto& message : step.output.messages)
            if (send)
                send(message);
        print(step.output);
    }
    if (m_replay.finished()) {
        if (onFinished)
            onFinished();
        return;
    }
    const double wait = m_replay.nextTime() - m_start - static_cast<double>(m_elapsed.nsecsElapsed()) / 1e9;
    m_clock.start(static_cast<int>(std::clamp(std::ceil(wait * 1000), 0.0, 1000.0)));
}

} // namespace quillvane
