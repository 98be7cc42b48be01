#include <gtest/gtest.h>

#include "localization/AppLanguage.h"

using namespace quillvane;

namespace {
using Languages = std::vector<std::string>;
}

TEST(AppLanguage, persistsByRawValue) {
    const std::vector<std::string_view> raws = {"system", "zh-Hans", "en"};
    ASSERT_EQ(kAllAppLanguages.size(), raws.size());
    for (std::size_t i = 0; i < raws.size(); ++i) {
        EXPECT_EQ(rawValue(kAllAppLanguages[i]), raws[i]);
        EXPECT_EQ(appLanguageFromRaw(raws[i]), kAllAppLanguages[i]);
        EXPECT_EQ(appLanguageFromStored(raws[i]), kAllAppLanguages[i]);
    }
    EXPECT_EQ(appLanguageFromRaw("de"), std::nullopt);
    EXPECT_EQ(appLanguageFromRaw("zh-hans"), std::nullopt);
    EXPECT_EQ(appLanguageFromStored("de"), AppLanguage::system);
    EXPECT_EQ(appLanguageFromStored(""), AppLanguage::system);
}

TEST(AppLanguage, followsTheFirstChineseOrEnglishPreference) {
    const auto fromSystem = [](Languages list) { return resolved(AppLanguage::system, list); };
    EXPECT_EQ(fromSystem({"fr-FR", "zh_TW"}), AppLanguage::simplifiedChinese);
    EXPECT_EQ(fromSystem({"fr-FR", "zh_Hant_TW"}), AppLanguage::simplifiedChinese);
    EXPECT_EQ(fromSystem({"ZH"}), AppLanguage::simplifiedChinese);
    EXPECT_EQ(fromSystem({"en-GB", "zh-Hans"}), AppLanguage::english);
    EXPECT_EQ(fromSystem({"de-DE", "EN_us", "zh"}), AppLanguage::english);
    EXPECT_EQ(fromSystem({"fr-FR"}), AppLanguage::english);
    EXPECT_EQ(fromSystem({}), AppLanguage::english);
    // Only whole language subtags count: these are other languages, skipped like fr.
    EXPECT_EQ(fromSystem({"zha", "eng", "zh"}), AppLanguage::simplifiedChinese);
    EXPECT_EQ(fromSystem({"zhx-CN"}), AppLanguage::english);
}

TEST(AppLanguage, explicitChoiceIgnoresPreferences) {
    const Languages chinese = {"zh-Hans"};
    const Languages english = {"en"};
    EXPECT_EQ(resolved(AppLanguage::english, chinese), AppLanguage::english);
    EXPECT_EQ(resolved(AppLanguage::simplifiedChinese, english), AppLanguage::simplifiedChinese);
    EXPECT_EQ(resolved(AppLanguage::simplifiedChinese, {}), AppLanguage::simplifiedChinese);
}
