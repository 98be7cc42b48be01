#include "PhoneLoad.h"

#include <QCoreApplication>
#include <QTimer>

#include <cmath>
#include <cstdio>

#include "support/EventWait.h"

namespace quillvane::bench {

using namespace testing_support;
namespace {

using namespace std::chrono_literals;

// The host closes a link that has not said hello 10 s after accepting it; held connections are
// waited for a little beyond the hostile phase to see that happen.
constexpr std::chrono::milliseconds kHeldGrace = 3s;
// Only bounds a broken run; the burst normally ends long before the hostile phase does.
constexpr std::chrono::milliseconds kFloodLimit = 60s;

std::int64_t nanoseconds(std::chrono::steady_clock::time_point time) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(time.time_since_epoch()).count();
}

} // namespace

PhoneLoad::PhoneLoad(PairingProfile profile, quint16 port, Plan plan)
    : m_profile(std::move(profile)), m_port(port), m_plan(plan),
      m_session(m_profile, port) {
    m_sentAt.reserve(static_cast<std::size_t>(totalMoves()));
}

PhoneLoad::~PhoneLoad() = default;

int PhoneLoad::run() {
    if (!m_session.bind(10s)) {
        std::fprintf(stderr, "bench_hostile: the phone's session did not bind\n");
        return 1;
    }
    m_session.startHeartbeats();

    m_start = Clock::now();
    pump();
    const auto phases = std::chrono::duration<double>(totalMoves() / m_plan.movesPerSecond);
    waitUntil([this] { return m_sent == totalMoves() || m_session.lost(); },
              std::chrono::duration_cast<std::chrono::milliseconds>(phases) + 30s);
    // The session stays served (heartbeats, the last writes) while the burst finishes.
    waitUntil([this] { return m_flood.finished() || m_session.lost(); }, kFloodLimit);
    waitUntil([this] { return heldSettled() || m_session.lost(); }, kHeldGrace);
    const ConnectionFlood::Result flood = m_flood.join();
    // Closing their standard input ends the squatters; they print what they saw.
    m_squatters.closeWriteChannel();
    waitUntil([this] { return m_squatters.state() == QProcess::NotRunning; }, 10s);
    m_squatReport = m_squatters.readAllStandardOutput().trimmed();
    // A heartbeat after the last move: once it is answered, every move has been handled.
    m_session.sendHeartbeat();
    waitUntil([this] { return m_session.heartbeatsAnswered() || m_session.lost(); }, 5s);
    report(flood);

    // The host's side reads the report, checks the binding, then closes our standard input.
    while (std::getchar() != EOF) {
    }
    m_session.close();
    return 0;
}

PhoneLoad::Clock::time_point PhoneLoad::due(int move) const {
    const double offset = move / m_plan.movesPerSecond;
    return m_start + std::chrono::nanoseconds(std::llround(offset * 1e9));
}

void PhoneLoad::pump() {
    if (m_session.lost())
        return;
    // A late wake-up sends every move that fell due, as a phone's queued touches would.
    while (m_sent < totalMoves() && Clock::now() >= due(m_sent)) {
        if (m_sent == m_plan.warmupMoves + m_plan.phaseMoves)
            startHostile();
        sendMove();
    }
    if (m_sent == totalMoves())
        return;
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(due(m_sent) - Clock::now());
    QTimer::singleShot(std::max(wait, 0ms), Qt::PreciseTimer, this, &PhoneLoad::pump);
}

void PhoneLoad::sendMove() {
    WireMessage move(WireMessage::Kind::move);
    // A slow finger going back and forth, so the pointer stays where it is on balance.
    move.movementSamples = std::vector<TrackpadVector>{{m_sent % 2 == 0 ? 1.5 : -1.5, 0.5}};
    m_sentAt.push_back(nanoseconds(Clock::now()));
    m_session.send(move);
    ++m_sent;
}

void PhoneLoad::startHostile() {
    m_hostileStart = Clock::now();
    for (int i = 0; i < m_plan.heldHandshakes; ++i) {
        Held& held = m_held.emplace_back();
        held.channel = std::make_unique<ControllerChannel>(QStringLiteral("held"), m_profile.id,
                                                           *m_profile.keyData());
        const std::size_t index = m_held.size() - 1;
        // Completes the TLS handshake and then says nothing.
        held.channel->onReady = [this, index] { m_held[index].encrypted = true; };
        held.channel->onClose = [this, index](const QString&) {
            m_held[index].closedAfter =
                std::chrono::duration<double>(Clock::now() - m_hostileStart).count();
        };
    }
    for (Held& held : m_held)
        held.channel->connectTo(QStringLiteral("127.0.0.1"), m_port);
    m_flood.start(m_port, m_plan.floodAttempts);
    if (m_plan.squatters > 0) {
        m_squatters.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_squatters.start(QCoreApplication::applicationFilePath(),
                          {QStringLiteral("--squat"), QString::number(m_port),
                           QString::number(m_plan.squatters), QStringLiteral("127.0.0.2")});
    }
}

bool PhoneLoad::heldSettled() const {
    for (const Held& held : m_held)
        if (!held.closedAfter)
            return false;
    return true;
}

void PhoneLoad::report(const ConnectionFlood::Result& flood) const {
    for (int i = 0; i < m_sent; ++i) {
        const char phase = i < m_plan.warmupMoves                       ? 'W'
                           : i < m_plan.warmupMoves + m_plan.phaseMoves ? 'A'
                                                                        : 'B';
        std::printf("move %c %lld\n", phase, static_cast<long long>(m_sentAt[i]));
    }
    std::printf("flood %d %d %d %d %.1f\n", flood.attempts, flood.connected, flood.unanswered,
                flood.failed, flood.milliseconds);

    int completed = 0;
    int refused = 0;
    int closedByHost = 0;
    double lastClose = 0;
    for (const Held& held : m_held) {
        if (held.encrypted)
            ++completed;
        else if (held.closedAfter)
            ++refused;
        if (held.encrypted && held.closedAfter) {
            ++closedByHost;
            lastClose = std::max(lastClose, *held.closedAfter);
        }
    }
    std::printf("held %zu %d %d %d %.2f\n", m_held.size(), completed, refused, closedByHost,
                lastClose);
    if (!m_squatReport.isEmpty())
        std::printf("squat %s\n", m_squatReport.constData());
    std::printf("heartbeats %d\n", m_session.heartbeatAnswers());
    if (m_session.controlLost())
        std::printf("lost control %s\n", m_session.controlLost()->toUtf8().constData());
    if (m_session.audioLost())
        std::printf("lost audio %s\n", m_session.audioLost()->toUtf8().constData());
    for (const std::string& failure : m_session.failures())
        std::printf("failure %s\n", failure.c_str());
    std::printf("done\n");
    std::fflush(stdout);
}

} // namespace quillvane::bench
