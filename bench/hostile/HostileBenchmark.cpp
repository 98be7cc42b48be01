// Move latency under hostile load. The host session (HostModel) runs in this process on its main
// thread, over real TLS-PSK links on loopback, with an input sink that notes when each move
// arrives. The phone's side runs in a child process (this program with --phone): a bound
// controller sends moves of one sample at 240 per second, 10 s alone (baseline) and then 10 s
// while 1,000 hostile connection attempts, 7 silent TLS connections and 12 plain connections that
// never speak, reopened as soon as they end, from 127.0.0.2 hit the host (the host admits 8
// links, 2 of them the controller's, so most of that is refused or displaced: that is the point).
// One TCP stream keeps order, so the n-th move handled is the n-th sent; each move's latency is
// its arrival in the sink minus its send time in the child, both on the steady clock
// (CLOCK_MONOTONIC, shared by all processes). Prints the latency of both phases, their ratio, and
// whether the controller stayed bound throughout. Then the phone's bind time against the quillvane
// program, quiet and while connections that never speak squat on its places (SquattedBinds).

#include <QCoreApplication>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>

#include <chrono>
#include <cstdio>
#include <vector>

#include "support/EventWait.h"
#include "HostModel.h"
#include "LatencySummary.h"
#include "PhoneLoad.h"
#include "SquattedBinds.h"
#include "TimestampInput.h"
#include "fakes/TestHost.h"
#include "protocol/PadError.h"

using namespace quillvane;
using namespace quillvane::bench;
using namespace quillvane::testing_support;
using namespace std::chrono_literals;

namespace {

constexpr double kMovesPerSecond = 240;
constexpr PhoneLoad::Plan kPlan{
    .warmupMoves = 120, // half a second, not counted: first use of every path
    .phaseMoves = 2400, // 10 s at 240 per second
    .movesPerSecond = kMovesPerSecond,
    .floodAttempts = 1000,
    .heldHandshakes = 7,
    .squatters = 12,
};
constexpr double kTargetRatio = 1.5;
const char* const kLinkVariable = "QUILLVANE_BENCH_LINK";
// When set, each move's times are written to this file (CSV) for a closer look.
const char* const kTraceVariable = "QUILLVANE_BENCH_TRACE";

int failWith(const QString& reason) {
    std::fprintf(stderr, "bench_hostile: %s\n", reason.toUtf8().constData());
    return 1;
}

// The host's log goes to a file, as it would go to the system log: the cost of writing each line
// stays, the terminal shows only the figures.
FILE* g_log = nullptr;
int g_peerClosedLines = 0;

void writeLog(QtMsgType, const QMessageLogContext& context, const QString& message) {
    if (message.startsWith(QStringLiteral("Peer closed")))
        ++g_peerClosedLines;
    if (g_log)
        std::fprintf(g_log, "%s: %s\n", context.category ? context.category : "default",
                     message.toUtf8().constData());
}

int runPhone(const QStringList& arguments) {
    const quint16 port = arguments.value(2).toUShort();
    try {
        PhoneLoad load(PairingProfile::parse(qgetenv(kLinkVariable).toStdString()), port, kPlan);
        return load.run();
    } catch (const PadError& error) {
        return failWith(QStringLiteral("--phone: ") + QString::fromUtf8(error.what()));
    }
}

// What the phone's side printed: send times per phase and its view of the session and the load.
struct PhoneReport {
    std::vector<std::int64_t> allMoves; // send times in order (the phases follow kPlan)
    QString flood;
    QString held;
    QString squat;
    int heartbeats = 0;
    QStringList problems; // lost channels and failures
    bool done = false;

