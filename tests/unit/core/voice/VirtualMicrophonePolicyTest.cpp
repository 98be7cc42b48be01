#include <gtest/gtest.h>

#include "voice/VirtualMicrophonePolicy.h"

namespace quillvane {
namespace {

struct Device {
    int id;
    std::string uid;
};

TEST(VirtualMicrophonePolicy, savedChoiceWinsThenTheMicrophone) {
    const std::vector<std::string> withMicrophone{"speakers", "QuillvaneMicrophone_UID"};
    EXPECT_EQ(VirtualMicrophonePolicy::preferredUID("X", withMicrophone), "X");
    // A deliberately cleared choice stays cleared.
    EXPECT_EQ(VirtualMicrophonePolicy::preferredUID("", withMicrophone), "");
    EXPECT_EQ(VirtualMicrophonePolicy::preferredUID(std::nullopt, withMicrophone),
              "QuillvaneMicrophone_UID");
    EXPECT_EQ(VirtualMicrophonePolicy::preferredUID(std::nullopt, {"speakers"}), "");
}

TEST(VirtualMicrophonePolicy, freshDeviceReadsTheListBeforeTheSelection) {
    std::vector<std::string> calls;
    std::vector<Device> devices{{1, "a"}, {2, "b"}, {3, "b"}};
    std::string selected = "b";
    const auto fresh = [&] {
        return VirtualMicrophonePolicy::freshDevice(
            [&] {
                calls.push_back("refresh");
                return devices;
            },
            [&] {
                calls.push_back("selected");
                return selected;
            },
            [](const Device& device) { return device.uid; });
    };

    const std::optional<Device> found = fresh();
    ASSERT_TRUE(found);
    EXPECT_EQ(found->id, 2);
    EXPECT_EQ(calls, (std::vector<std::string>{"refresh", "selected"}));

    devices.erase(devices.begin() + 1, devices.end());
    EXPECT_FALSE(fresh());
}

} // namespace
} // namespace quillvane
