#pragma once

#include <QObject>
#include <QTimer>

#include <deque>
#include <optional>

#include <pulse/stream.h>

#include "AudioSink.h"

namespace quillvane {

class PulseServer;

// Plays the phone's voice (float32le, 24 kHz, mono) into one sink through a libpulse playback
// stream, one code path for PulseAudio and pipewire-pulse. A packet counts as played when the
// stream's clock (pa_stream_get_time, which already subtracts the sink's latency) has passed the
// packet's end. Only the utterance's end is drained: a drain makes the server play out a tail
// shorter than its prebuffer or its period, but newer pipewire-pulse releases end a drain at the
// first shortfall and move their read position a whole period on, so audio written after a drain
// began would lose its first milliseconds. Mid-utterance a late packet waits, and plays whole.
//
// What the sound server reports, and what it means here:
//   our sink removed, or the stream moved     -> "the device disconnected or switched"
//   stream killed (FAILED/TERMINATED) with the sink still there
//                                             -> before the first packet: recreated once (the
//                                                device may settle after it was chosen); after
//                                                it: "playback stopped"
//   server gone (restart, crash)              -> "the device disconnected or switched"
// The stream's own format cannot change: the server converts to the sink's format, so the
// "format changed" case has no counterpart.
class AudioOutput final : public QObject, public AudioSink {
    Q_OBJECT
public:
    explicit AudioOutput(PulseServer& server, QObject* parent = nullptr);
    ~AudioOutput() override;

    std::vector<OutputDevice> devices() override;
    void start(const OutputDevice& device) override;
    void stop() override;
    void enqueue(Bytes pcm, std::function<void()> played) override;
    void finish() override;
    std::string playbackState() const override;

private:
    struct Packet {
        std::uint64_t end = 0; // byte offset in the stream just after this packet
        std::function<void()> played;
    };

    void openStream();
    void closeStream();
    void streamStateChanged();
    void streamBroken();
    void fail(const std::string& text);
    void validate();
    void write(const Bytes& pcm);
    void flushUnwritten();
    void drain();
    void poll();
    bool complete(std::uint64_t played);
    void serverChanged();

    PulseServer& m_server;
    pa_stream* m_stream = nullptr;
    std::optional<OutputDevice> m_device;
    std::optional<std::string> m_broken; // why the running output no longer plays
    bool m_hasScheduledAudio = false;
    int m_startupRestarts = 0;
    bool m_finishing = false; // the last packet has been enqueued
    bool m_draining = false;
    std::uint64_t m_drainRequested = 0; // m_written when the last drain was asked for

    std::deque<Bytes> m_unwritten; // accepted before the stream was ready
    std::deque<Packet> m_packets;  // written, not yet played
    std::uint64_t m_written = 0;   // bytes accepted since start
    QTimer m_poll;
};

} // namespace quillvane
