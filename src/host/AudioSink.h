#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "protocol/Bytes.h"

namespace quillvane {

// An audio output the voice can be played into.
struct OutputDevice {
    std::uint32_t id = 0;
    std::string uid;
    std::string name;
    bool isVirtual = false;
    friend bool operator==(const OutputDevice&, const OutputDevice&) = default;
};

// Plays an utterance's audio (mono float32 little-endian, 24 kHz) into one output device and tells
// when each packet has been played. Completions are delivered on the main loop.
class AudioSink {
public:
    virtual ~AudioSink() = default;

    virtual std::vector<OutputDevice> devices() = 0;
    // Throws PadError when the device cannot be opened.
    virtual void start(const OutputDevice& device) = 0;
    virtual void stop() = 0;
    // Throws PadError when the packet cannot be scheduled.
    virtual void enqueue(Bytes pcm, std::function<void()> played) = 0;
    // The utterance has no more packets: play out what is queued, however short, and report it.
    // Until then a short tail may wait for the next packet rather than play with a gap.
    virtual void finish() {}
    // One diagnostic line for the logs.
    virtual std::string playbackState() const = 0;

    // Set by the owner. A running output that the sound server broke (device removed, stream
    // moved or killed, server gone) reports the text here; it does not stop by itself.
    std::function<void(const std::string&)> onFailure;
    // The list `devices` returns has changed.
    std::function<void()> onDevicesChanged;
};

// Installation state of the virtual microphone the dictation program records from.
struct MicrophoneState {
    enum class Kind { invalid, missing, awaitingLoad, ready };
    Kind kind = Kind::missing;
    std::string reason; // for invalid

    std::string message() const;
    friend bool operator==(const MicrophoneState&, const MicrophoneState&) = default;
};

class MicrophoneInspector {
public:
    virtual ~MicrophoneInspector() = default;
    virtual MicrophoneState inspect(const std::vector<OutputDevice>& devices) = 0;
    // Installs the device, or repairs what is there; `done` gets the resulting state on the
    // main loop.
    virtual void install(std::function<void(MicrophoneState)> done) = 0;
};

} // namespace quillvane
