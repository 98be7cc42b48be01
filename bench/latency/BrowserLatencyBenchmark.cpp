// Touch-to-screen latency of the browser controller beside the native controller's, in one run.
// The quillvane program runs as a child (headless, posting through its X11 backend) and a
// separate X client on a thread of its own stamps each motion event as the X server reports it.
// First this process is the native phone, sending moves over the TLS-PSK link on loopback; then
// browser-touch.mjs has Debian's chromium open the program's page and dispatches touch moves
// through DevTools at the same pace, stamping each as it dispatches it, and DevTools stamps each
// WebSocket frame as it leaves, which splits the browser's figure into Chromium's and the page's
// part and the link's, host's and X server's. All stamps are CLOCK_MONOTONIC (steady_clock here,
// process.hrtime in Node, DevTools' monotonic time); the run checks that Node's first and last
// stamps fall between this process's stamps around it.
//
// The page turns touches into move messages through the core, with its pointer acceleration, so
// the pixel each touch leads to is read from the messages the page sent (each with the number of
// touches the page had been handed): it is where the host, starting at the sweep's start, puts
// the pointer after that message, rounded as the X11 backend rounds. A touch whose message does
// not move the pointer a whole pixel is matched with the next one that does. Without DISPLAY a
// private Xvfb is started. The finger rests on the trackpad before it moves (the recogniser
// waits a moment to tell pointing from scrolling), and the first move of the fresh page is
// shown apart as well. Last, the same sweep on a bare page of the same origin gives the browser's
// own share: how long after a touch's time stamp it hands the move to a page that does nothing.
// With --stream the page's WebSockets fail and it talks over its event stream and POSTs, as in a
// browser that refuses the WebSocket; DevTools then stamps each request instead of each frame.

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "HostProcess.h"
#include "LatencySummary.h"
#include "MotionObserver.h"
#include "MoveSweep.h"
#include "PointerSweep.h"
#include "PrivateXServer.h"
#include "XTestPointer.h"
#include "pointer/TrackpadMoveBatch.h"
#include "support/EventWait.h"
#include "support/PhoneClient.h"

#include <X11/Xlib.h>

using namespace quillvane;
using namespace quillvane::bench;
using namespace quillvane::testing_support;
using namespace std::chrono_literals;

namespace {

// A finger on a 120 Hz panel reports every 8.3 ms, on a 60 Hz one every 16.7 ms.
constexpr int kMoves = 400;
constexpr int kIntervalMs = 12;
// The finger's step in CSS pixels (the native sweep's in screen pixels) and its legs.
constexpr int kStep = 4;
constexpr int kLeg = 40;
constexpr int kRestMs = 100;
constexpr std::size_t kMatchWindow = 16;
// A pixel no motion is at, for a touch or message that leads to none.
constexpr int kNoPixel = -1'000'000;

constexpr double kTargetP50 = 8;
constexpr double kTargetRatio = 2;
constexpr double kTargetPageBytes = 300 * 1000;

int failWith(const std::string& reason) {
    std::fprintf(stderr, "bench_browser_latency: %s\n", reason.c_str());
    return 1;
}

std::int64_t stampOf(const QJsonValue& value) {
    return value.toString().toLongLong();
}

// What the page made of the touches, from its messages ([touches seen, x, y, when its frame
// left, how long the page took to send it] in order): the pixel each message takes the pointer to
// and when it left, and for each touch the pixel of the first message that moves the pointer after
// taking it (or none), and how long after its dispatch its message left.
struct PageMoves {
    std::vector<int> pixels;
    std::vector<std::int64_t> leftAt;
    std::vector<int> targets;
    std::vector<double> toFrame;
    std::vector<double> handling; // from the page's event to its message, for each message
};

bool readPageMoves(const QJsonArray& messages, const std::vector<std::int64_t>& sentAt, int x0,
                   PageMoves& moves, std::string& error) {
    std::vector<int> seen;
    std::vector<std::int64_t> leftAt;
    std::vector<int> pixels; // of each message that moves the pointer
    std::vector<double> handling;
    double x = x0;
    int last = x0;
    for (const auto& value : messages) {
        const QJsonArray message = value.toArray();
        if (message.at(2).toDouble() != 0) {
            error = "the page moved the pointer off the sweep's row: " +
                    QJsonDocument(message).toJson(QJsonDocument::Compact).toStdString();
            return false;
        }
        const std::int64_t left = stampOf(message.at(3));
        if (left == 0) {
            error = "DevTools did not report every move frame the page sent";
            return false;
        }
        seen.push_back(message.at(0).toInt());
        leftAt.push_back(left);
        handling.push_back(message.at(4).toDouble());
        x += message.at(1).toDouble();
        const int pixel = static_cast<int>(std::lround(x));
        pixels.push_back(pixel == last ? kNoPixel : pixel);
        last = pixel;
    }
    moves = {};
    moves.handling = std::move(handling);
    std::size_t carrier = 0;
    for (std::size_t i = 0; i < sentAt.size(); ++i) {
        while (carrier < seen.size() && seen[carrier] <= static_cast<int>(i))
            ++carrier;
        if (carrier < seen.size())
            moves.toFrame.push_back(static_cast<double>(leftAt[carrier] - sentAt[i]) / 1e6);
        std::size_t moving = carrier;
        while (moving < pixels.size() && pixels[moving] == kNoPixel)
            ++moving;
        moves.targets.push_back(moving < pixels.size() ? pixels[moving] : kNoPixel);
    }
    for (std::size_t f = 0; f < pixels.size(); ++f) {
        if (pixels[f] == kNoPixel)
            continue;
        moves.pixels.push_back(pixels[f]);
        moves.leftAt.push_back(leftAt[f]);
    }
    return true;
}

std::vector<double> millisecondsOf(const QJsonValue& value) {
    std::vector<double> values;
    for (const auto& entry : value.toArray())
        values.push_back(entry.toDouble());
    return values;
}

void printRow(const char* name, const MoveSweep::Run& run, const LatencySummary& summary) {
    std::printf("  %-46s %6zu %8.3f %8.3f %8.3f %9d\n", name, summary.count, summary.p50,
                summary.p99, summary.max, run.unmatched);
}

const char* verdict(bool met) {
    return met ? "met" : "MISSED";
}

} // namespace

