#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "AudioSink.h"

namespace quillvane {

// A virtual microphone whose state is set from outside.
class FixedMicrophone final : public MicrophoneInspector {
public:
    explicit FixedMicrophone(MicrophoneState state) : m_state(std::move(state)) {}
    void setState(MicrophoneState state) { m_state = std::move(state); }
    MicrophoneState inspect(const std::vector<OutputDevice>&) override { return m_state; }
    void install(std::function<void(MicrophoneState)> done) override {
        m_state = MicrophoneState{MicrophoneState::Kind::ready, {}};
        done(m_state);
    }

private:
    MicrophoneState m_state;
};

} // namespace quillvane
