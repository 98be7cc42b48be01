#include <gtest/gtest.h>

#include "discovery/ServiceDiscovery.h"

namespace quillvane {
namespace {

const std::string kIdText = "6B1C2A90-5D3E-4F7A-9B21-0C4D8E7F1A23";
const std::string kOtherText = "0F2B9C4D-1111-4A2B-8C3D-9E8F7A6B5C4D";

TEST(TxtRecord, readsEveryKindOfEntryAndWritesTheStringsBack) {
    const std::vector<std::string> strings{"flag", "empty=", "id=" + kIdText,
                                           std::string("raw=\xff\xfe", 6), "eq=a=b"};
    const TxtRecord record = TxtRecord::fromStrings(strings);
    EXPECT_EQ(record.toStrings(), strings);
    EXPECT_EQ(*record.find("flag"), TxtEntry::noValue("flag"));
    EXPECT_EQ(*record.find("empty"), TxtEntry::empty("empty"));
    EXPECT_EQ(*record.find("ID"), TxtEntry::text("id", kIdText));
    EXPECT_EQ(record.find("raw")->kind, TxtEntry::Kind::Data);
    EXPECT_EQ(record.find("eq")->value, "a=b");
    // Strings without a key are skipped; the first entry of a key, in any case, counts.
    const TxtRecord repeated =
        TxtRecord::fromStrings({"", "=x", "ID=" + kIdText, "id=" + kOtherText});
    EXPECT_EQ(repeated.entries().size(), 2u);
    EXPECT_EQ(repeated.find("id")->value, kIdText);
}

TEST(ServiceDiscovery, aTxtIdDecidesAloneAndOnlyWithoutOneTheNameDoes) {
    const Uuid id = *Uuid::parse(kIdText);
    const TxtRecord withoutId{TxtEntry::text("version", "1")};
    const TxtRecord lowerId{TxtEntry::text("id", "6b1c2a90-5d3e-4f7a-9b21-0c4d8e7f1a23")};
    const TxtRecord otherId{TxtEntry::text("id", kOtherText)};
    const std::tuple<std::string, const TxtRecord*, bool> cases[] = {
        {kIdText, nullptr, true},
        {kIdText, &withoutId, true},
        {kOtherText, nullptr, false},
        {"Studio Mac", nullptr, false},
        // A renamed advertisement ("<id> #2" after a collision) is still found by its TXT id.
        {kIdText + " #2", &lowerId, true},
        {kIdText, &otherId, false},
    };
    for (const auto& [name, record, matches] : cases)
        EXPECT_EQ(ServiceDiscovery::matches(name, record, id), matches) << name;

    const TxtRecord unusable[] = {{TxtEntry::text("id", "not-a-uuid")},
                                  {TxtEntry::empty("id")},
                                  {TxtEntry::noValue("id")},
                                  {TxtEntry::data("id", std::string(16, '\xff'))}};
    for (const TxtRecord& record : unusable)
        EXPECT_FALSE(ServiceDiscovery::matches(kIdText, &record, id)) << record.toStrings()[0];
}

} // namespace
} // namespace quillvane
