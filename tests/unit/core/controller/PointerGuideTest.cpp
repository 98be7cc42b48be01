#include <gtest/gtest.h>

#include "controller/PointerGuideHistory.h"
#include "controller/PointerGuideMode.h"
#include "fakes/MemoryKeyValueStore.h"

using namespace quillvane;

namespace {
using Languages = std::vector<std::string>;
}

TEST(PointerGuideMode, isBuiltFromItsRawValue) {
    ASSERT_EQ(kAllPointerGuideModes.size(), 2u);
    EXPECT_EQ(rawValue(kAllPointerGuideModes[0]), "trackpad");
    EXPECT_EQ(rawValue(kAllPointerGuideModes[1]), "air");
    EXPECT_EQ(pointerGuideModeFromRaw("air"), PointerGuideMode::air);
    EXPECT_EQ(pointerGuideModeFromRaw("Air"), std::nullopt);
}

TEST(PointerGuideMode, namesTheVideoForTheInterfaceLanguage) {
    const auto trackpad = PointerGuideMode::trackpad;
    const auto air = PointerGuideMode::air;
    const auto system = AppLanguage::system;
    EXPECT_EQ(videoResource(trackpad, system, Languages{"fr-FR", "zh_Hant_TW"}),
              "Quillvane-Trackpad-zh-CN");
    EXPECT_EQ(videoResource(air, system, Languages{"ZH"}), "Quillvane-AirMouse-zh-CN");
    EXPECT_EQ(videoResource(air, system, Languages{"de-DE"}), "Quillvane-AirMouse-en");
    EXPECT_EQ(videoResource(trackpad, system, Languages{}), "Quillvane-Trackpad-en");
    EXPECT_EQ(videoResource(trackpad, AppLanguage::simplifiedChinese, Languages{"en"}),
              "Quillvane-Trackpad-zh-CN");
    EXPECT_EQ(videoResource(air, AppLanguage::english, Languages{"zh-Hans"}),
              "Quillvane-AirMouse-en");
}

TEST(PointerGuideHistory, remembersEachModeInTheStore) {
    MemoryKeyValueStore store;
    {
        PointerGuideHistory history(store);
        EXPECT_FALSE(history.hasSeen(PointerGuideMode::trackpad));
        EXPECT_FALSE(history.hasSeen(PointerGuideMode::air));
        history.markSeen(PointerGuideMode::air);
        EXPECT_TRUE(history.hasSeen(PointerGuideMode::air));
        EXPECT_FALSE(history.hasSeen(PointerGuideMode::trackpad));
    }
    EXPECT_EQ(store.bools(), (std::map<std::string, bool>{{"pointerGuide.seen.air", true}}));

    const PointerGuideHistory later(store);
    EXPECT_TRUE(later.hasSeen(PointerGuideMode::air));

    store.setBool("pointerGuide.seen.trackpad", false);
    EXPECT_FALSE(later.hasSeen(PointerGuideMode::trackpad));
    store.setBool("pointerGuide.seen.trackpad", true);
    EXPECT_TRUE(later.hasSeen(PointerGuideMode::trackpad));
}
