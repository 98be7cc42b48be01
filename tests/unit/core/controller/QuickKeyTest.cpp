#include <gtest/gtest.h>

#include "controller/QuickKey.h"

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

std::vector<std::string> labels(const std::vector<QuickKey>& keys) {
    std::vector<std::string> out;
    for (const auto& key : keys)
        out.push_back(key.label);
    return out;
}

std::vector<QuickKey> lettered(std::string_view letters) {
    std::vector<QuickKey> keys;
    CountingIds ids{200};
    for (const char letter : letters)
        keys.push_back({ids(), std::string(1, letter), static_cast<std::uint16_t>(letter), 0});
    return keys;
}

const std::vector<std::string> kDefaultLabels = {"esc", "tab ⇥", "⇧ tab", "⌫", "⌘Z", "⌘⇧Z", "⌘C",
                                                 "⌘V",  "←",     "↓",     "↑", "→",  "↵"};

} // namespace

TEST(QuickKey, loadsThirteenKeysCarriesFourIntoTheMiddleRowAndOtherwiseFallsBack) {
    const auto thirteen = lettered("ABCDEFGHIJKLM");
    CountingIds ids;
    EXPECT_EQ(QuickKey::load(QuickKey::encode(thirteen), std::ref(ids)), thirteen);

    const auto four = lettered("ABCD");
    const auto keys = QuickKey::load(QuickKey::encode(four), std::ref(ids));
    EXPECT_EQ(labels(keys), (std::vector<std::string>{"esc", "tab ⇥", "⇧ tab", "⌫", "A", "B", "C",
                                                      "D", "←", "↓", "↑", "→", "↵"}));
    EXPECT_EQ(std::vector(keys.begin() + 4, keys.begin() + 8), four);

    // Any other count, and text that does not decode, give the defaults.
    const std::vector<std::string> texts = {
        QuickKey::encode(lettered("ABCDEFGHIJKL")),
        "",
        R"([{"id":"00000000-0000-0000-0000-000000000001","label":"A","code":1}])",
        R"([{"id":"00000000-0000-0000-0000-000000000001","label":"A","code":65536,"flags":0}])",
        QuickKey::encode(lettered("ABCD")) + "x",
    };
    for (const auto& text : texts) {
        CountingIds freshIds;
        EXPECT_EQ(labels(QuickKey::load(text, std::ref(freshIds))), kDefaultLabels) << text;
        EXPECT_EQ(freshIds.next, 13) << "every default key gets a fresh id";
    }
}
