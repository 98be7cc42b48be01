#include <gtest/gtest.h>

#include "controller/PointerGuideHistory.h"
#include "controller/PointerGuideMode.h"
#include "controller/QuickInput.h"
#include "controller/QuickKey.h"
#include "unit/core/CoreTestSupport.h"

using namespace quillvane;

namespace {

// Hands out ids 1, 2, 3, … so tests can tell fresh ids from stored ones.
struct CountingIds {
    std::uint8_t next = 0;
    Uuid operator()() {
        Uuid::Bytes16 bytes{};
        bytes[15] = ++next;
        return Uuid(bytes);
    }
};

std::vector<QuickKey> lettered(std::string_view letters) {
    std::vector<QuickKey> keys;
    CountingIds ids{200};
    for (const char letter : letters)
        keys.push_back({ids(), std::string(1, letter), static_cast<std::uint16_t>(letter), 0});
    return keys;
}

} // namespace

TEST(PointerGuide, namesTheVideoForTheResolvedLanguageAndKeepsAFlagPerMode) {
    // The language is resolved as everywhere else; the choice of name is this code's own.
    EXPECT_EQ(
        videoResource(PointerGuideMode::trackpad, AppLanguage::system, {"fr-FR", "zh_Hant_TW"}),
        "Quillvane-Trackpad-zh-CN");
    EXPECT_EQ(videoResource(PointerGuideMode::air, AppLanguage::system, {"de-DE"}),
              "Quillvane-AirMouse-en");
    EXPECT_EQ(videoResource(PointerGuideMode::air, AppLanguage::simplifiedChinese, {"en"}),
              "Quillvane-AirMouse-zh-CN");
    // The page keeps these flags in the browser's storage: a changed key plays every guide again.
    EXPECT_EQ(PointerGuideHistory::seenKey(PointerGuideMode::air), "pointerGuide.seen.air");
    EXPECT_EQ(PointerGuideHistory::seenKey(PointerGuideMode::trackpad),
              "pointerGuide.seen.trackpad");
}

TEST(QuickInput, needsALabelAndATextTheComputerAccepts) {
    // The limit counts UTF-16 code units: an emoji takes two, a Chinese character one. White
    // space is still text to type.
    const Uuid id = Uuid::fromRandomBytes({1});
    for (const QuickInput& input :
         {QuickInput{id, "签名", "此致"}, {id, "label", " "}, {id, "l", repeat("世", 4096)}})
        EXPECT_TRUE(input.isValid()) << input.label;
    for (const QuickInput& input : {QuickInput{id, "\n\t\u3000", "text"},
                                    {id, "label", ""},
                                    {id, "l", repeat("世", 4097)},
                                    {id, "l", repeat("👋", 2048) + "a"},
                                    {id, "l", "\xe4\xb8"}})
        EXPECT_FALSE(input.isValid()) << input.label << ": " << input.text.substr(0, 9);
}

TEST(QuickInput, loadKeepsTheFirstValidEntryOfEachIdAndNothingOfBadText) {
    const Uuid first = Uuid::fromRandomBytes({1});
    const std::vector<QuickInput> stored = {
        {first, "   ", "blank label, so it does not claim the id"},
        {first, "地址", "北京市\n海淀区 \"q\" \\"},
        {Uuid::fromRandomBytes({3}), "long", std::string(4097, 'a')},
        {Uuid::fromRandomBytes({2}), "other", "b"},
        {first, "again", "c"},
    };
    EXPECT_EQ(QuickInput::load(QuickInput::encode(stored)),
              (std::vector<QuickInput>{stored[1], stored[3]}));

    // Not a list, an entry that does not decode, or text after the list: nothing at all.
    const std::string good = QuickInput::encode({{Uuid::fromRandomBytes({1}), "A", "1"}});
    EXPECT_EQ(QuickInput::load(good).size(), 1u);
    for (const std::string& text :
         {std::string(), std::string("null"), good.substr(1, good.size() - 2),
          good.substr(0, good.size() - 1) + R"(,{"id":"x","label":"B","text":"2"}])", good + " []"})
        EXPECT_TRUE(QuickInput::load(text).empty()) << text;
}

TEST(QuickKey, loadsThirteenKeysAndOtherwiseFallsBackToFreshDefaults) {
    const auto thirteen = lettered("ABCDEFGHIJKLM");
    CountingIds ids;
    EXPECT_EQ(QuickKey::load(QuickKey::encode(thirteen), std::ref(ids)), thirteen);
    // Four keys go into the middle row (the controller core's test under Node checks that); any
    // other count, and text that does not decode, give the defaults.
    const std::vector<std::string> texts = {
        QuickKey::encode(lettered("ABCDEFGHIJKL")),
        "",
        R"([{"id":"00000000-0000-0000-0000-000000000001","label":"A","code":1}])",
        R"([{"id":"00000000-0000-0000-0000-000000000001","label":"A","code":65536,"flags":0}])",
        QuickKey::encode(lettered("ABCD")) + "x",
    };
    // Every default key gets a fresh id, as the defaults made with fresh ids have.
    CountingIds defaultIds;
    const auto defaults = QuickKey::defaults(std::ref(defaultIds));
    ASSERT_EQ(defaultIds.next, 13);
    for (const auto& text : texts) {
        CountingIds freshIds;
        EXPECT_EQ(QuickKey::load(text, std::ref(freshIds)), defaults) << text;
    }
}
