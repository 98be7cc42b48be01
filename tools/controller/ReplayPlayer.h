#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <functional>
#include <optional>

#include "TraceFile.h"
#include "controller/ControllerReplay.h"

namespace quillvane {

// Plays a trace through the core's recognisers in real time: each event and frame tick when its
// moment comes, handing every message to `send` and printing it as "sent <json>" (and each
// vibration as "haptic <kind>"). Finished once the recognisers are idle after the last event.
class ReplayPlayer : public QObject {
    Q_OBJECT
public:
    explicit ReplayPlayer(TraceFile trace, QObject* parent = nullptr);

    std::function<void(const WireMessage&)> send;
    std::function<void()> onFinished;

    void start();

    // The lines a replay prints for one step's output.
    static void print(const ControllerOutput& output);

private:
    void play();

    ControllerReplay m_replay;
    double m_start;
    QTimer m_clock;
    QElapsedTimer m_elapsed;
};

} // namespace quillvane
