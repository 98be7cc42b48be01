#pragma once

#include <optional>
#include <string_view>

#include "voice/MicrophoneRoute.h"

namespace quillvane {

// A platform audio-session event seen by the phone's recorder.
enum class MicrophoneEvent {
    interruptionBegan,
    interruptionEnded,
    routeChanged,
    engineConfigurationChanged,
    mediaServicesReset,
};

// Why a recording had to end; message() is the text shown to the user.
enum class MicrophoneFailure {
    interrupted,
    inputUnavailable,
    inputChanged,
    formatChanged,
    engineStopped,
    servicesReset,
};

std::string_view message(MicrophoneFailure failure);

// Decides whether an audio-session event ends the recording that started on `initial`.
struct MicrophoneEvents {
    // Nothing when recording may go on. A route or configuration change is judged by what it did
    // to the input: gone or unusable, another input, another format, or a stopped engine.
    static std::optional<MicrophoneFailure> failure(MicrophoneEvent event,
                                                    const MicrophoneRoute& initial,
                                                    const MicrophoneRoute& current,
                                                    bool engineRunning);
};

} // namespace quillvane
