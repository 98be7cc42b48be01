// The voice on real sound servers, each test on a fresh one of its own (PulseAudio, and PipeWire
// with WirePlumber and pipewire-pulse): installing "Quillvane Microphone", the phone's speech
// recorded back from it by parec, the shortcut as the X server sees it, and what happens when the
// server takes the device away.

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

#include "integration/IntegrationTest.h"
#include "integration/support/X11TestClient.h"
#include "support/PhoneClient.h"

#include "HostModel.h"
#include "InputController.h"
#include "Random.h"
#include "Uptime.h"
#include "keychain/KeychainStore.h"
#include "platform/pulse/AudioOutput.h"
#include "platform/pulse/PulseServer.h"
#include "platform/pulse/VirtualMicrophone.h"
#include "platform/x11/X11Backend.h"
#include "protocol/PadError.h"

namespace quillvane {
namespace {

using namespace testing_support;
using Kind = WireMessage::Kind;

constexpr int kGenerousMs = 20'000;
constexpr std::size_t kRate = 24'000;
const char* const kDisconnected = "虚拟音频输出设备已断开或切换，请检查电脑音频设置";

Bytes bytesOf(const std::vector<float>& samples) {
    Bytes bytes(samples.size() * 4);
    std::memcpy(bytes.data(), samples.data(), bytes.size());
    return bytes;
}

class Voice : public testing_support::IntegrationTest, public testing::WithParamInterface<const char*> {
protected:
    void SetUp() override {
        IntegrationTest::SetUp();
        ASSERT_TRUE(m_dir.isValid());
        // Every client below, in this process and the programs it starts, talks to that server,
        // and the user's configuration is a fresh one.
        qputenv("PULSE_SERVER",
                "unix:" + m_dir.filePath(QStringLiteral("run/pulse/native")).toUtf8());
        qputenv("XDG_CONFIG_HOME", m_dir.filePath(QStringLiteral("config")).toUtf8());
        ASSERT_TRUE(startServer()) << "the " << GetParam() << " server did not come up";
    }

    void TearDown() override {
        m_phone.reset();
        m_host.reset();
        stopRecorder();
        // The server last, as the program's clients of it go.
        m_microphone.reset();
        m_audio.reset();
        m_pulse.reset();
        stopServer();
        EXPECT_TRUE(m_client.nothingHeld()) << "a key is still held";
    }

