#pragma once

#include <QObject>

#include <algorithm>
#include <memory>
#include <optional>

#include "AudioSink.h"
#include "Clock.h"
#include "TimerClock.h"
#include "protocol/PadError.h"

namespace quillvane {

// An audio output that plays nothing but keeps real time: each packet is reported played when
// its duration has elapsed after the previous one, as a device would. Lets tests and benchmarks
// follow an utterance to its end without a sound server. Keeps the time of `clock`, else of the
// program's own clock.
class RecordingAudio final : public QObject, public AudioSink {
public:
    explicit RecordingAudio(Clock* clock = nullptr)
        : m_ownClock(clock ? nullptr : std::make_unique<TimerClock>()),
          m_clock(clock ? *clock : *m_ownClock) {}

    void setDevices(std::vector<OutputDevice> devices) { m_devices = std::move(devices); }

    std::vector<OutputDevice> devices() override { return m_devices; }
    void start(const OutputDevice& device) override {
        if (!device.isVirtual)
            throw PadError::invalid("请选择虚拟音频设备，避免将语音播放到扬声器");
        m_device = device;
        m_busyUntil = 0;
    }
    void stop() override {
        // Packets still "playing" belong to the stopped output; their completions are dropped, as
        // a torn-down device never reports them.
        ++m_generation;
        m_device.reset();
        m_queued = 0;
    }
    void enqueue(Bytes pcm, std::function<void()> played) override {
        if (!m_device || pcm.empty() || pcm.size() % 4 != 0 || pcm.size() > 19'200)
            throw PadError::invalid("音频数据或输出状态无效");
        const auto samples = static_cast<std::int64_t>(pcm.size() / 4);
        ++m_queued;
        const double now = m_clock.now();
        m_busyUntil = std::max(m_busyUntil, now) + static_cast<double>(samples) / kSampleRate;
        m_clock.after(m_busyUntil - now, this,
                      [this, generation = m_generation, played = std::move(played)] {
                          if (generation != m_generation)
                              return;
                          --m_queued;
                          played();
                      });
    }
    std::string playbackState() const override {
        return "recording device=" + (m_device ? m_device->uid : std::string("none")) +
               " queued=" + std::to_string(m_queued);
    }

private:
    static constexpr double kSampleRate = 24'000;

    std::unique_ptr<Clock> m_ownClock;
    Clock& m_clock;
    std::vector<OutputDevice> m_devices;
    std::optional<OutputDevice> m_device;
    std::int64_t m_queued = 0;
    double m_busyUntil = 0; // monotonic seconds at which the last queued packet ends
    std::uint64_t m_generation = 0;
};

} // namespace quillvane
