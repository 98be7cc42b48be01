#pragma once

#include <cstdint>
#include <functional>

#include "InputSink.h"

namespace quillvane {

// An input sink that forwards every call to another and times the moves on their way: how many
// came in a period, how many in bursts, the largest gap between two and the longest post, logged
// once a second at most on "app.quillvane.InputTiming". Never changes what is posted.
class MoveStatistics final : public InputSink {
public:
    MoveStatistics(InputSink& input, std::function<double()> uptime)
        : m_input(input), m_uptime(std::move(uptime)) {}

    bool permitted() const override { return m_input.permitted(); }
    std::string unavailableReason() const override { return m_input.unavailableReason(); }
    void setAvailabilityHandler(std::function<void()> handler) override {
        m_input.setAvailabilityHandler(std::move(handler));
    }
    void setLateFailureHandler(std::function<void(const std::string&)> handler) override {
        m_input.setLateFailureHandler(std::move(handler));
    }
    void move(const std::vector<TrackpadVector>& samples) override;
    void scroll(double x, double y, std::optional<TrackpadScrollPhase> phase) override {
        m_input.scroll(x, y, phase);
    }
    void endScroll() override { m_input.endScroll(); }
    void click(bool right, std::optional<bool> continuingClick) override {
        m_input.click(right, continuingClick);
    }
    void setDrag(bool held, bool continuingClick) override {
        m_input.setDrag(held, continuingClick);
    }
    void key(std::uint16_t code, std::uint64_t modifiers) override { m_input.key(code, modifiers); }
    void type(const std::string& text) override { m_input.type(text); }
    void beginShortcut(std::int64_t code, std::uint64_t modifiers,
                       VoiceShortcutMode mode) override {
        m_input.beginShortcut(code, modifiers, mode);
    }
    void releaseShortcut() override { m_input.releaseShortcut(); }
    void releaseAll() override { m_input.releaseAll(); }

private:
    void reset(double start);

    InputSink& m_input;
    std::function<double()> m_uptime;
    double m_start = 0;
    double m_last = 0;
    std::int64_t m_count = 0;
    std::int64_t m_burst = 0;
    double m_maxGap = 0;
    double m_maxWork = 0;
};

} // namespace quillvane