    // The sound server: one of the starters in scripts/test-env.d, on a folder of its own.
    bool startServer() {
        m_server = std::make_unique<QProcess>();
        m_server->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_server->start(QStringLiteral(QUILLVANE_SOURCE_DIR "/scripts/test-env.d/") +
                            QString::fromLatin1(GetParam()),
                        {m_dir.filePath(QStringLiteral("run"))});
        return m_server->waitForStarted() && waitUntil([&] {
                   return runTool(QStringLiteral("pactl"), {QStringLiteral("info")}).exitCode == 0;
               }, kGenerousMs);
    }
    void stopServer() {
        if (m_server && !m_server->waitForFinished(0)) {
            m_server->terminate();
            if (!m_server->waitForFinished(10'000))
                m_server->kill();
        }
    }

    bool pipewire() const { return std::strcmp(GetParam(), "pipewire") == 0; }

    // `quillvane OPTION` as a user runs it: its exit status, a space and what it printed.
    std::string quillvane(const char* option) {
        const auto run =
            runTool(QStringLiteral(QUILLVANE_BIN_DIR "/quillvane"), {QString::fromLatin1(option)});
        return std::to_string(run.exitCode) + " " + run.output.trimmed().toStdString();
    }
    // pactl with `arguments` separated by spaces (pactl joins what it loads a module with again).
    QString pactl(const QString& arguments) {
        return runTool(QStringLiteral("pactl"), arguments.split(QLatin1Char(' '))).output;
    }
    // The index of our module of this kind (the server's own null sink is not ours).
    QString moduleIndex(const QString& name) {
        const QString modules = pactl(QStringLiteral("list short modules"));
        for (const auto& line : modules.split(QLatin1Char('\n')))
            if (line.section(QLatin1Char('\t'), 1, 1) == name && line.contains(QStringLiteral("QuillvaneMicrophone")))
                return line.section(QLatin1Char('\t'), 0, 0);
        return {};
    }

    // The host as the program builds it, on this server and the test X server.
    void startHost() {
        m_settings = std::make_unique<QSettings>(m_dir.filePath(QStringLiteral("quillvane.ini")),
                                                 QSettings::IniFormat);
        m_keychain = std::make_unique<KeychainStore>(
            KeychainStore::fileStore(m_dir.filePath(QStringLiteral("data")).toStdString()));
        m_pulse = std::make_unique<PulseServer>();
        m_audio = std::make_unique<AudioOutput>(*m_pulse);
        m_microphone = std::make_unique<VirtualMicrophone>(*m_pulse, m_dir.filePath(QStringLiteral("config")));
        m_microphone->keepLoaded(true);
        m_host = std::make_unique<HostModel>(HostModel::Services{
            .keychain = m_keychain.get(),
            .input = &m_input,
            .audio = m_audio.get(),
            .microphone = m_microphone.get(),
            .settings = m_settings.get(),
            .uptime = uptimeSeconds,
            .doubleClickInterval = [] { return 0.5; },
            .computerName = [] { return std::string("Voice Test Host"); }});
        m_host->setPrepDelay(0.05);
        m_host->start();
        ASSERT_TRUE(m_host->isStarted());
        ASSERT_TRUE(waitUntil([&] { return m_pulse->hasSnapshot(); }, kGenerousMs));
        m_host->installMicrophone();
        ASSERT_TRUE(microphoneReady()) << m_host->microphoneState().message();
        m_phone = std::make_unique<PhoneClient>(*m_host->profile(), m_host->port());
        ASSERT_TRUE(m_phone->bind());
        // The phone's heartbeat keeps the session past the host's four seconds.
        m_phone->startHeartbeats();
    }

    bool microphoneReady() {
        return waitUntil([&] {
            m_host->refreshAudio();
            return m_host->microphoneState().kind == MicrophoneState::Kind::ready;
        }, kGenerousMs);
    }

    Uuid begin() {
        const Uuid session = randomUuid();
        WireMessage voiceBegin(Kind::voiceBegin);
        voiceBegin.session = session;
        m_phone->control().send(voiceBegin);
        EXPECT_TRUE(m_phone->await(m_phone->control(), Kind::voiceReady));
        return session;
    }

    void send(const Uuid& session, std::int64_t sequence, Bytes pcm) {
        WireMessage packet(Kind::audio);
        packet.session = session;
        packet.sequence = sequence;
        packet.pcm = std::move(pcm);
        m_phone->audio().send(packet);
    }

    // parec on the microphone with a short latency (without it pipewire-pulse hands out two
    // seconds at a time). Whether the X server holds a key is noted as the first and the last
    // sound arrive, which is after they were played.
    void startRecorder() {
        m_recorder = std::make_unique<QProcess>();
        QObject::connect(m_recorder.get(), &QProcess::readyReadStandardOutput, m_recorder.get(), [this] {
            m_pending += m_recorder->readAllStandardOutput();
            const auto whole = m_pending.size() / 4 * 4;
            bool sound = false;
            for (qsizetype i = 0; i < whole; i += 4) {
                float sample;
                std::memcpy(&sample, m_pending.constData() + i, 4);
                m_recorded.push_back(sample);
                if (std::abs(sample) > 0.01f && !sound) {
                    sound = true;
                    if (m_firstSound < 0)
                        m_firstSound = std::ssize(m_recorded) - 1;
                }
            }
            if (sound) {
                // One look at the server per batch: a round trip per sample would fall behind.
                const bool held = !m_client.nothingHeld();
                if (!m_heardAny)
                    m_heldAtFirst = held;
                m_heardAny = true;
                m_heldAtLast = held;
            }
            m_pending.remove(0, whole);
        });
        m_recorder->start(QStringLiteral("parec"),
                          {QStringLiteral("--device=QuillvaneMicrophone"), QStringLiteral("--latency-msec=10"),
                           QStringLiteral("--format=float32le"), QStringLiteral("--rate=24000"),
                           QStringLiteral("--channels=1"), QStringLiteral("--raw")});
        ASSERT_TRUE(m_recorder->waitForStarted());
    }

    void stopRecorder() {
        if (!m_recorder)
            return;
        m_recorder->terminate();
        m_recorder->waitForFinished();
        m_recorder.reset();
    }

    QTemporaryDir m_dir;
    std::unique_ptr<QProcess> m_server;
    X11TestClient m_client;
    std::unique_ptr<InputBackend> m_backend = makeX11Backend();
    InputController m_input{*m_backend, uptimeSeconds, [] { return 0.5; }};
    std::unique_ptr<QSettings> m_settings;
    std::unique_ptr<KeychainStore> m_keychain;
    std::unique_ptr<PulseServer> m_pulse;
    std::unique_ptr<AudioOutput> m_audio;
    std::unique_ptr<VirtualMicrophone> m_microphone;
    std::unique_ptr<HostModel> m_host;
    std::unique_ptr<PhoneClient> m_phone;

    std::unique_ptr<QProcess> m_recorder;
    QByteArray m_pending;
    std::vector<float> m_recorded;
    std::ptrdiff_t m_firstSound = -1;
    bool m_heardAny = false;
    bool m_heldAtFirst = false;
    bool m_heldAtLast = false;
};

TEST_P(Voice, installsOnACleanUserRepairsWhatIsWrongAndPlaysOnlyWholePackets) {
    const std::string ready = "0 Quillvane Microphone 已就绪";
    EXPECT_EQ(quillvane("--microphone-status"), "1 Quillvane Microphone 尚未安装");
    ASSERT_EQ(quillvane("--install-microphone"), ready);
    const QString modules = pactl(QStringLiteral("list short modules"));
    EXPECT_EQ(quillvane("--install-microphone"), ready);
    EXPECT_EQ(pactl(QStringLiteral("list short modules")), modules)
        << "a second install changed the server";

    // Recording programs list a microphone, not a monitor; our sink is not the default output.
    const QString sources = pactl(QStringLiteral("list sources"));
    const QString ours = sources.mid(sources.indexOf(QStringLiteral("Name: QuillvaneMicrophone\n")));
    EXPECT_TRUE(ours.section(QStringLiteral("Source #"), 0, 0).contains(QStringLiteral("Monitor of Sink: n/a")))
        << ours.toStdString();
    EXPECT_EQ(pactl(QStringLiteral("get-default-sink")).trimmed(), QStringLiteral("test_speakers"));

    // An older definition on disk.
    QFile file(m_dir.filePath(
        pipewire() ? QStringLiteral("config/pipewire/pipewire-pulse.conf.d/50-quillvane.conf")
                   : QStringLiteral("config/pulse/default.pa")));
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    const QByteArray text = file.readAll();
    ASSERT_TRUE(text.contains("quillvane.version = 0.1.0"));
    file.resize(0);
    file.write(QByteArray(text).replace("quillvane.version = 0.1.0", "quillvane.version = 0.0.9"));
    file.close();
    EXPECT_EQ(quillvane("--microphone-status"), "1 Quillvane Microphone 不可用：驱动版本不匹配，请更新安装");
    EXPECT_EQ(quillvane("--install-microphone"), ready);

    // A remap that reads the loudspeakers instead of our sink.
    const QString remap = moduleIndex(QStringLiteral("module-remap-source"));
    ASSERT_FALSE(remap.isEmpty());
    pactl(QStringLiteral("unload-module ") + remap);
    pactl(QStringLiteral("load-module module-remap-source ") +
          QString::fromStdString(VirtualMicrophone::sourceArguments())
              .replace(QStringLiteral("master=QuillvaneMicrophone_UID.monitor"),
                       QStringLiteral("master=test_speakers.monitor")));
    EXPECT_EQ(quillvane("--microphone-status"), "1 Quillvane Microphone 不可用：缺少双向音频流");
    EXPECT_EQ(quillvane("--install-microphone"), ready);

    // Packets for the installed device are checked whole before they play.
    PulseServer server;
    ASSERT_TRUE(waitUntil([&] { return server.hasSnapshot(); }, kGenerousMs));
    AudioOutput output(server);
    const auto devices = output.devices();
    const auto device = std::find_if(devices.begin(), devices.end(),
                                     [](const OutputDevice& d) { return d.uid == VirtualMicrophone::sinkName; });
    ASSERT_NE(device, devices.end());
    output.start(*device);
    const auto refusal = [&](Bytes pcm) {
        try {
            output.enqueue(std::move(pcm), [] {});
        } catch (const PadError& error) {
            return std::string(error.what());
        }
        return std::string("accepted");
    };
    int played = 0;
    output.enqueue(Bytes(19'200, 0), [&] { ++played; });
    for (const std::size_t size : {19'204, 6, 0})
        EXPECT_EQ(refusal(Bytes(size, 0)), "音频数据或输出状态无效") << size << " bytes";
    std::vector<float> samples(100, 0.25f);
    samples[50] = std::nanf("");
    EXPECT_EQ(refusal(bytesOf(samples)), "音频包含无效采样");
    EXPECT_TRUE(waitUntil([&] { return played == 1; }, kGenerousMs)) << "the accepted packet never played";
    output.stop();
}

TEST_P(Voice, speechReachesTheMicrophoneWhileTheShortcutIsHeld) {
    startHost();
    // A recorder gets a steady stream while the phone is quiet, as from a real microphone.
    startRecorder();
    QElapsedTimer quiet;
    quiet.start();
    waitUntil([] { return false; }, 1'500);
    EXPECT_GE(m_recorded.size() * 1000 / kRate, quiet.elapsed() * 4 / 5)
        << m_recorded.size() << " samples in " << quiet.elapsed() << " ms of quiet";
    // Steps of 0.1 s, each at a level of its own: the recording must hold each at its height, in
    // order, without a sample lost or added; 1.5 must play as 1.0, the loudest a sample may be.
    const std::vector<float> levels{0.1f, 0.2f, 0.3f, 0.4f, 0.5f, 0.6f,
                                    0.7f, 0.8f, 0.9f, 1.0f, 1.5f};
    const std::size_t step = kRate / 10;
    const Uuid session = begin();
    std::int64_t sequence = 0;
    for (const float level : levels)
        send(session, sequence++, bytesOf(std::vector<float>(step, level)));
    WireMessage end(Kind::voiceEnd);
    end.session = session;
    end.sequence = sequence - 1;
    m_phone->audio().send(end);
    ASSERT_TRUE(m_phone->await(m_phone->control(), Kind::voiceDone)) << "no voiceDone";
    EXPECT_TRUE(waitUntil([&] { return m_client.nothingHeld(); }, kGenerousMs));
    // What was played has reached the recorder by now; a little silence after it too.
    const auto heard = m_recorded.size();
    ASSERT_TRUE(waitUntil([&] { return m_recorded.size() > heard + kRate / 5; }, kGenerousMs));
    stopRecorder();

    ASSERT_GE(m_firstSound, 0) << "the microphone heard nothing";
    EXPECT_TRUE(m_heldAtFirst) << "the shortcut was not held when the speech began";
    EXPECT_TRUE(m_heldAtLast) << "the shortcut was released before the speech ended";
    std::ptrdiff_t last = std::ssize(m_recorded) - 1;
    while (last > 0 && std::abs(m_recorded[last]) < 0.01f)
        --last;
    // The servers resample 24 kHz to 48 kHz and back, which blurs each edge by a few samples.
    ASSERT_NEAR(last + 1 - m_firstSound, std::ssize(levels) * step, kRate / 500)
        << "samples were lost or added";
    // Every sample of a step, away from its blurred edges, is at the step's height.
    const auto stepAt = [&](std::size_t index) {
        const auto from = m_recorded.begin() + m_firstSound + index * step;
        return std::minmax_element(from + kRate / 500, from + step - kRate / 500);
    };
    const float full = *stepAt(9).first;
    EXPECT_GT(full, 0.5f);
    for (std::size_t i = 0; i < levels.size(); ++i) {
        const auto [low, high] = stepAt(i);
        EXPECT_NEAR(*low / full, std::min(levels[i], 1.0f), 0.02f) << "step " << i;
        EXPECT_NEAR(*high / full, std::min(levels[i], 1.0f), 0.02f) << "step " << i;
    }
}

TEST_P(Voice, aLostDeviceFailsTheUtteranceReleasesTheShortcutAndComesBack) {
    startHost();
    const Uuid session = begin();
    send(session, 0, Bytes(4'800 * 4, 0));
    pactl(QStringLiteral("unload-module ") + moduleIndex(QStringLiteral("module-null-sink")));
    auto failure = m_phone->await(m_phone->control(), Kind::failure);
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->text, kDisconnected);
    EXPECT_EQ(failure->session, session);
    EXPECT_TRUE(waitUntil([&] { return m_client.nothingHeld(); }, kGenerousMs));
    EXPECT_TRUE(microphoneReady()) << "the device did not come back after an unload";

    bool lost = false;
    QObject::connect(m_pulse.get(), &PulseServer::lost, m_pulse.get(), [&] { lost = true; });
    stopServer();
    ASSERT_TRUE(startServer());
    ASSERT_TRUE(waitUntil([&] { return lost; }, kGenerousMs));
    EXPECT_TRUE(microphoneReady()) << "the device did not come back after a server restart";
}

INSTANTIATE_TEST_SUITE_P(Servers, Voice, testing::Values("pulseaudio", "pipewire"),
                         [](const auto& info) { return std::string(info.param); });

} // namespace
} // namespace quillvane
