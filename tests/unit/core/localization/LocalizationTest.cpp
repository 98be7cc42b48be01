#include <gtest/gtest.h>

#include <map>

#include "localization/AppLanguage.h"
#include "localization/AppLocalization.h"

using namespace quillvane;

namespace {

// Hands out the English table only, as the application does: Chinese is the keys themselves.
AppLocalization::Catalogue catalogueFor(AppLanguage language) {
    static const std::map<std::string, std::string, std::less<>> english = {
        {"已连接", "Connected"},
        {"%@ 已连接", "%@ connected"},
        {"%1$@ 发给 %2$@", "to %2$@ from %1$@"},
        {"无法删除配对", "Could not delete the pairing"},
        {"无法发布局域网服务", "Could not announce this computer on the network"},
        {"Quillvane Microphone 不可用：%@", "Quillvane Microphone is unavailable: %@"},
        {"驱动版本过旧", "the driver is outdated"},
    };
    if (language != AppLanguage::english)
        return nullptr;
    return [](std::string_view key) -> std::optional<std::string> {
        const auto found = english.find(key);
        return found == english.end() ? std::nullopt : std::optional(found->second);
    };
}

const AppLocalization english(AppLanguage::english, catalogueFor, {});
const AppLocalization chinese(AppLanguage::simplifiedChinese, catalogueFor, {});

} // namespace

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

TEST(AppLocalization, looksUpAndFormatsInTheResolvedLanguageWithTheKeyAsFallback) {
    EXPECT_EQ(english("已连接"), "Connected");
    EXPECT_EQ(english("未配对"), "未配对");
    const AppLocalization followingSystem(AppLanguage::system, catalogueFor, {"fr-FR", "zh_TW"});
    EXPECT_EQ(followingSystem("已连接"), "已连接");
    EXPECT_EQ(english("%@ 已连接", "iPhone"), "iPhone connected");
    EXPECT_EQ(chinese("%@ 已连接", std::string("张三的 iPhone")), "张三的 iPhone 已连接");
    EXPECT_EQ(english.text(AppMessage("%1$@ 发给 %2$@", {"A", "B"})), "to B from A");
    // An argument is never read as a format itself.
    EXPECT_EQ(english("%@ 已连接", "100%@"), "100%@ connected");
    EXPECT_EQ(AppLocalization::format("%@%%%@ %2$@ %", {"x"}), "x%%@ %2$@ %");
}

TEST(AppLocalization, translatesCompositeIssueTextsPieceByPiece) {
    EXPECT_EQ(english.issue("无法删除配对（-25300）"), "Could not delete the pairing（-25300）");
    EXPECT_EQ(english.issue("无法发布局域网服务（-26）"),
              "Could not announce this computer on the network（-26）");
    // A prefix without an English entry shows in Chinese, bracket and number unchanged.
    EXPECT_EQ(english.issue("无法保存配对钥匙串（-34018）"), "无法保存配对钥匙串（-34018）");
    // Anything but prefix（whole 64-bit number） is looked up whole.
    for (const std::string_view text :
         {"无法删除配对（abc）", "无法删除配对（）", "无法删除配对（-）", "无法删除配对（1a）",
          "无法删除配对（9223372036854775808）", "无法删除配对(5)", "无法删除配对（5）。"})
        EXPECT_EQ(english.issue(text), text);
    EXPECT_EQ(english.issue("Quillvane Microphone 不可用：驱动版本过旧"),
              "Quillvane Microphone is unavailable: the driver is outdated");
    EXPECT_EQ(english.issue("Quillvane Microphone 不可用：未知原因"),
              "Quillvane Microphone is unavailable: 未知原因");
}
