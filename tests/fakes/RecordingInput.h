#pragma once

#include <algorithm>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "InputSink.h"

namespace quillvane {

// Records every input call as one line of text, posting nothing: lets tests see exactly what the
// session asked for.
class RecordingInput final : public InputSink {
public:
    bool permitted() const override { return m_permitted; }
    void setPermitted(bool permitted) { m_permitted = permitted; }

    void move(const std::vector<TrackpadVector>& samples) override {
        TrackpadVector sum;
        for (const auto& sample : samples) {
            sum.x += sample.x;
            sum.y += sample.y;
        }
        record("move samples=", samples.size(), " dx=", sum.x, " dy=", sum.y);
    }
    void scroll(double x, double y, std::optional<TrackpadScrollPhase> phase) override {
        record("scroll x=", x, " y=", y, " phase=", phase ? toString(*phase) : "none");
    }
    void endScroll() override { record("endScroll"); }
    void click(bool right, std::optional<bool> continuingClick) override {
        record("click right=", right,
               " continuing=", continuingClick ? (*continuingClick ? "true" : "false") : "none");
    }
    void setDrag(bool held, bool continuingClick) override {
        record("drag held=", held, " continuing=", continuingClick);
    }
    void key(std::uint16_t code, std::uint64_t modifiers) override {
        record("key code=", code, " modifiers=0x", std::hex, modifiers);
    }
    void type(const std::string& text) override { record("type ", text); }
    void beginShortcut(std::int64_t code, std::uint64_t modifiers,
                       VoiceShortcutMode mode) override {
        record("beginShortcut code=", code, " modifiers=0x", std::hex, modifiers,
               " mode=", toString(mode));
    }
    void releaseShortcut() override { record("releaseShortcut"); }
    void releaseAll() override { record("releaseAll"); }

    void setLateFailureHandler(std::function<void(const std::string&)> handler) override {
        m_lateFailure = std::move(handler);
    }
    // What a backend does when the desktop refuses, later, something a call took.
    void failLater(const std::string& reason) { m_lateFailure(reason); }

    const std::vector<std::string>& calls() const { return m_calls; }
    // How many calls so far begin with `prefix`.
    std::size_t count(const std::string& prefix) const {
        return static_cast<std::size_t>(std::ranges::count_if(
            m_calls, [&](const std::string& call) { return call.starts_with(prefix); }));
    }
    void clear() { m_calls.clear(); }

private:
    template <class... Parts> void record(const Parts&... parts) {
        std::ostringstream line;
        line << std::boolalpha;
        (line << ... << parts);
        m_calls.push_back(line.str());
    }

    bool m_permitted = true;
    std::vector<std::string> m_calls;
    std::function<void(const std::string&)> m_lateFailure;
};

} // namespace quillvane
