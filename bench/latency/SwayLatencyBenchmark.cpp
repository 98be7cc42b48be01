// Send-to-event latency of a move on a wlroots desktop. A headless sway runs with wev as the
// only window, filling the output; the quillvane program runs as a child (headless, posting
// through its wlroots backend); this process is the phone, sending moves of one small sample at
// 240 per second over the real TLS-PSK link on loopback. A thread reads wev's output and stamps
// each motion as wev prints it. For the floor, the same moves are posted by a bare virtual
// pointer of this process to the same wev. The n-th move is matched with the first later motion
// at its pixel. Runs inside scripts/test-env (sway is started as an unprivileged user there);
// started outside, it runs itself through it. QUILLVANE_BENCH_INPUT_SECONDS shortens the runs.

#include <QCoreApplication>
#include <QProcess>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

#include <wayland-client.h>

#include "support/EventWait.h"
#include "HostProcess.h"
#include "LatencySummary.h"
#include "MoveSweep.h"
#include "support/PhoneClient.h"
#include "pointer/TrackpadMoveBatch.h"
#include "wlr-virtual-pointer-unstable-v1-client-protocol.h"

using namespace quillvane;
using namespace quillvane::bench;
using namespace quillvane::testing_support;
using namespace std::chrono_literals;

namespace {

constexpr double kMovesPerSecond = 240;
constexpr int kDefaultSeconds = 20;
constexpr int kWarmupMoves = 120;
constexpr int kStep = 2;
constexpr int kLeg = 100;
constexpr std::size_t kMatchWindow = 16;
constexpr const char* kSocket = "bench-sway";
// Where each run's sweep starts: inside the output, away from its edges.
constexpr int kX0 = 300;
constexpr int kY0 = 300;

constexpr double kTargetP50 = 1;
constexpr double kTargetP99 = 3;
constexpr double kTargetAboveFloor = 2;

int failWith(const std::string& reason) {
    std::fprintf(stderr, "bench_input_latency_sway: %s\n", reason.c_str());
    return 1;
}

int stepOf(int i) {
    return (i / kLeg) % 2 == 0 ? kStep : -kStep;
}

// wev's motions, stamped as its lines arrive, read on a thread of their own.
class WevMotions {
public:
    using Motion = MoveSweep::Motion;

    bool start(std::string& error) {
        int fds[2];
        if (pipe(fds) != 0)
            return (error = "pipe failed", false);
        m_pid = fork();
        if (m_pid == 0) {
            dup2(fds[1], STDOUT_FILENO);
            close(fds[0]);
            close(fds[1]);
            execlp("stdbuf", "stdbuf", "-oL", "wev", static_cast<char*>(nullptr));
            _exit(127);
        }
        close(fds[1]);
        m_fd = fds[0];
        m_reader = std::thread([this] { read(); });
        return true;
    }

    ~WevMotions() {
        if (m_pid > 0)
            kill(m_pid, SIGTERM);
        if (m_reader.joinable())
            m_reader.join();
        if (m_fd >= 0)
            close(m_fd);
    }

    std::vector<Motion> take() {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_motions, {});
    }

    bool lastAt(int x, int y) {
        const std::lock_guard lock(m_mutex);
        return !m_motions.empty() && m_motions.back().x == x && m_motions.back().y == y;
    }

    std::optional<Motion> last() {
        const std::lock_guard lock(m_mutex);
        return m_motions.empty() ? std::nullopt : std::optional(m_motions.back());
    }

    bool entered() const { return m_entered; }

private:
    void read() {
        static const std::regex motion(R"(motion: time: \d+; x, y: (-?[\d.]+), (-?[\d.]+))");
        std::string partial;
        char buffer[4096];
        ssize_t n = 0;
        while ((n = ::read(m_fd, buffer, sizeof buffer)) > 0) {
            const std::int64_t at = MoveSweep::now();
            partial.append(buffer, static_cast<std::size_t>(n));
            std::size_t newline = 0;
            while ((newline = partial.find('\n')) != std::string::npos) {
                const std::string line = partial.substr(0, newline);
                partial.erase(0, newline + 1);
                std::smatch match;
                if (line.find("wl_pointer] enter") != std::string::npos)
                    m_entered = true;
                if (std::regex_search(line, match, motion)) {
                    const std::lock_guard lock(m_mutex);
                    m_motions.push_back({at, int(std::lround(std::stod(match[1]))),
                                         int(std::lround(std::stod(match[2])))});
                }
            }
        }
    }

