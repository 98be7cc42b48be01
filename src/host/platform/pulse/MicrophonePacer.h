#pragma once

#include <QObject>

#include <pulse/operation.h>
#include <pulse/stream.h>

namespace quillvane {

class PulseServer;
struct PulseSnapshot;

// Keeps "Quillvane Microphone" delivering a steady stream to whoever records from it.
//
// PulseAudio's null sink renders in blocks as long as the lowest latency any of its streams asks
// for, two seconds when none asks, and its monitor holds back what it rendered for as long as the
// sink could still rewind it. A recorder on the remap source does not reach the sink (the remap's
// own capture stream on the monitor asks for nothing), so a recording program gets nothing for
// seconds while the phone is quiet, and when the voice stream arrives the sink rewinds and plans
// again, which cut the first tenth of a second off an utterance. While something records from our
// source, this holds a playback stream on our sink that asks for a short latency and never
// writes: it mixes in as nothing and keeps the sink rendering in short blocks, as PipeWire's
// graph does by itself. Nobody recording, nothing is held, so an idle
// desktop does not wake up for it.
class MicrophonePacer final : public QObject {
    Q_OBJECT
public:
    explicit MicrophonePacer(PulseServer& server, QObject* parent = nullptr);
    ~MicrophonePacer() override;

    MicrophonePacer(const MicrophonePacer&) = delete;
    MicrophonePacer& operator=(const MicrophonePacer&) = delete;

    // Opens or closes the stream for what the server runs now.
    void update(const PulseSnapshot& snapshot);
    bool isPacing() const { return m_stream != nullptr; }

private:
    void open();
    void close();
    void catchUp();
    void forgetInquiry();

    PulseServer& m_server;
    pa_stream* m_stream = nullptr;
    pa_operation* m_inquiry = nullptr; // the sink's latency, asked when the stream became ready
};

} // namespace quillvane
