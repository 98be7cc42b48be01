// Voice latency on each sound server: from the phone sending an `audio` packet to its first sample
// arriving at a low-latency recorder (parec) on "Quillvane Microphone", and from voiceEnd to
// voiceDone. The host session runs in this process with the real output and microphone; the
// phone's side speaks over the real TLS-PSK link on loopback. Packets of 100 ms of tone are sent
// 400 ms apart, so each one starts from silence and its onset is unmistakable at the recorder.
// Beside it, the floor: the same packets written by a plain libpulse stream straight into the
// sink, in the same run. Each server is a fresh one started by scripts/test-env.d; outside
// scripts/test-env the program runs itself again inside it. QUILLVANE_BENCH_VOICE_PACKETS
// changes the number of packets per run (default 40).

#include <QCoreApplication>
#include <QProcess>
#include <QScopeGuard>
#include <QSettings>
#include <QTemporaryDir>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numbers>
#include <optional>
#include <unistd.h>
#include <vector>

#include "HostModel.h"
#include "LatencySummary.h"
#include "Random.h"
#include "Uptime.h"
#include "fakes/RecordingInput.h"
#include "keychain/KeychainStore.h"
#include "platform/pulse/AudioOutput.h"
#include "platform/pulse/PulseServer.h"
#include "platform/pulse/VirtualMicrophone.h"
#include "support/EventWait.h"
#include "support/PhoneClient.h"

using namespace quillvane;
using namespace quillvane::bench;
using namespace quillvane::testing_support;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

constexpr std::size_t kPacketSamples = 2'400; // 100 ms
constexpr auto kPacketSpacing = 400ms;
constexpr int kUtterances = 4;

double millisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