int main(int argc, char** argv) {
    XInitThreads();
    QCoreApplication app(argc, argv);
    // --stream: the page as in a browser that refuses its WebSocket.
    const bool stream = app.arguments().contains(QStringLiteral("--stream"));
    std::string error;

    PrivateXServer privateServer;
    const std::string serverName = privateServer.startUnlessNamed(error);
    if (serverName.empty())
        return failWith(error);
    XTestPointer pointer;
    if (!pointer.open(error))
        return failWith(error);
    const int x0 = pointer.screenWidth() / 2;
    const int y0 = pointer.screenHeight() / 2;
    MotionObserver observer;
    if (!observer.start({0, y0 - 8, static_cast<unsigned int>(pointer.screenWidth()), 16}, error))
        return failWith(error);

    HostProcess host;
    if (!host.start(20s))
        return failWith(host.error().toStdString());
    const QString link = host.browserLink(5s);
    if (link.isEmpty())
        return failWith("the program printed no browser link: it was built without its page");

    std::printf("bench_browser_latency: X server: %s; %d moves, one every %d ms, %d px each, "
                "turning every %d; send to MotionNotify at a separate X client; the page's %s\n",
                serverName.c_str(), kMoves, kIntervalMs, kStep, kLeg,
                stream ? "event stream and POSTs (its WebSockets made to fail)" : "WebSockets");
    std::fflush(stdout);

    // The native phone, at the browser's pace.
    PhoneClient client(host.profile(), host.port());
    if (!client.bind(10s))
        return failWith("the controller did not bind");
    client.startHeartbeats();
    const PointerSweep sweep{x0, y0, kStep, kLeg, kMoves, 1000.0 / kIntervalMs, 0};
    const MoveSweep::Run native = sweep.run(observer, pointer, [&](int i, int, int) {
        client.send(
            TrackpadMoveBatch::messages(std::vector<TrackpadVector>{{double(sweep.stepOf(i)), 0}})
                .front());
    });
    const bool lost = client.lost();
    client.close();
    if (lost)
        return failWith("the host ended the native session during the run");

    // The browser, its finger at the same pace.
    PointerSweep::place(observer, pointer, x0, y0);
    QProcess node;
    node.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    node.setProgram(QStringLiteral(QUILLVANE_NODE));
    node.setArguments({QStringLiteral(QUILLVANE_SOURCE_DIR "/bench/latency/browser-touch.mjs"),
                       QStringLiteral("--link"), link, QStringLiteral("--moves"),
                       QString::number(kMoves), QStringLiteral("--interval"),
                       QString::number(kIntervalMs), QStringLiteral("--step"),
                       QString::number(kStep), QStringLiteral("--leg"), QString::number(kLeg),
                       QStringLiteral("--rest"), QString::number(kRestMs), QStringLiteral("--transport"),
                       stream ? QStringLiteral("stream") : QStringLiteral("socket")});
    const std::int64_t spawned = MoveSweep::now();
    node.start();
    waitUntil([&] { return node.state() == QProcess::NotRunning; }, 120s);
    const std::int64_t finished = MoveSweep::now();
    const std::vector<MoveSweep::Motion> motions = observer.take();
    observer.stop();
    host.stop();
    if (node.state() != QProcess::NotRunning || node.exitStatus() != QProcess::NormalExit ||
        node.exitCode() != 0) {
        node.kill();
        return failWith("browser-touch.mjs failed (its output is above)");
    }

    const QList<QByteArray> lines = node.readAllStandardOutput().trimmed().split('\n');
    const QJsonObject report = QJsonDocument::fromJson(lines.last()).object();
    const QJsonArray sentValues = report.value(QStringLiteral("sent")).toArray();
    if (sentValues.size() != kMoves)
        return failWith("browser-touch.mjs printed no report");
    const std::int64_t started = stampOf(report.value(QStringLiteral("started")));
    const std::int64_t ended = stampOf(report.value(QStringLiteral("ended")));
    if (started < spawned || ended > finished)
        return failWith("Node's clock is not this process's CLOCK_MONOTONIC");
    std::vector<std::int64_t> sentAt;
    for (const auto& value : sentValues)
        sentAt.push_back(stampOf(value));
    if (report.value(QStringLiteral("touches")).toInt() != kMoves)
        return failWith("the page was handed " +
                        std::to_string(report.value(QStringLiteral("touches")).toInt()) + " of " +
                        std::to_string(kMoves) + " touch moves");
    PageMoves page;
    if (!readPageMoves(report.value(QStringLiteral("messages")).toArray(), sentAt, x0, page, error))
        return failWith(error);
    const MoveSweep::Run browser =
        MoveSweep::match(page.targets, y0, sentAt, motions, 0, kMatchWindow);
    const MoveSweep::Run afterPage =
        MoveSweep::match(page.pixels, y0, page.leftAt, motions, 0, kMatchWindow);
    if (browser.latencies.empty() || native.latencies.empty())
        return failWith(std::string("no motion events were matched for the ") +
                        (native.latencies.empty() ? "native" : "browser") + " run");

    const LatencySummary browserSummary = LatencySummary::of(browser.latencies);
    const LatencySummary nativeSummary = LatencySummary::of(native.latencies);
    const double ratio = browserSummary.p50 / nativeSummary.p50;
    const double pageBytes = report.value(QStringLiteral("bytes")).toDouble();
    std::printf("  %-46s %6s %8s %8s %8s %9s\n", "latency (ms)", "moves", "p50", "p99", "max",
                "unmatched");
    printRow("touch -> X pointer motion through the browser", browser, browserSummary);
    printRow("  touch -> its message leaves Chromium", {page.toFrame, 0},
             LatencySummary::of(page.toFrame));
    printRow("    of which the page: event -> message sent", {page.handling, 0},
             LatencySummary::of(page.handling));
    printRow("  message -> X pointer motion (link, host, X)", afterPage,
             LatencySummary::of(afterPage.latencies));
    printRow("native: controller move -> X pointer motion", native, nativeSummary);
    // The browser's own share, which no page can shorten: the same sweep on a page that does
    // nothing but note each move, against the page's figure measured the same way.
    const std::vector<double> handed = millisecondsOf(report.value(QStringLiteral("handed")));
    const std::vector<double> bareHanded =
        millisecondsOf(report.value(QStringLiteral("bareHanded")));
    printRow("touch time stamp -> handed to the page", {handed, 0}, LatencySummary::of(handed));
    printRow("touch time stamp -> handed to a bare page", {bareHanded, 0},
             LatencySummary::of(bareHanded));
    std::printf("  browser / native p50: %.2f\n", ratio);
    // Counted above too.
    const MoveSweep::Run first =
        MoveSweep::match({page.targets.front()}, y0, {sentAt.front()}, motions, 0, kMatchWindow);
    if (first.latencies.empty())
        std::printf("  first move of the fresh page: not matched\n");
    else
        std::printf("  first move of the fresh page: %.3f ms\n", first.latencies.front());
    std::printf("  page load: %.0f bytes in %d files\n", pageBytes,
                report.value(QStringLiteral("files")).toInt());
    std::printf("  targets: browser p50 <= %.0f ms %s, <= %.0f x native p50 %s, page <= %.0f KB "
                "%s\n",
                kTargetP50, verdict(browserSummary.p50 <= kTargetP50), kTargetRatio,
                verdict(ratio <= kTargetRatio), kTargetPageBytes / 1000,
                verdict(pageBytes <= kTargetPageBytes));
    return 0;
}
