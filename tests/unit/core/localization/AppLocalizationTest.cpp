#include <gtest/gtest.h>

#include <map>

#include "localization/AppLocalization.h"

using namespace quillvane;

namespace {

const std::map<std::string, std::string, std::less<>> kEnglish = {
    {"已连接", "Connected"},
    {"%@ 已连接", "%@ connected"},
    {"%1$@ 发给 %2$@", "to %2$@ from %1$@"},
    {"无法删除配对", "Could not delete the pairing"},
    {"无法打开所选音频设备", "Could not open the selected audio device"},
    {"Quillvane Microphone 不可用：%@", "Quillvane Microphone is unavailable: %@"},
    {"驱动版本过旧", "the driver is outdated"},
    {"音量 100%", "Volume 100%"},
};

AppLocalization::Catalogue englishCatalogue() {
    return [](std::string_view key) -> std::optional<std::string> {
        const auto found = kEnglish.find(key);
        if (found == kEnglish.end())
            return std::nullopt;
        return found->second;
    };
}

// Hands out the English table only, as the application does: Chinese is the keys themselves.
AppLocalization::Catalogue catalogueFor(AppLanguage language) {
    return language == AppLanguage::english ? englishCatalogue() : nullptr;
}

AppLocalization english() {
    return AppLocalization(AppLanguage::english, catalogueFor, {});
}
AppLocalization chinese() {
    return AppLocalization(AppLanguage::simplifiedChinese, catalogueFor, {});
}

} // namespace

TEST(AppLocalization, looksUpInTheResolvedLanguageWithTheKeyAsFallback) {
    EXPECT_EQ(english()("已连接"), "Connected");
    EXPECT_EQ(english()("未配对"), "未配对");
    EXPECT_EQ(chinese()("已连接"), "已连接");

    AppLanguage asked = AppLanguage::system;
    const AppLocalization followingSystem(AppLanguage::system,
                                          [&](AppLanguage language) {
                                              asked = language;
                                              return catalogueFor(language);
                                          },
                                          {"fr-FR", "zh_TW"});
    EXPECT_EQ(asked, AppLanguage::simplifiedChinese);
    EXPECT_EQ(followingSystem.language(), AppLanguage::simplifiedChinese);
    EXPECT_EQ(followingSystem("已连接"), "已连接");
}

TEST(AppLocalization, formatsTextArguments) {
    EXPECT_EQ(english()("%@ 已连接", "iPhone"), "iPhone connected");
    EXPECT_EQ(chinese()("%@ 已连接", std::string("张三的 iPhone")), "张三的 iPhone 已连接");
    EXPECT_EQ(english().text(AppMessage("%1$@ 发给 %2$@", {"A", "B"})), "to B from A");
    // Without arguments the text is not a format: a percent sign stays single.
    EXPECT_EQ(english()("音量 100%"), "Volume 100%");
    EXPECT_EQ(english().text("音量 100%"), "Volume 100%");
    // An argument is inserted as it is, never read as a format itself.
    EXPECT_EQ(english()("%@ 已连接", "100%@"), "100%@ connected");

    const std::vector<std::string_view> one = {"x"};
    EXPECT_EQ(AppLocalization::format("%@%%%@ %d %", one), "x%%@ %d %");
    EXPECT_EQ(AppLocalization::format("%2$@|%1$@|%0$@|%1$", one), "%2$@|x|%0$@|%1$");
    EXPECT_EQ(AppLocalization::format("%99999999999999999999999$@", one),
              "%99999999999999999999999$@");
}

TEST(AppLocalization, translatesStatusFailuresKeepingTheNumber) {
    EXPECT_EQ(english().issue("无法删除配对（-25300）"), "Could not delete the pairing（-25300）");
    EXPECT_EQ(english().issue("无法打开所选音频设备（+7）"),
              "Could not open the selected audio device（+7）");
    EXPECT_EQ(english().issue("无法删除配对（-9223372036854775808）"),
              "Could not delete the pairing（-9223372036854775808）");
    // A prefix without an English entry shows in Chinese, bracket and number unchanged.
    EXPECT_EQ(english().issue("无法保存配对钥匙串（-34018）"), "无法保存配对钥匙串（-34018）");
}

TEST(AppLocalization, looksUpMalformedStatusTextsWhole) {
    for (const std::string_view text : {
             "无法删除配对（abc）",
             "无法删除配对（）",
             "无法删除配对（-）",
             "无法删除配对（1 2）",
             "无法删除配对（9223372036854775808）",
             "无法删除配对（-9223372036854775809）",
             "无法删除配对(5)",
             "无法删除配对（5）。",
             "请无法删除配对（5）",
         })
        EXPECT_EQ(english().issue(text), text);
}

TEST(AppLocalization, translatesTheMicrophoneReasonInsideItsFrame) {
    EXPECT_EQ(english().issue("Quillvane Microphone 不可用：驱动版本过旧"),
              "Quillvane Microphone is unavailable: the driver is outdated");
    EXPECT_EQ(english().issue("Quillvane Microphone 不可用：未知原因"),
              "Quillvane Microphone is unavailable: 未知原因");
    EXPECT_EQ(chinese().issue("Quillvane Microphone 不可用：驱动版本过旧"),
              "Quillvane Microphone 不可用：驱动版本过旧");
    EXPECT_EQ(english().issue("已连接"), "Connected");
}
