#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "PairingTestSupport.h"
#include "pairing/PairingProfile.h"

using namespace quillvane;
using namespace quillvane::test;

namespace {

constexpr const char* kNotALink = "请扫描或粘贴 Quillvane Mac 端配对码";
constexpr const char* kIncomplete = "配对码不完整";
constexpr const char* kInvalidKey = "配对密钥无效";

const std::string kId = "id=" + kStudioID.toString();
const std::string kKey = "key=" + std::string(kSecret);
const std::string kStudioLink = "quillvane://pair?" + kId + "&name=Studio%20Mac&" + kKey;

std::string linkWith(std::string_view query) {
    return "quillvane://pair?" + std::string(query);
}

std::string parseError(const std::string& text) {
    return padErrorOf([&] { PairingProfile::parse(text); });
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
               kStudioLink + "&x=%4", kStudioLink + "&x=工", kStudioLink + "&x=%C3"})
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
        {linkWith(kId + "&" + kKey), profile(kStudioID, "Mac")},
        {linkWith("extra=1&" + kKey + "&name=A+B%2BC%20D%E5%B7%A5&" +
                  "id=6b1c2a90-5d3e-4f7a-9b21-0c4d8e7f1a23&name=Second&key=bad&id=x"),
         profile(kStudioID, "A+B+C D工")},
        {linkWith(kId + "&name=" + repeat("x", 300) + "&" + kKey),
         profile(kStudioID, repeat("x", 100))},
    };
    for (const auto& [text, expected] : accepted)
        EXPECT_EQ(PairingProfile::parse(text), expected) << text;
}

TEST(PairingLinkParse, refusesTextOf2048Characters) {
    // Ideographic spaces are three bytes but one character each, and would be trimmed away if the
    // length were not checked first.
    const auto padded = [](std::size_t characters) {
        return kStudioLink + repeat("\u3000", characters - kStudioLink.size());
    };
    EXPECT_EQ(PairingProfile::parse(padded(2047)), profile(kStudioID, "Studio Mac"));
    EXPECT_EQ(parseError(padded(2048)), kNotALink);
}

TEST(PairingProfileJson, keepsTheStoredFormWithoutJudgingTheKey) {
    const auto stored = profile(kStudioID, "S \"M\"", "ABC");
    EXPECT_EQ(stored.toJson(),
              R"({"id":"6B1C2A90-5D3E-4F7A-9B21-0C4D8E7F1A23","name":"S \"M\"","secret":"ABC"})");
    EXPECT_EQ(PairingProfile::fromJson(stored.toJson()), stored);
    EXPECT_THROW(PairingProfile::fromJson(R"({"name":"n","secret":"s"})"), JsonError);
}
