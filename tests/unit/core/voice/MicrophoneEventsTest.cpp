#include <gtest/gtest.h>

#include "voice/MicrophoneEvents.h"

using namespace quillvane;
using Failure = MicrophoneFailure;

TEST(MicrophoneEvents, decidesWhichChangesEndTheRecording) {
    const MicrophoneRoute initial({"builtIn", "headset"}, 48000, 1);
    const auto afterRouteChange = [&](const MicrophoneRoute& current, bool running = true) {
        return MicrophoneEvents::failure(MicrophoneEvent::routeChanged, initial, current, running);
    };
    EXPECT_EQ(MicrophoneEvents::failure(MicrophoneEvent::interruptionBegan, initial, initial, true),
              Failure::interrupted);
    // The same inputs in another order keep the recording while the engine runs.
    EXPECT_EQ(afterRouteChange({{"headset", "builtIn"}, 48000, 1}), std::nullopt);
    EXPECT_EQ(afterRouteChange({{"headset", "builtIn"}, 48000, 1}, false), Failure::engineStopped);
    // An unusable input is unavailable before any change is judged.
    EXPECT_EQ(afterRouteChange({{}, 48000, 1}), Failure::inputUnavailable);
    EXPECT_EQ(afterRouteChange({{"builtIn"}, 0, 1}), Failure::inputUnavailable);
    EXPECT_EQ(afterRouteChange({{"builtIn"}, 16000, 1}), Failure::inputChanged);
    EXPECT_EQ(afterRouteChange({{"builtIn", "headset"}, 44100, 1}), Failure::formatChanged);
    EXPECT_EQ(afterRouteChange({{"builtIn", "headset"}, 48000, 2}), Failure::formatChanged);
    EXPECT_EQ(message(Failure::interrupted),
              "麦克风被来电或其他音频会话中断，请结束干扰后重新开始");
}
