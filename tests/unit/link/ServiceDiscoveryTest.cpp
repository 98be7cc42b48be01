#include <gtest/gtest.h>

#include "discovery/ServiceDiscovery.h"

namespace quillvane {
namespace {

const Uuid kId = *Uuid::parse("6B1C2A90-5D3E-4F7A-9B21-0C4D8E7F1A23");
const Uuid kOther = *Uuid::parse("0F2B9C4D-1111-4A2B-8C3D-9E8F7A6B5C4D");
const std::string kIdText = "6B1C2A90-5D3E-4F7A-9B21-0C4D8E7F1A23";

TEST(TxtRecord, readsEveryKindOfEntry) {
    const TxtRecord record = TxtRecord::fromStrings(
        {"flag", "empty=", "id=" + kIdText, std::string("raw=\xff\xfe", 6), "eq=a=b"});
    ASSERT_EQ(record.entries().size(), 5u);
    EXPECT_EQ(record.find("flag")->kind, TxtEntry::Kind::NoValue);
    EXPECT_EQ(record.find("empty")->kind, TxtEntry::Kind::Empty);
    EXPECT_EQ(*record.find("id"), TxtEntry::text("id", kIdText));
    EXPECT_EQ(record.find("raw")->kind, TxtEntry::Kind::Data);
    EXPECT_EQ(record.find("raw")->value, "\xff\xfe");
    EXPECT_EQ(record.find("eq")->value, "a=b");
}

TEST(TxtRecord, skipsStringsWithoutKeyAndKeepsTheFirstOfAKeyInAnyCase) {
    const TxtRecord record =
        TxtRecord::fromStrings({"", "=orphan", "ID=" + kIdText, "id=something-else"});
    ASSERT_EQ(record.entries().size(), 2u);
    ASSERT_NE(record.find("id"), nullptr);
    EXPECT_EQ(record.find("id")->value, kIdText);
}

TEST(TxtRecord, writesTheStringsItReads) {
    const std::vector<std::string> strings{"flag", "empty=", "version=1",
                                           std::string("raw=\x80", 5)};
    EXPECT_EQ(TxtRecord::fromStrings(strings).toStrings(), strings);
}

TEST(ServiceDiscovery, advertisesTheIdInUpperCaseAsNameAndTxt) {
    const ServiceAdvertisement advertisement =
        ServiceDiscovery::advertisement(*Uuid::parse("6b1c2a90-5d3e-4f7a-9b21-0c4d8e7f1a23"));
    EXPECT_EQ(advertisement.name, kIdText);
    EXPECT_EQ(advertisement.type, "_quillvane._tcp");
    EXPECT_EQ(advertisement.txt.toStrings(),
              (std::vector<std::string>{"id=" + kIdText, "version=1"}));
}

TEST(ServiceDiscovery, matchesByNameWhenThereIsNoRecordOrNoId) {
    EXPECT_TRUE(ServiceDiscovery::matches(kIdText, nullptr, kId));
    const TxtRecord withoutId{TxtEntry::text("version", "1")};
    EXPECT_TRUE(ServiceDiscovery::matches(kIdText, &withoutId, kId));
    EXPECT_FALSE(ServiceDiscovery::matches(kIdText, nullptr, kOther));
    EXPECT_FALSE(ServiceDiscovery::matches("Studio Mac", nullptr, kId));
}

TEST(ServiceDiscovery, aTxtIdDecidesAloneEvenAgainstTheName) {
    // A renamed advertisement ("<id> #2" after a collision) is still found by its TXT id.
    const TxtRecord record{TxtEntry::text("id", kIdText)};
    EXPECT_TRUE(ServiceDiscovery::matches(kIdText + " #2", &record, kId));
    EXPECT_EQ(ServiceDiscovery::profileID("anything", &record), kId);
    const TxtRecord lower{TxtEntry::text("id", "6b1c2a90-5d3e-4f7a-9b21-0c4d8e7f1a23")};
    EXPECT_TRUE(ServiceDiscovery::matches("anything", &lower, kId));
    const TxtRecord other{TxtEntry::text("id", kOther.toString())};
    EXPECT_FALSE(ServiceDiscovery::matches(kIdText, &other, kId));
}

TEST(ServiceDiscovery, anUnusableTxtIdNeverMatchesEvenWithTheRightName) {
    const std::vector<TxtRecord> records{
        {TxtEntry::text("id", "not-a-uuid")},
        {TxtEntry::empty("id")},
        {TxtEntry::noValue("id")},
        {TxtEntry::data("id", std::string(16, '\xff'))},
    };
    for (const TxtRecord& record : records) {
        EXPECT_EQ(ServiceDiscovery::profileID(kIdText, &record), std::nullopt)
            << record.toStrings().front();
        EXPECT_FALSE(ServiceDiscovery::matches(kIdText, &record, kId));
    }
}

} // namespace
} // namespace quillvane
