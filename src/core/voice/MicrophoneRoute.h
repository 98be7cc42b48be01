#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quillvane {

// The phone's audio input as the recorder sees it: which inputs are connected and in which format
// they deliver. The input list is kept sorted, so two routes that list the same inputs in another
// order are equal.
class MicrophoneRoute {
public:
    MicrophoneRoute(std::vector<std::string> inputIDs, double sampleRate, std::int64_t channels);

    const std::vector<std::string>& inputIDs() const { return m_inputIDs; }
    double sampleRate() const { return m_sampleRate; }
    std::int64_t channels() const { return m_channels; }

    friend bool operator==(const MicrophoneRoute&, const MicrophoneRoute&) = default;

private:
    std::vector<std::string> m_inputIDs;
    double m_sampleRate;
    std::int64_t m_channels;
};

} // namespace quillvane
