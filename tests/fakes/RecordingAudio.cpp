#include "RecordingAudio.h"

#include <algorithm>

#include "TimerClock.h"
#include "protocol/PadError.h"

namespace quillvane {
namespace {

constexpr double kSampleRate = 24'000;

} // namespace

RecordingAudio::RecordingAudio(Clock* clock)
    : m_ownClock(clock ? nullptr : std::make_unique<TimerClock>()),
      m_clock(clock ? *clock : *m_ownClock) {}

RecordingAudio::~RecordingAudio() = default;

void RecordingAudio::start(const OutputDevice& device) {
    if (!device.isVirtual)
        throw PadError::invalid("请选择虚拟音频设备，避免将语音播放到扬声器");
    m_device = device;
    m_busyUntil = 0;
}

void RecordingAudio::stop() {
    // Packets still "playing" belong to the stopped output; their completions are dropped, as a
    // torn-down device never reports them.
    ++m_generation;
    m_device.reset();
    m_queued = 0;
}

void RecordingAudio::enqueue(Bytes pcm, std::function<void()> played) {
    if (!m_device || pcm.empty() || pcm.size() % 4 != 0 || pcm.size() > 19'200)
        throw PadError::invalid("音频数据或输出状态无效");
    const auto samples = static_cast<std::int64_t>(pcm.size() / 4);
    m_receivedSamples += samples;
    ++m_queued;
    const double now = m_clock.now();
    m_busyUntil = std::max(m_busyUntil, now) + static_cast<double>(samples) / kSampleRate;
    m_clock.after(m_busyUntil - now, this, [this, generation = m_generation, played = std::move(played)] {
        if (generation != m_generation)
            return;
        --m_queued;
        played();
    });
}

std::string RecordingAudio::playbackState() const {
    return "recording device=" + (m_device ? m_device->uid : std::string("none")) +
           " queued=" + std::to_string(m_queued);
}

} // namespace quillvane
