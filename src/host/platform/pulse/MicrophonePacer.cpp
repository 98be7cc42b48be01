#include "MicrophonePacer.h"

#include <QLoggingCategory>

#include <algorithm>

#include <pulse/context.h>
#include <pulse/introspect.h>

#include "PulseServer.h"
#include "VirtualMicrophone.h"

namespace quillvane {
namespace {

Q_LOGGING_CATEGORY(lcPacer, "app.quillvane.VirtualMicrophone", QtInfoMsg)

// The sink's own format, so the server converts nothing for a stream that carries nothing.
constexpr pa_sample_spec kFormat{PA_SAMPLE_FLOAT32LE, 48'000, 2};
constexpr std::uint32_t kBytesPerMillisecond = 48 * 2 * 4;
// The sink renders in blocks of about a quarter of this: 10 ms, a recorder's usual period.
constexpr std::uint32_t kTargetLength = 40 * kBytesPerMillisecond;
// Planned further ahead than this, the sink has not taken our latency yet.
constexpr pa_usec_t kFarBehind = 100'000;

bool someoneRecords(const PulseSnapshot& snapshot) {
    const auto* sink = snapshot.sink(VirtualMicrophone::sinkName);
    const auto* source = snapshot.source(VirtualMicrophone::sourceName);
    if (!sink || !source)
        return false;
    return std::any_of(snapshot.sourceOutputs.begin(), snapshot.sourceOutputs.end(),
                       [&](const PulseSnapshot::SourceOutput& output) { return output.source == source->index; });
}

} // namespace

MicrophonePacer::MicrophonePacer(PulseServer& server, QObject* parent) : QObject(parent), m_server(server) {
    // The stream belongs to the lost connection; the next snapshot decides on a new one.
    connect(&m_server, &PulseServer::lost, this, &MicrophonePacer::close);
}

MicrophonePacer::~MicrophonePacer() { close(); }

void MicrophonePacer::update(const PulseSnapshot& snapshot) {
    // PipeWire runs the null sink's graph at the recorder's own period already.
    const bool wanted = !snapshot.pipewire && someoneRecords(snapshot);
    if (m_stream && pa_stream_get_state(m_stream) != PA_STREAM_CREATING &&
        pa_stream_get_state(m_stream) != PA_STREAM_READY)
        close(); // killed with its sink; a new one when the sink is back
    if (wanted && !m_stream)
        open();
    else if (!wanted && m_stream)
        close();
}

void MicrophonePacer::open() {
    pa_context* context = m_server.context();
    if (!context)
        return;
    m_stream = pa_stream_new(context, "Quillvane microphone pacing", &kFormat, nullptr);
    if (!m_stream)
        return;
    pa_buffer_attr attributes{};
    attributes.maxlength = static_cast<std::uint32_t>(-1);
    attributes.tlength = kTargetLength;
    attributes.prebuf = static_cast<std::uint32_t>(-1);
    attributes.minreq = static_cast<std::uint32_t>(-1);
    attributes.fragsize = static_cast<std::uint32_t>(-1);
    // DONT_MOVE: if our sink goes, this stream goes with it rather than pacing another device.
    const auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE);
    if (pa_stream_connect_playback(m_stream, VirtualMicrophone::sinkName, &attributes, flags, nullptr,
                                   nullptr) < 0) {
        qCWarning(lcPacer, "Cannot pace Quillvane Microphone (%d)", pa_context_errno(context));
        close();
        return;
    }
    pa_stream_set_state_callback(
        m_stream, [](pa_stream* stream, void* self) {
            if (pa_stream_get_state(stream) == PA_STREAM_READY)
                static_cast<MicrophonePacer*>(self)->catchUp();
        },
        this);
    qCInfo(lcPacer, "Pacing Quillvane Microphone for its recorder");
}

// A sink that planned a long block before we came keeps to it, and its monitor keeps holding
// back what it rendered, until the block ends. Suspending and resuming it makes it plan again at
// once, with our latency; what it drops is the silence it held. A sink that already renders in
// short blocks (the voice is playing, say) is left alone.
void MicrophonePacer::catchUp() {
    pa_context* context = m_server.context();
    if (!context)
        return;
    m_inquiry = pa_context_get_sink_info_by_name(
        context, VirtualMicrophone::sinkName,
        [](pa_context* context, const pa_sink_info* info, int eol, void* self) {
            if (eol != 0)
                static_cast<MicrophonePacer*>(self)->forgetInquiry();
            if (!info || info->latency <= kFarBehind)
                return;
            qCInfo(lcPacer, "Quillvane Microphone was %llu ms ahead; planning again",
                   static_cast<unsigned long long>(info->latency / 1000));
            // Sent together: the server takes a connection's commands in order, so the sink never
            // stays suspended, whatever becomes of this object in between.
            for (const int suspend : {1, 0})
                if (pa_operation* operation =
                        pa_context_suspend_sink_by_name(context, VirtualMicrophone::sinkName, suspend, nullptr, nullptr))
                    pa_operation_unref(operation);
        },
        this);
}

void MicrophonePacer::forgetInquiry() {
    if (m_inquiry)
        pa_operation_unref(m_inquiry);
    m_inquiry = nullptr;
}

void MicrophonePacer::close() {
    if (m_inquiry)
        pa_operation_cancel(m_inquiry);
    forgetInquiry();
    if (!m_stream)
        return;
    const auto state = pa_stream_get_state(m_stream);
    if (state == PA_STREAM_READY || state == PA_STREAM_CREATING)
        pa_stream_disconnect(m_stream);
    pa_stream_unref(m_stream);
    m_stream = nullptr;
}

} // namespace quillvane