    pid_t m_pid = -1;
    int m_fd = -1;
    std::thread m_reader;
    std::mutex m_mutex;
    std::vector<Motion> m_motions;
    std::atomic<bool> m_entered = false;
};

// The floor: a virtual pointer of this process, as bare as a client can post motion.
class BarePointer {
public:
    bool open(std::string& error) {
        m_display = wl_display_connect(nullptr);
        if (!m_display)
            return (error = "cannot connect to sway", false);
        wl_registry* registry = wl_display_get_registry(m_display);
        static const wl_registry_listener listener = {
            [](void* data, wl_registry* registry, std::uint32_t name, const char* interface,
               std::uint32_t) {
                if (std::string_view(interface) == zwlr_virtual_pointer_manager_v1_interface.name)
                    static_cast<BarePointer*>(data)->m_manager =
                        static_cast<zwlr_virtual_pointer_manager_v1*>(wl_registry_bind(
                            registry, name, &zwlr_virtual_pointer_manager_v1_interface, 1));
            },
            [](void*, wl_registry*, std::uint32_t) {},
        };
        wl_registry_add_listener(registry, &listener, this);
        wl_display_roundtrip(m_display);
        if (!m_manager)
            return (error = "sway offers no virtual pointer", false);
        m_pointer = zwlr_virtual_pointer_manager_v1_create_virtual_pointer(m_manager, nullptr);
        wl_display_roundtrip(m_display);
        return true;
    }

    ~BarePointer() {
        if (m_display)
            wl_display_disconnect(m_display);
    }

    void move(double dx, double dy) {
        zwlr_virtual_pointer_v1_motion(m_pointer, 0, wl_fixed_from_double(dx),
                                       wl_fixed_from_double(dy));
        zwlr_virtual_pointer_v1_frame(m_pointer);
        wl_display_flush(m_display);
    }

private:
    wl_display* m_display = nullptr;
    zwlr_virtual_pointer_manager_v1* m_manager = nullptr;
    zwlr_virtual_pointer_v1* m_pointer = nullptr;
};

struct Run : MoveSweep::Run {
    std::size_t motions = 0; // seen by wev, matched or not
};

// Sends `count` moves through `post(i, dx)` with the pointer at (kX0, kY0) and pairs each with
// the motion wev saw at its pixel.
Run measure(WevMotions& wev, int count, const std::function<void(int, int)>& post) {
    wev.take();
    std::vector<int> xs(static_cast<std::size_t>(count));
    int x = kX0;
    for (int i = 0; i < count; ++i)
        xs[static_cast<std::size_t>(i)] = x += stepOf(i);
    std::vector<std::int64_t> sentAt(static_cast<std::size_t>(count));
    MoveSweep::pace(count, kMovesPerSecond, [&](int i) {
        sentAt[static_cast<std::size_t>(i)] = MoveSweep::now();
        post(i, stepOf(i));
    });
    waitUntil([&] { return wev.lastAt(xs.back(), kY0); }, 2s);
    const auto motions = wev.take();
    Run run{MoveSweep::match(xs, kY0, sentAt, motions, kWarmupMoves, kMatchWindow)};
    run.motions = motions.size();
    return run;
}

