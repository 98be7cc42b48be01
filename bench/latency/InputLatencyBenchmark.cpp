// Send-to-screen latency of a move. The quillvane program runs as a child (headless, posting
// through its X11 backend); this process is the phone, sending moves of one small sample at 240
// per second for 20 s over the real TLS-PSK link on loopback, and a separate X client on a thread
// of its own stamps each motion event as the X server reports it. For the floor, the same moves
// are posted as bare XTest motions from this process at the same rate to the same observer. The
// pointer sweeps back and forth so every move lands on a pixel of its own, and the n-th move is
// matched with the first later motion at its pixel. Without DISPLAY a private Xvfb is started.
// QUILLVANE_BENCH_INPUT_SECONDS shortens the runs for trials.

#include <QCoreApplication>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "support/EventWait.h"
#include "HostProcess.h"
#include "LatencySummary.h"
#include "MotionObserver.h"
#include "MoveSweep.h"
#include "PointerSweep.h"
#include "PrivateXServer.h"
#include "support/PhoneClient.h"
#include "XTestPointer.h"
#include "pointer/TrackpadMoveBatch.h"

#include <X11/Xlib.h>

using namespace quillvane;
using namespace quillvane::bench;
using namespace quillvane::testing_support;
using namespace std::chrono_literals;

namespace {

constexpr double kMovesPerSecond = 240;
constexpr int kDefaultSeconds = 20;
// Half a second of each run is not counted: the first use of every path.
constexpr int kWarmupMoves = 120;
// The sweep: this many pixels per move, turning round after this many moves.
constexpr int kStep = 2;
constexpr int kLeg = 100;

constexpr double kTargetP50 = 1;
constexpr double kTargetP99 = 3;
constexpr double kTargetAboveFloor = 2;

int failWith(const std::string& reason) {
    std::fprintf(stderr, "bench_input_latency: %s\n", reason.c_str());
    return 1;
}

int runSeconds() {
    bool ok = false;
    const int seconds = qEnvironmentVariableIntValue("QUILLVANE_BENCH_INPUT_SECONDS", &ok);
    return ok && seconds > 0 ? seconds : kDefaultSeconds;
}

using Run = MoveSweep::Run;

void printRow(const char* name, const Run& run, const LatencySummary& figures) {
    std::printf("  %-30s %6zu %8.3f %8.3f %8.3f %8.3f %9d\n", name, run.latencies.size(),
                figures.p50, figures.p99, figures.p999, figures.max, run.unmatched);
}

const char* verdict(bool met) {
    return met ? "met" : "MISSED";
}

} // namespace

int main(int argc, char** argv) {
    // The observer's thread and this one each use a connection of their own.
    XInitThreads();
    QCoreApplication app(argc, argv);
    const int seconds = runSeconds();
    const int count = kWarmupMoves + static_cast<int>(seconds * kMovesPerSecond);
    std::string error;

    PrivateXServer privateServer;
    const std::string serverName = privateServer.startUnlessNamed(error);
    if (serverName.empty())
        return failWith(error);

    XTestPointer pointer;
    if (!pointer.open(error))
        return failWith(error);
    // The sweep runs from a quarter of the screen's width, halfway down, a leg to the right.
    const int x0 = pointer.screenWidth() / 4;
    const int y0 = pointer.screenHeight() / 2;
    MotionObserver observer;
    const int margin = 8;
    if (!observer.start({x0 - margin, y0 - margin, kLeg * kStep + 2 * margin, 2 * margin}, error))
        return failWith(error);

    HostProcess host;
    if (!host.start(20s))
        return failWith(host.error().toStdString());
    PhoneClient client(host.profile(), host.port());
    if (!client.bind(10s))
        return failWith("the controller did not bind");
    client.startHeartbeats();

    std::printf("bench_input_latency: X server: %s, %dx%d\n", serverName.c_str(),
                pointer.screenWidth(), pointer.screenHeight());
    std::printf("bench_input_latency: %.0f moves/s for %d s per run, one sample of %d px each; "
                "send to MotionNotify at a separate X client\n",
                kMovesPerSecond, seconds, kStep);
    std::fflush(stdout);

    const PointerSweep sweep{x0, y0, kStep, kLeg, count, kMovesPerSecond, kWarmupMoves};
    const Run floor = sweep.run(observer, pointer, [&](int, int x, int y) { pointer.post(x, y); });

    std::vector<WireMessage> moves;
    for (int i = 0; i < count; ++i)
        moves.push_back(
            TrackpadMoveBatch::messages(std::vector<TrackpadVector>{{double(sweep.stepOf(i)), 0}})
                .front());
    const Run link = sweep.run(observer, pointer, [&](int i, int, int) {
        client.send(moves[static_cast<std::size_t>(i)]);
    });
    const bool lost = client.lost();
    client.close();
    host.stop();
    observer.stop();

    if (lost)
        return failWith("the host ended the session during the run");
    if (floor.latencies.empty() || link.latencies.empty())
        return failWith(std::string("no motion events were matched for the ") +
                        (floor.latencies.empty() ? "floor" : "link") +
                        " run: the observer saw nothing, or the host could not post");

    const LatencySummary linkFigures = LatencySummary::of(link.latencies);
    const LatencySummary floorFigures = LatencySummary::of(floor.latencies);
    const double aboveFloor = linkFigures.p99 - floorFigures.p99;
    std::printf("  %-30s %6s %8s %8s %8s %8s %9s\n", "latency (ms)", "moves", "p50", "p99", "p99.9",
                "max", "unmatched");
    printRow("link: controller -> host -> X", link, linkFigures);
    printRow("floor: local XTest motion", floor, floorFigures);
    std::printf("  p99 above floor: %.3f ms\n", aboveFloor);
    std::printf("  targets: p50 <= %.0f ms %s, p99 <= %.0f ms %s, p99 above floor <= %.0f ms %s\n",
                kTargetP50, verdict(linkFigures.p50 <= kTargetP50), kTargetP99,
                verdict(linkFigures.p99 <= kTargetP99), kTargetAboveFloor,
                verdict(aboveFloor <= kTargetAboveFloor));
    return 0;
}
