#pragma once

#include <cstdint>
#include <vector>

#include "InputSink.h"

namespace quillvane::bench {

// An input sink that posts nothing and notes when each move reached it: the steady clock
// (CLOCK_MONOTONIC, the same in every process) in nanoseconds, one entry per move call in order.
// Every other call is ignored.
class TimestampInput final : public InputSink {
public:
    // Room for this many moves before the measured path ever allocates.
    explicit TimestampInput(std::size_t capacity) { m_moves.reserve(capacity); }

    const std::vector<std::int64_t>& moves() const { return m_moves; }

    bool permitted() const override { return true; }
    void move(const std::vector<TrackpadVector>& samples) override;
    void scroll(double, double, std::optional<TrackpadScrollPhase>) override {}
    void endScroll() override {}
    void click(bool, std::optional<bool>) override {}
    void setDrag(bool, bool) override {}
    void key(std::uint16_t, std::uint64_t) override {}
    void type(const std::string&) override {}
    void beginShortcut(std::int64_t, std::uint64_t, VoiceShortcutMode) override {}
    void releaseShortcut() override {}
    void releaseAll() override {}

private:
    std::vector<std::int64_t> m_moves;
};

} // namespace quillvane::bench
