#include <gtest/gtest.h>

#include "voice/MicrophoneEvents.h"
#include "voice/VirtualMicrophonePolicy.h"

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
}

TEST(VirtualMicrophonePolicy, prefersTheSavedChoiceAndReadsTheSelectionAfterRefreshing) {
    const std::vector<std::string> withMicrophone{"speakers", "QuillvaneMicrophone_UID"};
    EXPECT_EQ(VirtualMicrophonePolicy::preferredUID("X", withMicrophone), "X");
    // A deliberately cleared choice stays cleared.
    EXPECT_EQ(VirtualMicrophonePolicy::preferredUID("", withMicrophone), "");
    EXPECT_EQ(VirtualMicrophonePolicy::preferredUID(std::nullopt, withMicrophone),
              "QuillvaneMicrophone_UID");
    EXPECT_EQ(VirtualMicrophonePolicy::preferredUID(std::nullopt, {"speakers"}), "");

    std::vector<std::string> devices{"a", "b"};
    std::string selected;
    const auto fresh = [&] {
        return VirtualMicrophonePolicy::freshDevice(
            [&] {
                // Refreshing may change the selection, which must be read afterwards.
                selected = "b";
                return devices;
            },
            [&] { return selected; }, [](const std::string& uid) { return uid; });
    };
    EXPECT_EQ(fresh(), "b");
    devices.pop_back();
    EXPECT_EQ(fresh(), std::nullopt);
}
