#include <gtest/gtest.h>

#include "voice/VirtualMicrophonePolicy.h"

using namespace quillvane;

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