void printRow(const char* name, const Run& run, const LatencySummary& summary) {
    std::printf("  %-32s %6zu %8.3f %8.3f %8.3f %9d\n", name, run.latencies.size(), summary.p50,
                summary.p99, summary.max, run.unmatched);
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariable("QUILLVANE_TEST_ENV") != QStringLiteral("1")) {
        execl(QUILLVANE_SOURCE_DIR "/scripts/test-env", "test-env", argv[0],
              static_cast<char*>(nullptr));
        return failWith("cannot run scripts/test-env");
    }
    QCoreApplication app(argc, argv);
    bool ok = false;
    const int envSeconds = qEnvironmentVariableIntValue("QUILLVANE_BENCH_INPUT_SECONDS", &ok);
    const int seconds = ok && envSeconds > 0 ? envSeconds : kDefaultSeconds;
    const int count = kWarmupMoves + static_cast<int>(seconds * kMovesPerSecond);
    std::string error;

    QProcess sway;
    sway.setProcessChannelMode(QProcess::MergedChannels);
    sway.setChildProcessModifier([] { setpgid(0, 0); });
    sway.start(QStringLiteral(QUILLVANE_SOURCE_DIR "/scripts/test-env.d/sway"),
               {QString::fromUtf8(kSocket)});
    const std::string socket = qEnvironmentVariable("XDG_RUNTIME_DIR").toStdString() + "/" + kSocket;
    const auto stopSway = [&] {
        kill(-static_cast<pid_t>(sway.processId()), SIGTERM);
        sway.waitForFinished(5000);
    };
    if (!waitUntil([&] { return std::filesystem::exists(socket); }, 20s))
        return failWith("sway did not start: " + sway.readAll().toStdString());
    qputenv("WAYLAND_DISPLAY", kSocket);
    qunsetenv("DISPLAY");

    int result = 0;
    {
        WevMotions wev;
        BarePointer floorPointer;
        HostProcess host;
        if (!wev.start(error) || !floorPointer.open(error))
            result = failWith(error);
        else if (!host.start(20s))
            result = failWith(host.error().toStdString());
        if (result == 0) {
            PhoneClient client(host.profile(), host.port());
            if (!client.bind(10s)) {
                result = failWith("the controller did not bind");
            } else {
                client.startHeartbeats();
                // The host moves the pointer on from wherever it is: a first step shows wev
                // where that is, and a second carries it to the start of the sweep.
                const auto moveBy = [&](double dx, double dy) {
                    client.send(
                        TrackpadMoveBatch::messages(std::vector<TrackpadVector>{{dx, dy}}).front());
                };
                moveBy(1, 0);
                waitUntil([&] { return wev.last().has_value(); }, 5s);
                const auto from = wev.last().value_or(MoveSweep::Motion{0, kX0, kY0});
                moveBy(kX0 - from.x, kY0 - from.y);
                waitUntil([&] { return wev.lastAt(kX0, kY0); }, 5s);
                std::printf("bench_input_latency_sway: headless sway, wev filling its output\n");
                std::printf("bench_input_latency_sway: %.0f moves/s for %d s per run, one sample "
                            "of %d px each; send to wl_pointer.motion as wev prints it\n",
                            kMovesPerSecond, seconds, kStep);
                std::fflush(stdout);
                std::vector<WireMessage> moves;
                for (int i = 0; i < count; ++i)
                    moves.push_back(TrackpadMoveBatch::messages(std::vector<TrackpadVector>{
                                                                    {double(stepOf(i)), 0}})
                                        .front());
                const Run link = measure(wev, count, [&](int i, int) {
                    client.send(moves[static_cast<std::size_t>(i)]);
                });
                // The floor sweeps from the same place.
                int end = kX0;
                for (int i = 0; i < count; ++i)
                    end += stepOf(i);
                floorPointer.move(kX0 - end, 0);
                waitUntil([&] { return wev.lastAt(kX0, kY0); }, 2s);
                const Run floor =
                    measure(wev, count, [&](int, int dx) { floorPointer.move(dx, 0); });
                client.close();
                if (link.latencies.empty() || floor.latencies.empty()) {
                    result = failWith("no motions were matched (wev saw " +
                                      std::to_string(link.motions) + " in the link run, " +
                                      std::to_string(floor.motions) +
                                      " in the floor run); the host could not post, or wev "
                                      "lost the pointer");
                } else {
                    const auto linkSummary = LatencySummary::of(link.latencies);
                    const auto floorSummary = LatencySummary::of(floor.latencies);
                    const double above = linkSummary.p99 - floorSummary.p99;
                    std::printf("  %-32s %6s %8s %8s %8s %9s\n", "latency (ms)", "moves", "p50",
                                "p99", "max", "unmatched");
                    printRow("link: controller -> host -> sway", link, linkSummary);
                    printRow("floor: bare virtual pointer", floor, floorSummary);
                    std::printf("  p99 above floor: %.3f ms\n", above);
                    std::printf("  targets: p50 <= %.0f ms %s, p99 <= %.0f ms %s, p99 above "
                                "floor <= %.0f ms %s\n",
                                kTargetP50, linkSummary.p50 <= kTargetP50 ? "met" : "MISSED",
                                kTargetP99, linkSummary.p99 <= kTargetP99 ? "met" : "MISSED",
                                kTargetAboveFloor, above <= kTargetAboveFloor ? "met" : "MISSED");
                }
            }
        }
        host.stop();
    }
    stopSway();
    return result;
}