Bytes tone() {
    Bytes pcm(kPacketSamples * 4);
    for (std::size_t i = 0; i < kPacketSamples; ++i) {
        const float sample = static_cast<float>(0.5 * std::sin(2 * std::numbers::pi * 1000.0 * i / 24'000.0));
        std::memcpy(pcm.data() + i * 4, &sample, 4);
    }
    return pcm;
}

// parec on the microphone; notes when sound starts after at least 100 ms of silence.
class Recorder {
public:
    Recorder() {
        QObject::connect(&m_process, &QProcess::readyReadStandardOutput, &m_process, [this] {
            m_pending += m_process.readAllStandardOutput();
            const auto whole = m_pending.size() / 4 * 4;
            for (qsizetype i = 0; i < whole; i += 4) {
                float sample;
                std::memcpy(&sample, m_pending.constData() + i, 4);
                if (std::abs(sample) > 0.05f) {
                    if (m_quiet >= 2'400)
                        m_onsets.push_back(Clock::now());
                    m_quiet = 0;
                } else {
                    ++m_quiet;
                }
            }
            m_pending.remove(0, whole);
            m_started = true;
        });
        m_process.start(QStringLiteral("parec"),
                        {QStringLiteral("--device=QuillvaneMicrophone"), QStringLiteral("--latency-msec=5"),
                         QStringLiteral("--format=float32le"), QStringLiteral("--rate=24000"),
                         QStringLiteral("--channels=1"), QStringLiteral("--raw")});
    }
    ~Recorder() {
        m_process.terminate();
        m_process.waitForFinished();
    }
    bool started() const { return m_started; }
    std::size_t onsets() const { return m_onsets.size(); }
    Clock::time_point onset(std::size_t i) const { return m_onsets[i]; }

private:
    QProcess m_process;
    QByteArray m_pending;
    std::vector<Clock::time_point> m_onsets;
    std::size_t m_quiet = 1'000'000;
    bool m_started = false;
};

struct Figures {
    std::vector<double> packet;
    std::vector<double> floor;
    std::vector<double> done;
};

std::optional<QString> runOn(const QString& kind, int packets, Figures& figures) {
    QTemporaryDir dir;
    const QString runtime = dir.filePath(QStringLiteral("run"));
    QProcess server;
    server.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    // The desktop's own period floor, not the one the tests' server keeps.
    qputenv("QUILLVANE_PIPEWIRE_MIN_QUANTUM", "32");
    server.start(QStringLiteral(QUILLVANE_TEST_SERVICES "/") + kind, {runtime});
    qputenv("PULSE_SERVER", (QStringLiteral("unix:") + runtime + QStringLiteral("/pulse/native")).toUtf8());
    qputenv("XDG_CONFIG_HOME", dir.filePath(QStringLiteral("config")).toUtf8());
    const auto stopServer = qScopeGuard([&] {
        server.terminate();
        server.waitForFinished();
    });

    QSettings settings(dir.filePath(QStringLiteral("quillvane.ini")), QSettings::IniFormat);
    KeychainStore keychain = KeychainStore::fileStore(dir.filePath(QStringLiteral("data")).toStdString());
    RecordingInput input;
    PulseServer pulse;
    AudioOutput audio(pulse);
    VirtualMicrophone microphone(pulse, dir.filePath(QStringLiteral("config")));
    microphone.keepLoaded(true);
    if (!waitUntil([&] { return pulse.hasSnapshot(); }, 20s))
        return QStringLiteral("the sound server did not answer");
    std::optional<MicrophoneState> installed;
    microphone.install([&](MicrophoneState state) { installed = state; });
    if (!waitUntil([&] { return installed.has_value(); }, 20s) || installed->kind != MicrophoneState::Kind::ready)
        return QStringLiteral("the microphone could not be installed");

    HostModel host({.keychain = &keychain, .input = &input, .audio = &audio, .microphone = &microphone,
                    .settings = &settings, .uptime = uptimeSeconds,
                    .doubleClickInterval = [] { return 0.5; },
                    .computerName = [] { return std::string("Voice Benchmark"); }});
    host.start();
    if (!host.isStarted())
        return QStringLiteral("the host did not start: ") + host.issue();

    Recorder recorder;
    if (!waitUntil([&] { return recorder.started(); }, 20s))
        return QStringLiteral("parec records nothing");

    const Bytes pcm = tone();
    // The floor: the same packets from a plain stream on the same sink, nothing in between.
    AudioOutput direct(pulse);
    const auto devices = direct.devices();
    for (const auto& device : devices)
        if (device.uid == VirtualMicrophone::sinkName)
            direct.start(device);
    for (int i = 0; i < packets; ++i) {
        const std::size_t before = recorder.onsets();
        const auto sent = Clock::now();
        direct.enqueue(pcm, [] {});
        if (!waitUntil([&] { return recorder.onsets() > before; }, 5s))
            return QStringLiteral("a floor packet never reached the microphone");
        figures.floor.push_back(std::chrono::duration<double, std::milli>(recorder.onset(before) - sent).count());
        waitUntil([] { return false; }, kPacketSpacing);
    }
    direct.stop();

    PhoneClient phone(*host.profile(), host.port());
    if (!phone.bind(20s))
        return QStringLiteral("the phone did not bind");
    phone.startHeartbeats();
    const auto answered = [&](WireMessage::Kind kind, const Uuid& session) {
        for (const auto& message : phone.received(phone.control()))
            if (message.session == session && (message.kind == kind || message.kind == WireMessage::Kind::failure))
                return true;
        return false;
    };
    for (int utterance = 0; utterance < kUtterances; ++utterance) {
        const Uuid session = randomUuid();
        WireMessage begin(WireMessage::Kind::voiceBegin);
        begin.session = session;
        phone.send(begin);
        if (!waitUntil([&] { return answered(WireMessage::Kind::voiceReady, session); }, 20s))
            return QStringLiteral("no voiceReady");
        const int count = packets / kUtterances;
        for (int sequence = 0; sequence < count; ++sequence) {
            WireMessage packet(WireMessage::Kind::audio);
            packet.session = session;
            packet.sequence = sequence;
            packet.pcm = pcm;
            const std::size_t before = recorder.onsets();
            const auto sent = Clock::now();
            phone.audio().send(packet);
            if (!waitUntil([&] { return recorder.onsets() > before; }, 5s))
                return QStringLiteral("a packet never reached the microphone");
            figures.packet.push_back(
                std::chrono::duration<double, std::milli>(recorder.onset(before) - sent).count());
            waitUntil([] { return false; }, kPacketSpacing);
        }
        WireMessage end(WireMessage::Kind::voiceEnd);
        end.session = session;
        end.sequence = count - 1;
        const auto ended = Clock::now();
        phone.audio().send(end);
        if (!waitUntil([&] { return answered(WireMessage::Kind::voiceDone, session); }, 20s))
            return QStringLiteral("no voiceDone");
        figures.done.push_back(millisecondsSince(ended));
        if (!phone.failures().empty())
            return QStringLiteral("the host failed the utterance: ") + QString::fromStdString(phone.failures().front());
    }

    host.stop();
    return std::nullopt;
}

void printRow(const char* what, const LatencySummary& summary) {
    std::printf("  %-34s %6zu %8.2f %8.2f %8.2f\n", what, summary.count, summary.p50, summary.p99, summary.max);
}

} // namespace

int main(int argc, char** argv) {
    if (std::getenv("QUILLVANE_TEST_ENV") == nullptr) {
        // The sound servers are started privately, in the namespaces test-env makes.
        std::vector<char*> arguments{const_cast<char*>(QUILLVANE_TEST_ENV_SCRIPT)};
        for (int i = 0; i < argc; ++i)
            arguments.push_back(argv[i]);
        arguments.push_back(nullptr);
        ::execv(QUILLVANE_TEST_ENV_SCRIPT, arguments.data());
        std::perror("bench_voice_latency: scripts/test-env");
        return 1;
    }
    QCoreApplication app(argc, argv);
    const char* configured = std::getenv("QUILLVANE_BENCH_VOICE_PACKETS");
    const int packets = std::max(kUtterances, configured ? std::atoi(configured) : 40);
    std::printf("bench_voice_latency: %d packets of 100 ms per server, 400 ms apart, in %d utterances; "
                "recorder parec --latency-msec=5\n", packets, kUtterances);
    std::printf("  %-34s %6s %8s %8s %8s\n", "latency (ms)", "count", "p50", "p99", "max");
    int status = 0;
    for (const char* kind : {"pulseaudio", "pipewire"}) {
        Figures figures;
        if (const auto problem = runOn(QString::fromLatin1(kind), packets, figures)) {
            std::printf("  %s: %s\n", kind, problem->toUtf8().constData());
            status = 1;
            continue;
        }
        const auto packet = LatencySummary::of(figures.packet);
        const auto floor = LatencySummary::of(figures.floor);
        const std::string prefix(kind);
        printRow((prefix + " packet -> microphone").c_str(), packet);
        printRow((prefix + " floor (stream -> microphone)").c_str(), floor);
        printRow((prefix + " voiceEnd -> voiceDone").c_str(), LatencySummary::of(figures.done));
        const double above = packet.p50 - floor.p50;
        std::printf("  %s: p50 above floor %.2f ms; targets: p50 <= 40 ms %s, p99 <= 80 ms %s, "
                    "above floor <= 15 ms %s\n",
                    kind, above, packet.p50 <= 40 ? "met" : "MISSED", packet.p99 <= 80 ? "met" : "MISSED",
                    above <= 15 ? "met" : "MISSED");
    }
    return status;
}
