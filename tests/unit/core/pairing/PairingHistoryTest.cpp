#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "PairingTestSupport.h"
#include "pairing/PairingHistory.h"

namespace quillvane {
namespace {

using namespace test;

constexpr const char* kInvalidRecord = "设备连接记录无效或版本不兼容";

PairingHistory studioAndOffice() {
    PairingHistory history;
    history.add(profile(kStudioID, "Studio"));
    history.add(profile(kOfficeID, "Office", kOtherSecret));
    return history;
}

std::vector<std::string> namesOf(const PairingHistory& history) {
    std::vector<std::string> names;
    for (const auto& p : history.profiles())
        names.push_back(p.name);
    return names;
}

std::string stored(std::string_view version, std::string_view profiles,
                   std::string_view selectedID = "") {
    std::string text =
        "{\"version\":" + std::string(version) + ",\"profiles\":[" + std::string(profiles) + "]";
    if (!selectedID.empty())
        text += ",\"selectedID\":" + std::string(selectedID);
    return text + "}";
}

std::string quoted(const Uuid& id) {
    return "\"" + id.toString() + "\"";
}

TEST(PairingHistory, addingSelectsAndRescanningReplacesInPlace) {
    auto history = studioAndOffice();
    EXPECT_EQ(history.selected()->name, "Office");
    history.add(profile(kAtticID, "Attic"));
    history.add(profile(kStudioID, "Studio 2", kOtherSecret));
    EXPECT_EQ(namesOf(history), (std::vector<std::string>{"Studio 2", "Office", "Attic"}));
    EXPECT_EQ(history.profiles().front().secret, kOtherSecret);
    EXPECT_EQ(history.selectedID(), kStudioID);
}

TEST(PairingHistory, refusedChangesLeaveEverythingAsItWas) {
    auto history = studioAndOffice();
    const auto before = history;
    EXPECT_EQ(padErrorOf([&] { history.add(profile(kAtticID, "Attic", "ABC")); }), "配对密钥无效");
    EXPECT_EQ(padErrorOf([&] { history.select(kAtticID); }), "此设备的配对记录已移除");
    history.remove(kAtticID);
    EXPECT_EQ(history, before);
}

TEST(PairingHistory, removingTheSelectedMacLeavesNothingSelected) {
    auto history = studioAndOffice();
    history.remove(kOfficeID);
    EXPECT_EQ(namesOf(history), std::vector<std::string>{"Studio"});
    EXPECT_FALSE(history.selectedID());
    EXPECT_EQ(history.selected(), nullptr);
    history.select(kStudioID);
    EXPECT_EQ(history.selected()->name, "Studio");
}

TEST(PairingHistoryStored, writesAndReadsBackTheCurrentForm) {
    auto history = studioAndOffice();
    history.select(kStudioID);
    const std::string profiles =
        profile(kStudioID, "Studio").toJson() + "," + history.profiles()[1].toJson();
    EXPECT_EQ(history.toJson(), stored("1", profiles, quoted(kStudioID)));
    history.remove(kStudioID);
    EXPECT_EQ(history.toJson(), stored("1", history.profiles()[0].toJson()));

    for (const auto& text : Texts{stored("1", profiles, quoted(kStudioID)), stored("1", profiles),
                                  stored("1", profiles, "null")}) {
        const auto decoded = PairingHistory::decodeStored(text);
        EXPECT_FALSE(decoded.legacy);
        EXPECT_EQ(decoded.history.profiles().size(), 2u);
        EXPECT_EQ(PairingHistory::decodeStored(decoded.history.toJson()).history, decoded.history);
    }
    EXPECT_FALSE(PairingHistory::decodeStored(stored("1", profiles, "null")).history.selectedID());
}

TEST(PairingHistoryStored, migratesASingleStoredProfileOnce) {
    const auto mac = profile(kStudioID, "Studio");
    const auto decoded = PairingHistory::decodeStored(mac.toJson());
    EXPECT_TRUE(decoded.legacy);
    EXPECT_EQ(decoded.history.profiles(), std::vector<PairingProfile>{mac});
    EXPECT_EQ(decoded.history.selectedID(), kStudioID);
    EXPECT_FALSE(PairingHistory::decodeStored(decoded.history.toJson()).legacy);

    const auto broken = profile(kStudioID, "Studio", "abc").toJson();
    EXPECT_EQ(padErrorOf([&] { PairingHistory::decodeStored(broken); }), "配对密钥无效");
}

TEST(PairingHistoryStored, refusesBrokenRecordsWhole) {
    const std::string studio = profile(kStudioID, "S").toJson();
    const std::string office = profile(kOfficeID, "O").toJson();
    for (const auto& text : Texts{stored("2", studio), stored("0", ""),
                                  stored("1", studio + "," + office + "," + studio),
                                  stored("1", studio + "," + profile(kOfficeID, "O", "A").toJson()),
                                  stored("1", studio + "," + office, quoted(kAtticID))}) {
        EXPECT_EQ(padErrorOf([&] { PairingHistory::decodeStored(text); }), kInvalidRecord) << text;
        EXPECT_EQ(padErrorOf([&] { PairingHistory::fromJson(text); }), kInvalidRecord) << text;
    }
}

TEST(PairingHistoryStored, reportsMalformedJsonBeforeAnyRule) {
    const std::string studio = profile(kStudioID, "S").toJson();
    for (const auto& text : Texts{std::string(), std::string("{"), stored("1", studio) + "x",
                                  stored("1", studio) + "{}", std::string(R"({"version":2})"),
                                  std::string(R"({"version":"1","profiles":[]})"),
                                  std::string(R"({"version":1.0,"profiles":[]})"),
                                  std::string(R"({"version":1,"profiles":[{"id":"x"}]})"),
                                  stored("2", studio, "\"not-a-uuid\""), stored("1", studio, "7"),
                                  std::string(R"({"profiles":[]})"), std::string("[]")})
        EXPECT_THROW(PairingHistory::decodeStored(text), JsonError) << text;
}

} // namespace
} // namespace quillvane
