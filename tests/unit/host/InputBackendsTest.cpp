#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "InputBackends.h"
#include "fakes/RecordingBackend.h"

using namespace quillvane;

namespace {

// A candidate that opens a recording backend named `name`, able to post or not, and notes that it
// was opened.
InputBackendFactory candidate(std::string name, bool canPost, std::vector<std::string>& opened) {
    return {name, [name, canPost, &opened] {
                opened.push_back(name);
                auto backend = std::make_unique<RecordingBackend>();
                backend->label = name;
                backend->permitted = canPost;
                backend->reason = name + " is missing";
                return std::unique_ptr<InputBackend>(std::move(backend));
            }};
}

} // namespace

TEST(InputBackends, takesTheFirstThatCanPostInPriorityOrder) {
    std::vector<std::string> opened;
    const std::vector<InputBackendFactory> candidates{candidate("x11", false, opened),
                                                      candidate("uinput", true, opened),
                                                      candidate("portal", true, opened)};
    const auto backend = chooseInputBackend(candidates);
    EXPECT_EQ(backend->name(), "uinput");
    EXPECT_EQ(opened, (std::vector<std::string>{"x11", "uinput"}));
}

TEST(InputBackends, anOverrideOpensOnlyTheNamedBackend) {
    std::vector<std::string> opened;
    const std::vector<InputBackendFactory> candidates{candidate("x11", true, opened),
                                                      candidate("uinput", false, opened)};
    EXPECT_EQ(chooseInputBackend(candidates, "x11")->name(), "x11");

    const auto refused = chooseInputBackend(candidates, "uinput");
    EXPECT_FALSE(refused->canPost());
    EXPECT_EQ(refused->unavailableReason(), "uinput is missing");
    EXPECT_EQ(opened, (std::vector<std::string>{"x11", "uinput"}));

    EXPECT_EQ(chooseInputBackend(candidates, "wayland")->unavailableReason(),
              "Unknown input backend \"wayland\"; this build has: x11, uinput");
}

TEST(InputBackends, whenNoneCanPostTheNullBackendSaysWhatEachMissed) {
    std::vector<std::string> opened;
    const std::vector<InputBackendFactory> candidates{candidate("x11", false, opened),
                                                      {"uinput", [] { return nullptr; }}};
    const auto backend = chooseInputBackend(candidates);
    EXPECT_FALSE(backend->canPost());
    EXPECT_EQ(backend->name(), "none");
    EXPECT_EQ(backend->unavailableReason(), "x11: x11 is missing; uinput: it could not be opened");
    EXPECT_FALSE(
        chooseInputBackend(std::span<const InputBackendFactory>())->unavailableReason().empty());
}
