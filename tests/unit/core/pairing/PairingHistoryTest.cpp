#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "PairingTestSupport.h"
#include "pairing/PairingHistory.h"

using namespace quillvane;
using namespace quillvane::test;

namespace {

constexpr const char* kInvalidRecord = "设备连接记录无效或版本不兼容";

std::string stored(std::string_view version, std::string_view profiles,
                   std::string_view selected = "") {
    return "{\"version\":" + std::string(version) + ",\"profiles\":[" + std::string(profiles) +
           "]" + std::string(selected) + "}";
}

} // namespace

TEST(PairingHistory, rescanningReplacesInPlaceAndRemovingTheSelectedLeavesNoneSelected) {
    PairingHistory history;
    history.add(profile(kStudioID, "Studio"));
    history.add(profile(kOfficeID, "Office"));
    history.add(profile(kStudioID, "Studio 2", kOtherSecret));
    EXPECT_EQ(history.profiles(), (std::vector{profile(kStudioID, "Studio 2", kOtherSecret),
                                               profile(kOfficeID, "Office")}));
    EXPECT_EQ(history.selectedID(), kStudioID);
    // Refused changes leave everything as it was.
    const auto before = history;
    EXPECT_EQ(padErrorOf([&] { history.add(profile(kAtticID, "Attic", "ABC")); }), "配对密钥无效");
    EXPECT_EQ(padErrorOf([&] { history.select(kAtticID); }), "此设备的配对记录已移除");
    EXPECT_EQ(history, before);
    history.remove(kStudioID);
    EXPECT_EQ(history.selected(), nullptr);
}

TEST(PairingHistoryStored, migratesASingleStoredProfileOnce) {
    const auto mac = profile(kStudioID, "Studio");
    const auto legacy = PairingHistory::decodeStored(mac.toJson());
    EXPECT_TRUE(legacy.legacy);
    EXPECT_EQ(legacy.history.profiles(), std::vector{mac});
    EXPECT_EQ(legacy.history.selectedID(), kStudioID);
    // Rewritten in the current form, it reads back as it is.
    const std::string current = legacy.history.toJson();
    EXPECT_EQ(current,
              stored("1", mac.toJson(), R"(,"selectedID":")" + kStudioID.toString() + "\""));
    const auto decoded = PairingHistory::decodeStored(current);
    EXPECT_FALSE(decoded.legacy);
    EXPECT_EQ(decoded.history, legacy.history);
}

TEST(PairingHistoryStored, refusesBrokenRecordsWhole) {
    const std::string studio = profile(kStudioID, "S").toJson();
    const std::string office = profile(kOfficeID, "O").toJson();
    for (const auto& text : Texts{stored("2", studio), stored("1", studio + "," + studio),
                                  stored("1", studio + "," + profile(kOfficeID, "O", "A").toJson()),
                                  stored("1", studio + "," + office,
                                         R"(,"selectedID":")" + kAtticID.toString() + "\"")}) {
        EXPECT_EQ(padErrorOf([&] { PairingHistory::decodeStored(text); }), kInvalidRecord) << text;
        EXPECT_EQ(padErrorOf([&] { PairingHistory::fromJson(text); }), kInvalidRecord) << text;
    }
    EXPECT_THROW(PairingHistory::decodeStored(R"({"version":"1","profiles":[]})"), JsonError);
}
