#include <gtest/gtest.h>

#include "controller/PointerGuideHistory.h"
#include "controller/PointerGuideMode.h"
#include "fakes/MemoryKeyValueStore.h"

using namespace quillvane;

TEST(PointerGuideMode, namesTheVideoForTheInterfaceLanguage) {
    using Languages = std::vector<std::string>;
    const auto system = AppLanguage::system;
    // zh_Hant_TW normalises to zh-hant-tw, which starts with "zh-"; case does not matter.
    for (const Languages& preferred : {Languages{"fr-FR", "zh_Hant_TW"}, {"ZH"}})
        EXPECT_EQ(videoResource(PointerGuideMode::trackpad, system, preferred),
                  "Quillvane-Trackpad-zh-CN");
    for (const Languages& preferred : {Languages{"de-DE"}, {}})
        EXPECT_EQ(videoResource(PointerGuideMode::air, system, preferred), "Quillvane-AirMouse-en");
    EXPECT_EQ(videoResource(PointerGuideMode::air, AppLanguage::simplifiedChinese, Languages{"en"}),
              "Quillvane-AirMouse-zh-CN");
}

TEST(PointerGuideHistory, remembersEachModeInTheStore) {
    MemoryKeyValueStore store;
    PointerGuideHistory(store).markSeen(PointerGuideMode::air);
    EXPECT_EQ(store.bools(), (std::map<std::string, bool>{{"pointerGuide.seen.air", true}}));
    const PointerGuideHistory later(store);
    EXPECT_TRUE(later.hasSeen(PointerGuideMode::air));
    EXPECT_FALSE(later.hasSeen(PointerGuideMode::trackpad));
}
