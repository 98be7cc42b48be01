#include <gtest/gtest.h>

#include "localization/AppLanguage.h"

using namespace quillvane;

TEST(AppLanguage, readsTheStoredSettingAndResolvesTheSystemsPreferences) {
    for (const AppLanguage language : kAllAppLanguages)
        EXPECT_EQ(appLanguageFromStored(rawValue(language)), language);
    EXPECT_EQ(rawValue(AppLanguage::simplifiedChinese), "zh-Hans");
    EXPECT_EQ(appLanguageFromStored("de"), AppLanguage::system);

    using Languages = std::vector<std::string>;
    // Only whole language subtags count: "zha", "eng" and "zhx" are other languages, skipped.
    for (const Languages& preferred : {Languages{"fr-FR", "zh_TW"}, {"ZH"}, {"zha", "eng", "zh"}})
        EXPECT_EQ(resolved(AppLanguage::system, preferred), AppLanguage::simplifiedChinese)
            << testing::PrintToString(preferred);
    for (const Languages& preferred : {Languages{"en-GB", "zh-Hans"}, {"fr-FR"}, {}, {"zhx-CN"}})
        EXPECT_EQ(resolved(AppLanguage::system, preferred), AppLanguage::english)
            << testing::PrintToString(preferred);
    EXPECT_EQ(resolved(AppLanguage::english, {"zh-Hans"}), AppLanguage::english);
}
