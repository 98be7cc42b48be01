#include "voice/MicrophoneRoute.h"

#include <algorithm>
#include <utility>

namespace quillvane {

MicrophoneRoute::MicrophoneRoute(std::vector<std::string> inputIDs, double sampleRate,
                                 std::int64_t channels)
    : m_inputIDs(std::move(inputIDs)), m_sampleRate(sampleRate), m_channels(channels) {
    std::sort(m_inputIDs.begin(), m_inputIDs.end());
}

} // namespace quillvane
