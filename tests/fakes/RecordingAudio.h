#pragma once

#include <QObject>

#include <memory>
#include <optional>

#include "AudioSink.h"
#include "Clock.h"

namespace quillvane {

// An audio output that plays nothing but keeps real time: each packet is reported played when
// its duration has elapsed after the previous one, as a device would. Lets tests and benchmarks
// follow an utterance to its end without a sound server. Keeps the time of `clock`, else of the
// program's own clock.
class RecordingAudio final : public QObject, public AudioSink {
    Q_OBJECT
public:
    explicit RecordingAudio(Clock* clock = nullptr);
    ~RecordingAudio() override;

    void setDevices(std::vector<OutputDevice> devices) { m_devices = std::move(devices); }

    std::vector<OutputDevice> devices() override { return m_devices; }
    void start(const OutputDevice& device) override;
    void stop() override;
    void enqueue(Bytes pcm, std::function<void()> played) override;
    std::string playbackState() const override;

    const std::optional<OutputDevice>& device() const { return m_device; }
    std::int64_t receivedSamples() const { return m_receivedSamples; }

private:
    std::unique_ptr<Clock> m_ownClock;
    Clock& m_clock;
    std::vector<OutputDevice> m_devices;
    std::optional<OutputDevice> m_device;
    std::int64_t m_receivedSamples = 0;
    std::int64_t m_queued = 0;
    double m_busyUntil = 0; // monotonic seconds at which the last queued packet ends
    std::uint64_t m_generation = 0;
};

} // namespace quillvane
