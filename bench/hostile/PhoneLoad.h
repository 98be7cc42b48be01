#pragma once

#include <QObject>
#include <QProcess>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "ConnectionFlood.h"
#include "ControllerChannel.h"
#include "support/PhoneClient.h"
#include "pairing/PairingProfile.h"

namespace quillvane::bench {

// The phone's side of the hostile benchmark, in a process of its own so that the load never
// shares the host's event loop. It binds a session and keeps it alive with heartbeats, sends
// moves of one sample at a steady rate (a warm-up, then the baseline phase, then the hostile
// phase), and when the hostile phase begins it opens TLS connections that never say hello, starts a
// burst of hostile connection attempts on another thread and squatters in another process. At the end it prints on
// standard output each move's send time and what became of the session and of the hostile
// connections, then keeps the session until standard input closes, so that the host's side can
// check the binding before the session ends.
class PhoneLoad : public QObject {
    Q_OBJECT

public:
    struct Plan {
        int warmupMoves = 0;
        int phaseMoves = 0;
        double movesPerSecond = 1;
        int floodAttempts = 0;
        int heldHandshakes = 0;
        int squatters = 0; // from 127.0.0.2, in a process of their own
    };

    PhoneLoad(PairingProfile profile, quint16 port, Plan plan);
    ~PhoneLoad() override;

    // Runs the whole load; returns the process exit status.
    int run();

private:
    using Clock = std::chrono::steady_clock;

    struct Held {
        std::unique_ptr<ControllerChannel> channel;
        bool encrypted = false;
        std::optional<double> closedAfter; // seconds after the hostile phase began
    };

    int totalMoves() const { return m_plan.warmupMoves + 2 * m_plan.phaseMoves; }
    Clock::time_point due(int move) const;
    void pump();
    void sendMove();
    void startHostile();
    bool heldSettled() const;
    void report(const ConnectionFlood::Result& flood) const;

    PairingProfile m_profile;
    quint16 m_port;
    Plan m_plan;
    testing_support::PhoneClient m_session;
    Clock::time_point m_start;
    Clock::time_point m_hostileStart;
    int m_sent = 0;
    std::vector<std::int64_t> m_sentAt;
    std::vector<Held> m_held;
    ConnectionFlood m_flood;
    QProcess m_squatters;
    QByteArray m_squatReport; // the line the squatters printed when they ended
};

} // namespace quillvane::bench
