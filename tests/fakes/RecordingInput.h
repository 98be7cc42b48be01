#pragma once

#include <functional>
#include <string>

#include <QString>
#include <vector>

#include "InputSink.h"

namespace quillvane {

// Records every input call as one line of text and logs it, posting nothing: lets tests see
// exactly what the session asked for.
class RecordingInput final : public InputSink {
public:
    bool permitted() const override { return m_permitted; }
    void setPermitted(bool permitted) { m_permitted = permitted; }

    void move(const std::vector<TrackpadVector>& samples) override;
    void scroll(double x, double y, std::optional<TrackpadScrollPhase> phase) override;
    void endScroll() override;
    void click(bool right, std::optional<bool> continuingClick) override;
    void setDrag(bool held, bool continuingClick) override;
    void key(std::uint16_t code, std::uint64_t modifiers) override;
    void type(const std::string& text) override;
    void beginShortcut(std::int64_t code, std::uint64_t modifiers, VoiceShortcutMode mode) override;
    void releaseShortcut() override;
    void releaseAll() override;

    void setLateFailureHandler(std::function<void(const std::string&)> handler) override {
        m_lateFailure = std::move(handler);
    }
    // What a backend does when the desktop refuses, later, something a call took.
    void failLater(const std::string& reason) { m_lateFailure(reason); }

    const std::vector<std::string>& calls() const { return m_calls; }
    void clear() { m_calls.clear(); }

private:
    void record(const QString& call);

    bool m_permitted = true;
    std::vector<std::string> m_calls;
    std::function<void(const std::string&)> m_lateFailure;
};

} // namespace quillvane
