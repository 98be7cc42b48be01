// Connection set-up on loopback: the quillvane program runs as a child, and the phone's side binds
// a session 200 times. Each bind is timed from the control channel's TCP connect to the audio
// channel's welcome: two TLS-PSK handshakes and two hello/welcome exchanges. Between binds the
// phone closes its control channel and waits until the host has let the controller go (it then
// closes the audio channel); that wait is not timed. Prints one summary line.

#include <QCoreApplication>

#include <chrono>
#include <cstdio>
#include <vector>

#include "support/EventWait.h"
#include "HostProcess.h"
#include "LatencySummary.h"
#include "support/PhoneClient.h"

using namespace quillvane;
using namespace quillvane::bench;
using namespace quillvane::testing_support;
using namespace std::chrono_literals;

namespace {

constexpr int kConnections = 200;
// The first bind loads the TLS library on both sides; it is made but not counted.
constexpr int kWarmups = 1;
constexpr double kTargetP50Ms = 5.0;

int failWith(const QString& reason) {
    std::fprintf(stderr, "bench_connect: %s\n", reason.toUtf8().constData());
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    HostProcess host;
    if (!host.start(20s))
        return failWith(host.error());

    std::vector<double> milliseconds;
    milliseconds.reserve(kConnections);
    for (int i = 0; i < kWarmups + kConnections; ++i) {
        PhoneClient client(host.profile(), host.port());
        if (!client.bind(10s))
            return failWith(QStringLiteral("bind %1 failed: %2")
                                .arg(i)
                                .arg(client.controlLost().value_or(
                                    client.audioLost().value_or(QStringLiteral("no welcome")))));
        if (i >= kWarmups)
            milliseconds.push_back(
                std::chrono::duration<double, std::milli>(*client.boundAt() - client.bindStarted())
                    .count());

        client.closeControl();
        if (!waitUntil([&] { return client.audioLost().has_value(); }, 10s))
            return failWith(QStringLiteral("the host did not let controller %1 go").arg(i));
        if (!host.isRunning())
            return failWith(QStringLiteral("the host exited"));
    }

    const LatencySummary summary = LatencySummary::of(milliseconds);
    std::printf("connect: p50 %.2f ms, p99 %.2f ms, mean %.2f ms, max %.2f ms over %zu connections "
                "(control + audio, TLS-PSK, loopback; target p50 <= %.0f ms: %s)\n",
                summary.p50, summary.p99, summary.mean, summary.max, summary.count, kTargetP50Ms,
                summary.p50 <= kTargetP50Ms ? "met" : "missed");
    std::fflush(stdout);
    return 0;
}
