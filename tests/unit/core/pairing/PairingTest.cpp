#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "pairing/ConnectionResume.h"
#include "pairing/HostPresence.h"
#include "pairing/PairingHistory.h"
#include "pairing/PairingProfile.h"
#include "unit/core/CoreTestSupport.h"

using namespace quillvane;

namespace {

constexpr std::string_view kSecret =
    "00112233445566778899aabbccddeeff0123456789abcdeffedcba9876543210";
constexpr std::string_view kOtherSecret =
    "ffeeddccbbaa99887766554433221100ffeeddccbbaa99887766554433221100";

using Texts = std::vector<std::string>;

const Uuid kStudioID = *Uuid::parse("6B1C2A90-5D3E-4F7A-9B21-0C4D8E7F1A23");
const Uuid kOfficeID = *Uuid::parse("0F4E1B22-8C7D-4A10-B3E5-92D6C1A07F58");
const Uuid kAtticID = *Uuid::parse("A1B2C3D4-E5F6-4789-8ABC-DEF012345678");

PairingProfile profile(const Uuid& id, std::string name, std::string_view secret = kSecret) {
    return PairingProfile{id, std::move(name), std::string(secret)};
}

constexpr const char* kNotALink = "请扫描或粘贴 Quillvane 电脑端配对码";
constexpr const char* kIncomplete = "配对码不完整";
constexpr const char* kInvalidKey = "配对密钥无效";

const std::string kId = "id=" + kStudioID.toString();
const std::string kKey = "key=" + std::string(kSecret);
const std::string kStudioLink = "quillvane://pair?" + kId + "&name=Studio%20Mac&" + kKey;

std::string linkWith(std::string_view query) {
    return "quillvane://pair?" + std::string(query);
}

// The Studio link padded to `characters` with ideographic spaces: three bytes but one character
// each, and trimmed away if the length were not checked first.
std::string padded(std::size_t characters) {
    return kStudioLink + repeat("\u3000", characters - kStudioLink.size());
}

std::string parseError(const std::string& text) {
    return padErrorOf([&] { PairingProfile::parse(text); });
}

constexpr const char* kInvalidRecord = "设备连接记录无效或版本不兼容";

std::string stored(std::string_view version, std::string_view profiles,
                   std::string_view selected = "") {
    return "{\"version\":" + std::string(version) + ",\"profiles\":[" + std::string(profiles) +
           "]" + std::string(selected) + "}";
}

} // namespace

TEST(PairingLink, escapesEveryByteOutsideTheUnreservedSetAndRoundTripsAnyName) {
    EXPECT_EQ(profile(kStudioID, "Studio Mac").url(), kStudioLink);
    const auto url = profile(kStudioID, "a&b=c+d#e%f?g/h~i.j_k-l 工").url();
    EXPECT_NE(url.find("&name=a%26b%3Dc%2Bd%23e%25f%3Fg%2Fh~i.j_k-l%20%E5%B7%A5&"),
              std::string::npos)
        << url;
    for (const auto& name :
         Texts{"", "name=Mac&key=0000", "1+1 = 2", "#1 Mac?", "100% / done", "%41%zz%",
               "王小明的 MacBook Pro", "👨‍👩‍👧‍👦 家庭", "tab\tnew\nline",
               repeat("工", 100), repeat("👍🏽", 60)}) {
        const auto original = profile(kStudioID, name);
        EXPECT_EQ(PairingProfile::parse(original.url()), original) << original.url();
    }
}

