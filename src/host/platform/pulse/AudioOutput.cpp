#include "AudioOutput.h"

#include <QLoggingCategory>

#include <cmath>
#include <cstring>

#include <pulse/context.h>
#include <pulse/error.h>

#include "PulseServer.h"
#include "protocol/PadError.h"

namespace quillvane {
namespace {

Q_LOGGING_CATEGORY(lcOutput, "app.quillvane.AudioOutput", QtInfoMsg)

constexpr pa_sample_spec kFormat{PA_SAMPLE_FLOAT32LE, 24'000, 1};
constexpr std::uint32_t kBytesPerSecond = 24'000 * 4;
constexpr std::size_t kMaximumPacket = 19'200;

// Low latency: the server asks for about 40 ms ahead. The queue holds the whole 2 s backlog the
// voice rules allow, and playback starts (and restarts after running dry) as soon as 5 ms are
// there, so a packet never waits for the next one.
constexpr std::uint32_t kTargetLength = kBytesPerSecond * 40 / 1000;
constexpr std::uint32_t kMaximumLength = kBytesPerSecond * 5 / 2;
constexpr std::uint32_t kPrebuffer = kBytesPerSecond * 5 / 1000;
// How often the stream's clock is read while packets are waiting to be reported played.
constexpr std::chrono::milliseconds kPollInterval{5};

const char* const kNotStarted = "电脑音频输出未启动";
const char* const kDisconnected = "虚拟音频输出设备已断开或切换，请检查电脑音频设置";
const char* const kStopped = "电脑音频播放已停止，请重新按住说话";
const char* const kBadData = "音频数据或输出状态无效";

} // namespace

AudioOutput::AudioOutput(PulseServer& server, QObject* parent) : QObject(parent), m_server(server) {
    m_poll.setTimerType(Qt::PreciseTimer);
    m_poll.setInterval(kPollInterval);
    connect(&m_poll, &QTimer::timeout, this, &AudioOutput::poll);
    connect(&m_server, &PulseServer::changed, this, &AudioOutput::serverChanged);
    connect(&m_server, &PulseServer::lost, this, [this] {
        closeStream();
        if (m_device)
            fail(kDisconnected);
        if (onDevicesChanged)
            onDevicesChanged();
    });
}

AudioOutput::~AudioOutput() { stop(); }

std::vector<OutputDevice> AudioOutput::devices() { return m_server.snapshot().outputDevices(); }

void AudioOutput::start(const OutputDevice& device) {
    stop();
    if (!device.isVirtual)
        throw PadError::invalid("请选择虚拟音频设备，避免将语音播放到扬声器");
    if (!m_server.context())
        throw PadError::invalid("音频输出不可用");
    m_device = device;
    try {
        openStream();
    } catch (...) {
        stop();
        throw;
    }
}

void AudioOutput::openStream() {
    pa_context* context = m_server.context();
    m_stream = context ? pa_stream_new(context, "Quillvane voice", &kFormat, nullptr) : nullptr;
    if (!m_stream)
        throw PadError::invalid("音频输出不可用");
    pa_stream_set_state_callback(
        m_stream, [](pa_stream*, void* self) { static_cast<AudioOutput*>(self)->streamStateChanged(); },
        this);
    pa_stream_set_moved_callback(
        m_stream, [](pa_stream*, void* self) { static_cast<AudioOutput*>(self)->fail(kDisconnected); },
        this);
    pa_buffer_attr attributes{};
    attributes.maxlength = kMaximumLength;
    attributes.tlength = kTargetLength;
    attributes.prebuf = kPrebuffer;
    attributes.minreq = static_cast<std::uint32_t>(-1);
    attributes.fragsize = static_cast<std::uint32_t>(-1);
    // DONT_MOVE: when our sink goes, the server kills the stream instead of playing the voice on
    // another device (the loudspeakers, say).
    const auto flags = static_cast<pa_stream_flags_t>(
        PA_STREAM_ADJUST_LATENCY | PA_STREAM_INTERPOLATE_TIMING | PA_STREAM_AUTO_TIMING_UPDATE |
        PA_STREAM_DONT_MOVE | PA_STREAM_START_UNMUTED);
    if (pa_stream_connect_playback(m_stream, m_device->uid.c_str(), &attributes, flags, nullptr,
                                   nullptr) < 0)
        throw PadError::invalid("无法打开所选音频设备（" +
                                std::to_string(-pa_context_errno(m_server.context())) + "）");
}

void AudioOutput::closeStream() {
    if (!m_stream)
        return;
    pa_stream_set_state_callback(m_stream, nullptr, nullptr);
    pa_stream_set_moved_callback(m_stream, nullptr, nullptr);
    if (pa_stream_get_state(m_stream) == PA_STREAM_READY ||
        pa_stream_get_state(m_stream) == PA_STREAM_CREATING)
        pa_stream_disconnect(m_stream);
    pa_stream_unref(m_stream);
    m_stream = nullptr;
}

void AudioOutput::stop() {
    closeStream();
    m_poll.stop();
    m_device.reset();
    m_broken.reset();
    m_unwritten.clear();
    // A stopped output never reports the packets it still held.
    m_packets.clear();
    m_written = 0;
    m_hasScheduledAudio = false;
    m_startupRestarts = 0;
    m_finishing = false;
    m_draining = false;
    m_drainRequested = 0;
}

void AudioOutput::streamStateChanged() {
    switch (pa_stream_get_state(m_stream)) {
    case PA_STREAM_READY:
        flushUnwritten();
        return;
    case PA_STREAM_FAILED:
    case PA_STREAM_TERMINATED:
        streamBroken();
        return;
    default:
        return;
    }
}

void AudioOutput::streamBroken() {
    // The server killed the stream. Whether the sink went with it decides the text; the snapshot
    // may not know yet, so the server is asked.
    closeStream();
    const std::string uid = m_device ? m_device->uid : std::string();
    m_server.findSink(uid, [this, device = m_device](bool present) {
        if (!m_device || m_device != device)
            return;
        if (!present) {
            fail(kDisconnected);
            return;
        }
        try {
            validate();
        } catch (const std::exception& error) {
            fail(error.what());
        }
    });
}

void AudioOutput::serverChanged() {
    if (m_device && !m_server.snapshot().sink(m_device->uid))
        fail(kDisconnected);
    if (onDevicesChanged)
        onDevicesChanged();
}

void AudioOutput::fail(const std::string& text) {
    if (!m_device || m_broken)
        return;
    m_broken = text;
    qCCritical(lcOutput, "Audio configuration invalid: %s", text.c_str());
    if (onFailure)
        onFailure(text);
}

// Checks that the stream still plays, and recreates it once if the server stopped it before the
// first packet.
void AudioOutput::validate() {
    if (!m_device)
        throw PadError::invalid(kNotStarted);
    if (m_broken)
        throw PadError::invalid(*m_broken);
    if (m_stream && pa_stream_get_state(m_stream) != PA_STREAM_FAILED &&
        pa_stream_get_state(m_stream) != PA_STREAM_TERMINATED)
        return;
    if (!m_hasScheduledAudio && m_startupRestarts == 0) {
        m_startupRestarts = 1;
        closeStream();
        openStream();
        qCInfo(lcOutput, "Restarted output during device preparation");
        return;
    }
    throw PadError::invalid(kStopped);
}

void AudioOutput::enqueue(Bytes pcm, std::function<void()> played) {
    if (m_device && (!m_stream || m_broken))
        validate();
    if (!m_device || !m_stream || pcm.empty() || pcm.size() % 4 != 0 || pcm.size() > kMaximumPacket)
        throw PadError::invalid(kBadData);

    const std::size_t count = pcm.size() / 4;
    for (std::size_t i = 0; i < count; ++i) {
        float sample;
        std::memcpy(&sample, pcm.data() + i * 4, 4);
        if (!std::isfinite(sample))
            throw PadError::invalid("音频包含无效采样");
        sample = std::clamp(sample, -1.0f, 1.0f);
        std::memcpy(pcm.data() + i * 4, &sample, 4);
    }

    m_hasScheduledAudio = true;
    m_written += pcm.size();
    m_packets.push_back({m_written, std::move(played)});
    if (pa_stream_get_state(m_stream) == PA_STREAM_READY)
        write(pcm);
    else
        m_unwritten.push_back(std::move(pcm));
    m_poll.start();
}

void AudioOutput::write(const Bytes& pcm) {
    // Copied by libpulse (no free callback): the packet's bytes are ours to drop afterwards.
    if (pa_stream_write(m_stream, pcm.data(), pcm.size(), nullptr, 0, PA_SEEK_RELATIVE) < 0) {
        fail(kStopped);
        return;
    }
    if (m_finishing)
        drain();
}

void AudioOutput::finish() {
    if (!m_device || m_finishing)
        return;
    m_finishing = true;
    if (m_stream && pa_stream_get_state(m_stream) == PA_STREAM_READY && m_unwritten.empty())
        drain();
}

void AudioOutput::flushUnwritten() {
    while (!m_unwritten.empty() && m_stream) {
        write(m_unwritten.front());
        m_unwritten.pop_front();
    }
}

// A drain makes the server play what it holds even when that is less than the prebuffer, so the
// utterance's last packet always leaves the stream. Asked for only once nothing more will come.
void AudioOutput::drain() {
    if (m_draining || !m_stream)
        return;
    m_draining = true;
    m_drainRequested = m_written;
    pa_operation* operation = pa_stream_drain(
        m_stream, [](pa_stream*, int success, void* self) {
            auto* output = static_cast<AudioOutput*>(self);
            output->m_draining = false;
            // The stream clock can stop a few milliseconds short of the end once the stream runs
            // dry; the server's word that everything asked for has been played settles it.
            const pa_stream* stream = output->m_stream;
            if (success && !output->complete(output->m_drainRequested))
                return;
            // Written while that drain was under way: its tail needs a drain of its own.
            if (output->m_stream == stream && output->m_written > output->m_drainRequested &&
                output->m_unwritten.empty())
                output->drain();
        },
        this);
    if (operation)
        pa_operation_unref(operation);
    else
        m_draining = false;
}

void AudioOutput::poll() {
    if (!m_stream || m_packets.empty() || pa_stream_get_state(m_stream) != PA_STREAM_READY) {
        if (m_packets.empty())
            m_poll.stop();
        return;
    }
    pa_operation* update = pa_stream_update_timing_info(m_stream, nullptr, nullptr);
    if (update)
        pa_operation_unref(update);
    pa_usec_t time = 0;
    if (pa_stream_get_time(m_stream, &time) < 0)
        return;
    complete(pa_usec_to_bytes(time, &kFormat));
}

// Reports every packet that ends at or before `played` bytes. A completion may stop this output
// (the utterance's end); returns false when it did, and nothing is touched afterwards.
bool AudioOutput::complete(std::uint64_t played) {
    while (!m_packets.empty() && m_packets.front().end <= played) {
        auto done = std::move(m_packets.front().played);
        m_packets.pop_front();
        const pa_stream* stream = m_stream;
        if (done)
            done();
        if (m_stream != stream)
            return false;
    }
    return true;
}

std::string AudioOutput::playbackState() const {
    const bool running = m_stream && pa_stream_get_state(m_stream) == PA_STREAM_READY;
    const bool playing = running && pa_stream_is_corked(m_stream) == 0 && !m_broken;
    long long rendered = -1;
    pa_usec_t time = 0;
    if (running && pa_stream_get_time(m_stream, &time) >= 0)
        rendered = static_cast<long long>(pa_usec_to_bytes(time, &kFormat) / 4);
    double outputRate = 0.0;
    if (m_device)
        if (const auto* sink = m_server.snapshot().sink(m_device->uid))
            outputRate = sink->spec.rate;
    return std::string("engine=") + (running ? "true" : "false") +
           " player=" + (playing ? "true" : "false") + " renderedSamples=" +
           std::to_string(rendered) + " playerRate=" + (running ? "24000.0" : "0.0") +
           " outputRate=" + QString::number(outputRate, 'f', 1).toStdString();
}

} // namespace quillvane
