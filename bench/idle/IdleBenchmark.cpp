// Idle cost of the host: the quillvane program runs as a child with one bound controller (this
// process) that sends a heartbeat every second, as the phone does, for 60 seconds
// (QUILLVANE_BENCH_IDLE_SECONDS shortens it for trial runs). The host's CPU time (user + system,
// all threads) is read from /proc before and after; its resident memory (now and peak) at the end.
// Prints one summary line.

#include <QCoreApplication>
#include <QFile>

#include <chrono>
#include <cstdio>
#include <optional>
#include <unistd.h>

#include "support/EventWait.h"
#include "HostProcess.h"
#include "support/PhoneClient.h"

using namespace quillvane;
using namespace quillvane::bench;
using namespace quillvane::testing_support;
using namespace std::chrono_literals;

namespace {

constexpr int kDefaultSeconds = 60;
constexpr double kTargetCpuPercent = 0.5;
constexpr double kTargetRssMegabytes = 60;

int failWith(const QString& reason) {
    std::fprintf(stderr, "bench_idle: %s\n", reason.toUtf8().constData());
    return 1;
}

int idleSeconds() {
    bool ok = false;
    const int seconds = qEnvironmentVariableIntValue("QUILLVANE_BENCH_IDLE_SECONDS", &ok);
    return ok && seconds > 0 ? seconds : kDefaultSeconds;
}

// utime + stime of the whole process, in clock ticks (fields 14 and 15 of /proc/<pid>/stat).
std::optional<long long> cpuTicks(qint64 pid) {
    QFile file(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray text = file.readAll();
    // The command name (field 2) may hold spaces; the fields after it start past its ')'.
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    // fields[0] is field 3 (state), so utime and stime are fields[11] and fields[12].
    if (fields.size() < 13)
        return std::nullopt;
    return fields[11].toLongLong() + fields[12].toLongLong();
}

// A "VmRSS:   1234 kB" line of /proc/<pid>/status, in megabytes (10^6 bytes).
std::optional<double> statusMegabytes(qint64 pid, const QByteArray& key) {
    QFile file(QStringLiteral("/proc/%1/status").arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    for (const QByteArray& line : file.readAll().split('\n'))
        if (line.startsWith(key + ':'))
            return line.mid(key.size() + 1).trimmed().split(' ').front().toDouble() * 1024 / 1e6;
    return std::nullopt;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int seconds = idleSeconds();
    HostProcess host;
    if (!host.start(20s))
        return failWith(host.error());

    PhoneClient client(host.profile(), host.port());
    if (!client.bind(10s))
        return failWith(QStringLiteral("the controller did not bind"));
    client.startHeartbeats();

    const auto before = cpuTicks(host.pid());
    const auto started = std::chrono::steady_clock::now();
    const bool stayed =
        runFor(std::chrono::seconds(seconds), [&] { return client.lost() || !host.isRunning(); });
    const auto after = cpuTicks(host.pid());
    const double wall =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    const auto rss = statusMegabytes(host.pid(), "VmRSS");
    const auto peak = statusMegabytes(host.pid(), "VmHWM");
    if (!stayed)
        return failWith(QStringLiteral("the host dropped the controller: %1")
                            .arg(client.controlLost().value_or(
                                client.audioLost().value_or(QStringLiteral("the host exited")))));
    if (!before || !after || !rss || !peak)
        return failWith(QStringLiteral("could not read /proc/%1").arg(host.pid()));

    const double cpuSeconds =
        static_cast<double>(*after - *before) / static_cast<double>(::sysconf(_SC_CLK_TCK));
    const double cpuPercent = cpuSeconds / wall * 100;
    std::printf(
        "idle: host CPU %.3f %% of one core over %.1f s (%.0f ms user+system), RSS %.1f MB, "
        "peak RSS %.1f MB; %d heartbeats answered (targets CPU < %.1f %%: %s, RSS < %.0f MB: "
        "%s)\n",
        cpuPercent, wall, cpuSeconds * 1000, *rss, *peak, client.heartbeatAnswers(),
        kTargetCpuPercent, cpuPercent < kTargetCpuPercent ? "met" : "missed", kTargetRssMegabytes,
        *rss < kTargetRssMegabytes ? "met" : "missed");
    std::fflush(stdout);
    client.close();
    return 0;
}
