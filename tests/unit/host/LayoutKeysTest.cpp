// Which keys type a character, read from the XKB data the desktop itself uses.

#include <gtest/gtest.h>

#include <linux/input-event-codes.h>

#include "platform/xkb/LayoutKeys.h"

namespace quillvane {
namespace {

using Stroke = std::optional<KeyStroke>;

TEST(LayoutKeysTest, charactersAreFoundWithTheFewestModifiersTheirLayoutNeeds) {
    const auto us = LayoutKeys::fromNames({.layout = "us"});
    ASSERT_TRUE(us);
    EXPECT_EQ(us->strokeFor(U'a'), (Stroke{{{}, KEY_A}}));
    EXPECT_EQ(us->strokeFor(U'A'), (Stroke{{{KEY_LEFTSHIFT}, KEY_A}}));
    EXPECT_EQ(us->strokeFor(U'!'), (Stroke{{{KEY_LEFTSHIFT}, KEY_1}}));
    EXPECT_EQ(us->strokeFor(U'\n'), (Stroke{{{}, KEY_ENTER}}));
    EXPECT_EQ(us->strokeFor(U'é'), std::nullopt);
    EXPECT_EQ(us->strokeFor(U'世'), std::nullopt);
    EXPECT_EQ(us->strokeFor(U'\x01'), std::nullopt);

    // German: Y and Z swap places, umlauts have keys, the euro sign is AltGr+E.
    const auto de = LayoutKeys::fromNames({.layout = "de"});
    ASSERT_TRUE(de);
    EXPECT_EQ(de->strokeFor(U'z'), (Stroke{{{}, KEY_Y}}));
    EXPECT_EQ(de->strokeFor(U'ä'), (Stroke{{{}, KEY_APOSTROPHE}}));
    EXPECT_EQ(de->strokeFor(U'€'), (Stroke{{{KEY_RIGHTALT}, KEY_E}}));
}

} // namespace
} // namespace quillvane
