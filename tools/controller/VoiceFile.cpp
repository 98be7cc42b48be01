#include "VoiceFile.h"

#include <memory>
#include <stdexcept>

#include <samplerate.h>
#include <sndfile.h>

namespace quillvane {
namespace {

constexpr int kRate = 24'000;

} // namespace

std::vector<float> readVoiceFile(const std::string& path) {
    SF_INFO info{};
    const std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> file(sf_open(path.c_str(), SFM_READ, &info),
                                                           sf_close);
    if (!file)
        throw std::runtime_error(path + ": " + sf_strerror(nullptr));
    if (info.channels < 1 || info.samplerate < 1)
        throw std::runtime_error(path + ": no audio");

    std::vector<float> frames(static_cast<std::size_t>(info.frames) * info.channels);
    const sf_count_t got = sf_readf_float(file.get(), frames.data(), info.frames);
    std::vector<float> mono(static_cast<std::size_t>(got));
    for (sf_count_t i = 0; i < got; ++i) {
        float sum = 0;
        for (int c = 0; c < info.channels; ++c)
            sum += frames[static_cast<std::size_t>(i * info.channels + c)];
        mono[static_cast<std::size_t>(i)] = sum / static_cast<float>(info.channels);
    }
    if (info.samplerate == kRate || mono.empty())
        return mono;

    const double ratio = static_cast<double>(kRate) / info.samplerate;
    std::vector<float> resampled(static_cast<std::size_t>(static_cast<double>(mono.size()) * ratio) + 16);
    SRC_DATA data{};
    data.data_in = mono.data();
    data.input_frames = static_cast<long>(mono.size());
    data.data_out = resampled.data();
    data.output_frames = static_cast<long>(resampled.size());
    data.src_ratio = ratio;
    if (const int error = src_simple(&data, SRC_SINC_MEDIUM_QUALITY, 1); error != 0)
        throw std::runtime_error(path + ": " + src_strerror(error));
    resampled.resize(static_cast<std::size_t>(data.output_frames_gen));
    return resampled;
}

} // namespace quillvane
