#include <gtest/gtest.h>

#include <set>

#include "controller/QuickKey.h"
#include "protocol/PadError.h"

using namespace quillvane;

namespace {

// Hands out ids 1, 2, 3, … so tests can tell fresh ids from stored ones.
struct CountingIds {
    std::uint8_t next = 0;
    int calls = 0;
    Uuid operator()() {
        ++calls;
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

TEST(QuickKey, defaultsAreTheThirteenKeysWithFreshIds) {
    CountingIds ids;
    const auto keys = QuickKey::defaults(std::ref(ids));
    ASSERT_EQ(keys.size(), 13u);
    EXPECT_EQ(labels(keys), kDefaultLabels);
    const std::vector<std::pair<std::uint16_t, std::uint64_t>> expected = {
        {53, 0},       {48, 0},       {48, 0x20000}, {51, 0},  {6, 0x100000},
        {6, 0x120000}, {8, 0x100000}, {9, 0x100000}, {123, 0}, {125, 0},
        {126, 0},      {124, 0},      {36, 0}};
    std::set<Uuid> distinct;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        EXPECT_EQ(keys[i].code, expected[i].first) << keys[i].label;
        EXPECT_EQ(keys[i].flags, expected[i].second) << keys[i].label;
        distinct.insert(keys[i].id);
    }
    EXPECT_EQ(distinct.size(), 13u);
    EXPECT_NE(QuickKey::defaults(std::ref(ids))[0].id, keys[0].id);
}

TEST(QuickKey, loadsThirteenStoredKeysAsStored) {
    const auto stored = lettered("ABCDEFGHIJKLM");
    CountingIds ids;
    EXPECT_EQ(QuickKey::load(QuickKey::encode(stored), std::ref(ids)), stored);
    EXPECT_EQ(ids.calls, 0);
}

TEST(QuickKey, carriesFourStoredKeysIntoTheMiddleRow) {
    const auto stored = lettered("ABCD");
    CountingIds ids;
    const auto keys = QuickKey::load(QuickKey::encode(stored), std::ref(ids));
    EXPECT_EQ(labels(keys), (std::vector<std::string>{"esc", "tab ⇥", "⇧ tab", "⌫", "A", "B", "C",
                                                      "D", "←", "↓", "↑", "→", "↵"}));
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_EQ(keys[4 + i], stored[i]);
    EXPECT_EQ(keys[0].code, 53);
}

TEST(QuickKey, fallsBackToDefaultsForOtherCountsAndBadText) {
    const std::vector<std::string> texts = {
        QuickKey::encode(lettered("ABCDEFGHIJKL")),
        QuickKey::encode(lettered("ABC")),
        "[]",
        "",
        "[{\"id\":\"00000000-0000-0000-0000-000000000001\",\"label\":\"A\",\"code\":1}]",
        "[{\"id\":\"not-a-uuid\",\"label\":\"A\",\"code\":1,\"flags\":0}]",
        "[{\"id\":\"00000000-0000-0000-0000-000000000001\",\"label\":\"A\",\"code\":65536,"
        "\"flags\":0}]",
        QuickKey::encode(lettered("ABCD")) + "x",
        "[\"\xff\"]",
    };
    for (const auto& text : texts) {
        CountingIds ids;
        EXPECT_EQ(labels(QuickKey::load(text, std::ref(ids))), kDefaultLabels) << text;
        EXPECT_EQ(ids.calls, 13) << text;
    }
}

TEST(QuickKey, readsStoredIdsInEitherCaseAndIgnoresUnknownKeys) {
    const std::string key = "{\"flags\":1179648,\"extra\":[1,{}],\"code\":6,\"label\":\"⌘⇧Z\","
                            "\"id\":\"a1b2c3d4-0000-4000-8000-00000000000f\"}";
    std::string text = "[";
    for (int i = 0; i < 4; ++i)
        text += (i ? "," : "") + key;
    text += "]";
    CountingIds ids;
    const auto keys = QuickKey::load(text, std::ref(ids));
    EXPECT_EQ(keys[5].id.toString(), "A1B2C3D4-0000-4000-8000-00000000000F");
    EXPECT_EQ(keys[5].flags, 0x120000u);
    EXPECT_EQ(keys[5].label, "⌘⇧Z");
}
