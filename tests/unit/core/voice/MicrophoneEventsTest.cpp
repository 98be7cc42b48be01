#include <cmath>

#include <gtest/gtest.h>

#include "voice/MicrophoneEvents.h"

namespace quillvane {
namespace {

const MicrophoneRoute initial({"builtIn", "headset"}, 48000, 1);

std::optional<MicrophoneFailure> afterRouteChange(const MicrophoneRoute& current,
                                                  bool engineRunning = true) {
    return MicrophoneEvents::failure(MicrophoneEvent::routeChanged, initial, current,
                                     engineRunning);
}

TEST(MicrophoneEvents, interruptionsAndResetsEndTheRecording) {
    const auto failure = [](MicrophoneEvent event) {
        return MicrophoneEvents::failure(event, initial, initial, true);
    };
    EXPECT_EQ(failure(MicrophoneEvent::interruptionBegan), MicrophoneFailure::interrupted);
    EXPECT_EQ(failure(MicrophoneEvent::interruptionEnded), std::nullopt);
    EXPECT_EQ(failure(MicrophoneEvent::mediaServicesReset), MicrophoneFailure::servicesReset);
    EXPECT_EQ(message(MicrophoneFailure::interrupted),
              "麦克风被来电或其他音频会话中断，请结束干扰后重新开始");
}

TEST(MicrophoneEvents, sameInputsInAnotherOrderKeepRecording) {
    const MicrophoneRoute reordered({"headset", "builtIn"}, 48000, 1);
    EXPECT_EQ(reordered, initial);
    EXPECT_EQ(afterRouteChange(reordered), std::nullopt);
    EXPECT_EQ(afterRouteChange(reordered, false), MicrophoneFailure::engineStopped);
    EXPECT_EQ(MicrophoneEvents::failure(MicrophoneEvent::engineConfigurationChanged, initial,
                                        reordered, false),
              MicrophoneFailure::engineStopped);
}

TEST(MicrophoneEvents, unusableInputIsUnavailableBeforeAnyChangeIsJudged) {
    EXPECT_EQ(afterRouteChange({{}, 48000, 1}), MicrophoneFailure::inputUnavailable);
    EXPECT_EQ(afterRouteChange({{"builtIn", "headset"}, 0, 1}),
              MicrophoneFailure::inputUnavailable);
    EXPECT_EQ(afterRouteChange({{"builtIn", "headset"}, NAN, 1}),
              MicrophoneFailure::inputUnavailable);
    EXPECT_EQ(afterRouteChange({{"bluetooth"}, 48000, 0}), MicrophoneFailure::inputUnavailable);
}

TEST(MicrophoneEvents, otherInputOrFormatEndsTheRecording) {
    EXPECT_EQ(afterRouteChange({{"builtIn"}, 16000, 1}), MicrophoneFailure::inputChanged);
    EXPECT_EQ(afterRouteChange({{"builtIn", "headset"}, 44100, 1}),
              MicrophoneFailure::formatChanged);
    EXPECT_EQ(afterRouteChange({{"builtIn", "headset"}, 48000, 2}),
              MicrophoneFailure::formatChanged);
}

} // namespace
} // namespace quillvane