    static PhoneReport parse(const QByteArray& text) {
        PhoneReport report;
        for (const QByteArray& line : text.split('\n')) {
            const QList<QByteArray> words = line.split(' ');
            const QByteArray& word = words.front();
            if (word == "move" && words.size() == 3) {
                report.allMoves.push_back(words[2].toLongLong());
            } else if (word == "flood" && words.size() == 6) {
                report.flood =
                    QStringLiteral("%1 connection attempts in %2 ms (%3 connected, %4 not "
                                   "answered within 100 ms, %5 failed)")
                        .arg(QString::fromLatin1(words[1]), QString::fromLatin1(words[5]),
                             QString::fromLatin1(words[2]), QString::fromLatin1(words[3]),
                             QString::fromLatin1(words[4]));
            } else if (word == "held" && words.size() == 6) {
                report.held =
                    QStringLiteral("%1 silent TLS connections (%2 completed the handshake, %3 "
                                   "refused; %4 closed by the host, the last %5 s after the start)")
                        .arg(QString::fromLatin1(words[1]), QString::fromLatin1(words[2]),
                             QString::fromLatin1(words[3]), QString::fromLatin1(words[4]),
                             QString::fromLatin1(words[5]));
            } else if (word == "squat") {
                report.squat = QString::fromUtf8(line.mid(6));
            } else if (word == "heartbeats" && words.size() == 2) {
                report.heartbeats = words[1].toInt();
            } else if (word == "lost" || word == "failure") {
                report.problems.push_back(QString::fromUtf8(line));
            } else if (word == "done") {
                report.done = true;
            }
        }
        return report;
    }
};

// The phase of the move at this position of the stream: warm-up 'W', baseline 'A', hostile 'B'.
char phaseOf(std::size_t move) {
    const auto warmup = static_cast<std::size_t>(kPlan.warmupMoves);
    const auto phase = static_cast<std::size_t>(kPlan.phaseMoves);
    return move < warmup ? 'W' : move < warmup + phase ? 'A' : 'B';
}

// Latencies in milliseconds of the moves of one phase, matched by position in the whole stream.
std::vector<double> latencies(const PhoneReport& report, const std::vector<std::int64_t>& handled,
                              char phase) {
    std::vector<double> milliseconds;
    for (std::size_t i = 0; i < report.allMoves.size(); ++i)
        if (phaseOf(i) == phase)
            milliseconds.push_back(static_cast<double>(handled[i] - report.allMoves[i]) / 1e6);
    return milliseconds;
}

// One line per move: position, phase, send and arrival times (steady clock, ns), latency in ms.
void writeTrace(const QString& path, const PhoneReport& report,
                const std::vector<std::int64_t>& handled) {
    FILE* file = std::fopen(path.toUtf8().constData(), "w");
    if (!file) {
        std::fprintf(stderr, "bench_hostile: cannot write %s\n", path.toUtf8().constData());
        return;
    }
    std::fprintf(file, "move,phase,sent_ns,handled_ns,latency_ms\n");
    for (std::size_t i = 0; i < report.allMoves.size(); ++i) {
        std::fprintf(file, "%zu,%c,%lld,%lld,%.3f\n", i, phaseOf(i),
                     static_cast<long long>(report.allMoves[i]), static_cast<long long>(handled[i]),
                     static_cast<double>(handled[i] - report.allMoves[i]) / 1e6);
    }
    std::fclose(file);
}

void printPhase(const char* name, const LatencySummary& summary, const QString& load) {
    std::printf("hostile %s: move send-to-handled p50 %.3f ms, p99 %.3f ms, mean %.3f ms, max %.3f "
                "ms over %zu moves at %.0f/s%s\n",
                name, summary.p50, summary.p99, summary.mean, summary.max, summary.count,
                kMovesPerSecond, load.toUtf8().constData());
}

int runHost() {
    QTemporaryDir dir;
    if (!dir.isValid())
        return failWith(QStringLiteral("no temporary directory: ") + dir.errorString());
    g_log = std::fopen(dir.filePath(QStringLiteral("host.log")).toUtf8().constData(), "w");
    if (g_log)
        std::setvbuf(g_log, nullptr, _IOLBF, 0);
    qInstallMessageHandler(writeLog);

    TimestampInput input(static_cast<std::size_t>(kPlan.warmupMoves + 2 * kPlan.phaseMoves));
    TestHost test(input, "Benchmark");
    HostModel& host = test.make();
    if (!test.start())
        return failWith(QStringLiteral("the host did not start: ") + host.issue());

    int drops = 0;
    int issues = 0;
    QObject::connect(&host, &HostModel::connectedChanged, &host, [&] {
        if (!host.connected())
            ++drops;
    });
    QObject::connect(&host, &HostModel::issueChanged, &host, [&] { ++issues; });

    QProcess phone;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // Not on the command line, where every user of the machine could read the key.
    environment.insert(QString::fromLatin1(kLinkVariable), host.pairingLink());
    phone.setProcessEnvironment(environment);
    phone.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QByteArray output;
    QObject::connect(&phone, &QProcess::readyReadStandardOutput, &phone,
                     [&] { output += phone.readAllStandardOutput(); });
    phone.start(QCoreApplication::applicationFilePath(),
                {QStringLiteral("--phone"), QString::number(host.port())});
    if (!phone.waitForStarted())
        return failWith(QStringLiteral("the phone's side did not start: ") + phone.errorString());

    const bool reported = waitUntil(
        [&] { return output.endsWith("done\n") || phone.state() == QProcess::NotRunning; }, 90s);
    const bool connectedAtEnd = host.connected();
    const int dropsDuringRun = drops;
    const int issuesDuringRun = issues;
    phone.closeWriteChannel();
    if (!waitUntil([&] { return phone.state() == QProcess::NotRunning; }, 10s))
        phone.kill();
    output += phone.readAllStandardOutput();
    if (!reported)
        return failWith(QStringLiteral("the phone's side did not finish within 90 s"));

    const PhoneReport report = PhoneReport::parse(output);
    if (!report.done)
        return failWith(QStringLiteral("the phone's side stopped early (exit status %1)")
                            .arg(phone.exitCode()));
    for (const QString& problem : report.problems)
        std::printf("hostile: phone's side: %s\n", problem.toUtf8().constData());
    const std::vector<std::int64_t>& handled = input.moves();
    if (handled.size() != report.allMoves.size())
        return failWith(
            QStringLiteral("the host handled %1 moves of the %2 sent (%3 issues, last: %4)")
                .arg(handled.size())
                .arg(report.allMoves.size())
                .arg(issuesDuringRun)
                .arg(host.issue()));

    if (const QString trace = qEnvironmentVariable(kTraceVariable); !trace.isEmpty())
        writeTrace(trace, report, handled);

    const LatencySummary baseline = LatencySummary::of(latencies(report, handled, 'A'));
    const LatencySummary hostile = LatencySummary::of(latencies(report, handled, 'B'));
    const double ratio = hostile.p99 / baseline.p99;
    printPhase("baseline", baseline, {});
    printPhase("load", hostile,
               QStringLiteral(", during %1, %2 and %3").arg(report.flood, report.held, report.squat));
    std::printf("hostile: ratio p99 hostile/baseline %.2f (target <= %.1f: %s)\n", ratio,
                kTargetRatio, ratio <= kTargetRatio ? "met" : "missed");
    const bool stayed = connectedAtEnd && dropsDuringRun == 0 && report.problems.isEmpty();
    std::printf("hostile: controller stayed bound throughout: %s (%d heartbeats answered, %d "
                "disconnects, %d issues; %d other links were admitted and closed again)\n",
                stayed ? "yes" : "NO", report.heartbeats, dropsDuringRun, issuesDuringRun,
                g_peerClosedLines);
    std::fflush(stdout);

    host.stop();
    qInstallMessageHandler(nullptr);
    if (g_log)
        std::fclose(g_log);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == QStringLiteral("--phone"))
        return runPhone(arguments);
    if (arguments.value(1) == QStringLiteral("--squat"))
        return SquattedBinds::squat(arguments);
    const int moves = runHost();
    return SquattedBinds::run() != 0 ? 1 : moves;
}
