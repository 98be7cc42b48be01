#pragma once

#include <string>
#include <vector>

namespace quillvane {

// Reads any audio file libsndfile knows and returns it as the phone records: mono (channels
// averaged), 24,000 samples per second (resampled with libsamplerate), 32-bit float. Throws
// std::runtime_error with a readable reason.
std::vector<float> readVoiceFile(const std::string& path);

} // namespace quillvane
