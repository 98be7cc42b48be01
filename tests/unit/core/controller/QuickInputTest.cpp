#include <gtest/gtest.h>

#include "controller/QuickInput.h"

using namespace quillvane;

namespace {

std::string repeated(std::string_view piece, std::size_t count) {
    std::string out;
    for (std::size_t i = 0; i < count; ++i)
        out.append(piece);
    return out;
}

} // namespace

TEST(QuickInput, needsALabelAndATextTheComputerAccepts) {
    // The limit counts UTF-16 code units: an emoji takes two, a Chinese character one. White
    // space is still text to type.
    const Uuid id = Uuid::fromRandomBytes({1});
    for (const QuickInput& input :
         {QuickInput{id, "签名", "此致"}, {id, "label", " "}, {id, "l", repeated("世", 4096)}})
        EXPECT_TRUE(input.isValid()) << input.label;
    for (const QuickInput& input : {QuickInput{id, "\n\t\u3000", "text"},
                                    {id, "label", ""},
                                    {id, "l", repeated("世", 4097)},
                                    {id, "l", repeated("👋", 2048) + "a"},
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