TEST(PairingLinkParse, refusesEachFaultWithItsOwnText) {
    const std::string query = "?" + kId + "&" + kKey;
    for (const auto& text :
         Texts{"hello", "QUILLVANE://pair" + query, "quillvane://PAIR" + query,
               "https://pair" + query, kStudioLink.substr(0, 40) + " " + kStudioLink.substr(40),
               kStudioLink + "&x=%4", kStudioLink + "&x=工", kStudioLink + "&x=%C3", padded(2048)})
        EXPECT_EQ(parseError(text), kNotALink) << text;

    for (const auto& text :
         Texts{"quillvane://pair", linkWith(kKey), linkWith("id&" + kKey),
               linkWith("id=6B1C2A90-5D3E-4F7A-9B21-0C4D8E7F1A2&" + kKey), linkWith(kId + "&key"),
               linkWith(kId + "&Key=" + std::string(kSecret))})
        EXPECT_EQ(parseError(text), kIncomplete) << text;

    const std::string secret(kSecret);
    for (const auto& key : Texts{"00112233445566778899AABBCCDDEEFF0123456789ABCDEFFEDCBA9876543210",
                                 secret.substr(0, 63), secret + "0", secret.substr(0, 63) + "g"})
        EXPECT_EQ(parseError(linkWith(kId + "&key=" + key)), kInvalidKey) << key;
    // The accepted lower-case form decodes high nibble first.
    EXPECT_EQ(profile(kStudioID, "Mac").keyData().value()[31], 0x10);
}

TEST(PairingLinkParse, readsPastedLinksAndTheFirstItemOfEachName) {
    const std::pair<std::string, PairingProfile> accepted[] = {
        {"\u3000 " + kStudioLink + " \r\n", profile(kStudioID, "Studio Mac")},
        {padded(2047), profile(kStudioID, "Studio Mac")},
        {linkWith(kId + "&" + kKey), profile(kStudioID, "电脑")},
        {linkWith("extra=1&" + kKey + "&name=A+B%2BC%20D%E5%B7%A5&" +
                  "id=6b1c2a90-5d3e-4f7a-9b21-0c4d8e7f1a23&name=Second&key=bad&id=x"),
         profile(kStudioID, "A+B+C D工")},
        {linkWith(kId + "&name=" + repeat("x", 300) + "&" + kKey),
         profile(kStudioID, repeat("x", 100))},
    };
    for (const auto& [text, expected] : accepted)
        EXPECT_EQ(PairingProfile::parse(text), expected) << text;
}

TEST(PairingProfileJson, keepsTheStoredFormWithoutJudgingTheKey) {
    const auto stored = profile(kStudioID, "S \"M\"", "ABC");
    EXPECT_EQ(stored.toJson(),
              R"({"id":"6B1C2A90-5D3E-4F7A-9B21-0C4D8E7F1A23","name":"S \"M\"","secret":"ABC"})");
    EXPECT_EQ(PairingProfile::fromJson(stored.toJson()), stored);
    EXPECT_THROW(PairingProfile::fromJson(R"({"name":"n","secret":"s"})"), JsonError);
}

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
    // It is the one profile, selected; rewritten in the current form, it reads back as it is.
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

TEST(Presence, resumesOnceUnlessCancelledAndShowsOnlyTheCurrentPassAndTheConnectedMac) {
    ConnectionResume resume;
    resume.suspend(true);
    resume.suspend(false);
    EXPECT_TRUE(resume.takeResume());
    EXPECT_FALSE(resume.takeResume());
    resume.suspend(true);
    resume.cancel();
    EXPECT_FALSE(resume.takeResume());

    const Uuid kFirstPass = Uuid::fromRandomBytes({1}), kSecondPass = Uuid::fromRandomBytes({2});
    HostPresence presence;
    presence.begin(kFirstPass);
    presence.begin(kSecondPass);
    presence.update({kOfficeID}, kFirstPass);
    EXPECT_TRUE(presence.searching());
    // A result replaces the set and ends the search, even an empty one.
    presence.update({kStudioID, kOfficeID}, kSecondPass);
    presence.update({}, kSecondPass);
    EXPECT_FALSE(presence.searching());
    EXPECT_TRUE(presence.onlineIDs().empty());
    EXPECT_TRUE(presence.isOnline(kOfficeID, kOfficeID));
}
