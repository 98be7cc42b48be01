#include <gtest/gtest.h>

#include "controller/QuickInput.h"
#include "protocol/PadError.h"

using namespace quillvane;

namespace {

Uuid idNumber(std::uint8_t n) {
    Uuid::Bytes16 bytes{};
    bytes[15] = n;
    return Uuid(bytes);
}

std::string repeated(std::string_view piece, std::size_t count) {
    std::string out;
    for (std::size_t i = 0; i < count; ++i)
        out.append(piece);
    return out;
}

} // namespace

TEST(QuickInput, needsALabelAndATextTheComputerAccepts) {
    EXPECT_TRUE((QuickInput{idNumber(1), "签名", "此致"}.isValid()));
    EXPECT_FALSE((QuickInput{idNumber(1), "   ", "text"}.isValid()));
    EXPECT_FALSE((QuickInput{idNumber(1), "\n\t\u3000", "text"}.isValid()));
    EXPECT_FALSE((QuickInput{idNumber(1), "label", ""}.isValid()));
    // Whitespace-only text is still text to type.
    EXPECT_TRUE((QuickInput{idNumber(1), "label", " "}.isValid()));
    // The limit counts UTF-16 code units: an emoji takes two, a Chinese character one.
    EXPECT_TRUE((QuickInput{idNumber(1), "l", repeated("世", 4096)}.isValid()));
    EXPECT_FALSE((QuickInput{idNumber(1), "l", repeated("世", 4097)}.isValid()));
    EXPECT_TRUE((QuickInput{idNumber(1), "l", repeated("👋", 2048)}.isValid()));
    EXPECT_FALSE((QuickInput{idNumber(1), "l", repeated("👋", 2048) + "a"}.isValid()));
    EXPECT_FALSE((QuickInput{idNumber(1), "l", "\xe4\xb8"}.isValid()));
}

TEST(QuickInput, roundTripsThroughJson) {
    const std::vector<QuickInput> inputs = {
        {idNumber(1), "地址", "北京市\n海淀区"},
        {idNumber(2), "quote \"q\" \\", "tab\there \x01"},
    };
    EXPECT_EQ(QuickInput::load(QuickInput::encode(inputs)), inputs);
    EXPECT_EQ(QuickInput::encode({}), "[]");
    EXPECT_THROW(QuickInput::encode({{idNumber(1), "l", "\xff"}}), JsonError);
}

TEST(QuickInput, dropsInvalidEntriesOnLoad) {
    const std::vector<QuickInput> stored = {
        {idNumber(1), "   ", "blank label"},
        {idNumber(2), "keep", "first"},
        {idNumber(3), "long", repeated("a", 4097)},
        {idNumber(4), "empty", ""},
        {idNumber(5), "keep", "second"},
    };
    const auto loaded = QuickInput::load(QuickInput::encode(stored));
    ASSERT_EQ(loaded.size(), 2u);
    EXPECT_EQ(loaded[0], stored[1]);
    EXPECT_EQ(loaded[1], stored[4]);
}

TEST(QuickInput, keepsTheFirstValidEntryOfAnId) {
    const std::vector<QuickInput> stored = {
        {idNumber(7), "", "invalid, so it does not claim the id"},
        {idNumber(7), "first", "a"},
        {idNumber(8), "other", "b"},
        {idNumber(7), "second", "c"},
    };
    const auto loaded = QuickInput::load(QuickInput::encode(stored));
    ASSERT_EQ(loaded.size(), 2u);
    EXPECT_EQ(loaded[0].label, "first");
    EXPECT_EQ(loaded[1].label, "other");
}

TEST(QuickInput, loadsNothingFromTextThatDoesNotDecode) {
    const std::string good = "{\"id\":\"00000000-0000-0000-0000-000000000001\",\"label\":\"A\","
                             "\"text\":\"1\"}";
    EXPECT_EQ(QuickInput::load("[" + good + "]").size(), 1u);
    for (const std::string& text : {
             std::string(),
             std::string("null"),
             good,
             "[" + good + ",{\"id\":\"00000000-0000-0000-0000-000000000002\",\"label\":\"B\"}]",
             "[" + good +
                 ",{\"id\":\"00000000-0000-0000-0000-000000000002\",\"label\":\"B\","
                 "\"text\":5}]",
             "[" + good + "] []",
         })
        EXPECT_TRUE(QuickInput::load(text).empty()) << text;
}
