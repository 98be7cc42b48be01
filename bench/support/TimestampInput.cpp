#include "TimestampInput.h"

#include <chrono>

namespace quillvane::bench {

void TimestampInput::move(const std::vector<TrackpadVector>&) {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    m_moves.push_back(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
}

} // namespace quillvane::bench
