// The cost of one touch sample through TrackpadGesture, natively: a finger circling on the
// trackpad at 120 reports a second, each report handed to the recogniser and the move it causes
// written as JSON, as the controller sends it. scripts/bench runs the same through the
// WebAssembly build under Node (touch-sample.mjs). Prints one line.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <string>

#include "controller/TrackpadGesture.h"

using namespace quillvane;

int main() {
    constexpr int strokes = 200;
    constexpr int samplesPerStroke = 1000;
    TrackpadGesture trackpad;
    ControllerOutput out;
    std::size_t bytes = 0;
    double time = 0;
    const auto start = std::chrono::steady_clock::now();
    for (int stroke = 0; stroke < strokes; ++stroke) {
        double x = 400, y = 300;
        for (int i = 0; i <= samplesPerStroke; ++i) {
            const TouchPhase phase = i == 0 ? TouchPhase::began
                                     : i == samplesPerStroke ? TouchPhase::ended
                                                             : TouchPhase::moved;
            x += 3 * std::cos(i / 40.0);
            y += 3 * std::sin(i / 40.0);
            trackpad.touch({1, x, y, time, phase}, out);
            for (const auto& message : out.messages)
                bytes += message.toJson().size();
            out.clear();
            time += 1.0 / 120;
        }
        time += 1; // the tap window and any coasting are over before the next stroke
        trackpad.advance(time, out);
        out.clear();
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const double samples = strokes * (samplesPerStroke + 1.0);
    std::printf("trackpad touch sample, native: %.3f us (%.0f samples, %zu bytes of messages)\n",
                seconds / samples * 1e6, samples, bytes);
    return 0;
}
