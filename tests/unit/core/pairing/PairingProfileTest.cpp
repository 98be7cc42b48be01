#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "PairingTestSupport.h"
#include "pairing/PairingProfile.h"
#include "protocol/Unicode.h"

namespace quillvane {
namespace {

using namespace test;

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

TEST(PairingProfileKey, acceptsOnlyLowerCaseHexOfExactLength) {
    const auto key = profile(kStudioID, "Mac").keyData();
    ASSERT_TRUE(key);
    EXPECT_EQ((*key)[1], 0x11);
    EXPECT_EQ((*key)[15], 0xFF);
    EXPECT_EQ((*key)[31], 0x10);

    const std::string secret(kSecret);
    for (const auto& bad : Texts{secret.substr(0, 63) + "F", secret.substr(0, 63), secret + "0",
                                 secret.substr(0, 63) + "g", std::string()})
        EXPECT_FALSE(profile(kStudioID, "Mac", bad).keyData()) << bad;
}

TEST(PairingLink, escapesEveryByteOutsideTheUnreservedSet) {
    EXPECT_EQ(profile(kStudioID, "Studio Mac").url(), kStudioLink);
    const auto url = profile(kStudioID, "a&b=c+d#e%f?g/h~i.j_k-l 工").url();
    EXPECT_NE(url.find("&name=a%26b%3Dc%2Bd%23e%25f%3Fg%2Fh~i.j_k-l%20%E5%B7%A5&"),
              std::string::npos)
        << url;
    EXPECT_EQ(profile(kStudioID, "bad\xFF").url(), "");
}

TEST(PairingLink, roundTripsAnyName) {
    for (const auto& name :
         Texts{"Studio Mac", "", "name=Mac&key=0000", "1+1 = 2", "#1 Mac?", "100% / done",
               "%41%zz%", "王小明的 MacBook Pro", "👨‍👩‍👧‍👦 家庭",
               "🇨🇳🇫🇷 👍🏽 e\u0301", "tab\tnew\nline", repeat("工", 100),
               repeat("🙂", 100), repeat("👍🏽", 60)}) {
        const auto original = profile(kStudioID, name);
        EXPECT_EQ(PairingProfile::parse(original.url()), original) << original.url();
    }
}

TEST(PairingLinkParse, acceptsPastedLinkWithSurroundingWhitespace) {
    for (const auto& pasted : Texts{"  " + kStudioLink, kStudioLink + "\n",
                                    "\t" + kStudioLink + " \r\n", "\u3000" + kStudioLink})
        EXPECT_EQ(PairingProfile::parse(pasted), profile(kStudioID, "Studio Mac")) << pasted;
}

TEST(PairingLinkParse, refusesWhatIsNotAQuillvaneLink) {
    const std::string query = "?" + kId + "&" + kKey;
    for (const auto& text :
         Texts{std::string(), std::string("hello"), "QUILLVANE://pair" + query,
               "quillvane://PAIR" + query, "https://pair" + query, "quillvane:pair" + query,
               "quillvane://" + query, "quillvane://pair:x" + query,
               kStudioLink.substr(0, 40) + " " + kStudioLink.substr(40),
               kStudioLink.substr(0, 40) + "\n" + kStudioLink.substr(40), kStudioLink + "&x=%4",
               kStudioLink + "&x=%G0", kStudioLink + "&x=工", kStudioLink + "&x=%C3"})
        EXPECT_EQ(parseError(text), kNotALink) << text;
}

TEST(PairingLinkParse, ignoresPortUserPathAndFragment) {
    const std::string query = "?" + kId + "&" + kKey;
    for (const auto& text :
         Texts{"quillvane://me@pair:4000/" + query, "quillvane://pair" + query + "#name=Elsewhere"})
        EXPECT_EQ(PairingProfile::parse(text), profile(kStudioID, "Mac")) << text;
}

TEST(PairingLinkParse, reportsMissingIdOrKeyAsIncomplete) {
    for (const auto& text :
         Texts{std::string("quillvane://pair"), linkWith(kKey), linkWith("id&" + kKey),
               linkWith("id=6B1C2A90-5D3E-4F7A-9B21-0C4D8E7F1A2&" + kKey),
               linkWith("id=x&" + kId + "&" + kKey), linkWith(kId + "&key"),
               linkWith(kId + "&Key=" + std::string(kSecret)), linkWith(kId + "#&" + kKey)})
        EXPECT_EQ(parseError(text), kIncomplete) << text;
}

TEST(PairingLinkParse, refusesUnusableKey) {
    const std::string secret(kSecret);
    for (const auto& key :
         Texts{std::string("00112233445566778899AABBCCDDEEFF0123456789ABCDEFFEDCBA9876543210"),
               secret.substr(0, 63), secret + "0", secret.substr(0, 63) + "g", secret + "%20"})
        EXPECT_EQ(parseError(linkWith(kId + "&key=" + key)), kInvalidKey) << key;
}

TEST(PairingLinkParse, takesTheFirstItemOfEachNameInAnyOrder) {
    const auto parsed = PairingProfile::parse(
        linkWith("extra=1&" + kKey + "&name=A+B%2BC%20D%E5%B7%A5&" +
                 "id=6b1c2a90-5d3e-4f7a-9b21-0c4d8e7f1a23&name=Second&key=bad&id=x"));
    EXPECT_EQ(parsed, profile(kStudioID, "A+B+C D工"));
}

TEST(PairingLinkParse, namesMacWhenNameIsMissing) {
    EXPECT_EQ(PairingProfile::parse(linkWith(kId + "&" + kKey)).name, "Mac");
    EXPECT_EQ(PairingProfile::parse(linkWith(kId + "&name&" + kKey)).name, "Mac");
    EXPECT_EQ(PairingProfile::parse(linkWith(kId + "&name=&" + kKey)).name, "");
}

TEST(PairingLinkParse, cutsLongNamesToHundredWholeCharacters) {
    const auto ascii = linkWith(kId + "&name=" + repeat("x", 300) + "&" + kKey);
    EXPECT_EQ(PairingProfile::parse(ascii).name, repeat("x", 100));
    // The hundredth character is a thumb with a skin tone: two code points, kept together.
    const auto emoji = profile(kStudioID, repeat("x", 99) + "👍🏽" + "e\u0301");
    EXPECT_EQ(PairingProfile::parse(emoji.url()).name, repeat("x", 99) + "👍🏽");
}

TEST(PairingLinkParse, refusesTextOf2048CharactersBeforeAnyOtherCheck) {
    // Ideographic spaces are three bytes but one character each, and trimmed once let through.
    const auto padded = [](std::size_t characters) {
        return kStudioLink + repeat("\u3000", characters - kStudioLink.size());
    };
    ASSERT_EQ(characterCount(padded(2047)), 2047u);
    EXPECT_EQ(PairingProfile::parse(padded(2047)), profile(kStudioID, "Studio Mac"));
    EXPECT_EQ(parseError(padded(2048)), kNotALink);

    // Without a key this would be incomplete, but at 2,048 characters it is not even read.
    const std::string keyless = linkWith(kId + "&pad=");
    EXPECT_EQ(parseError(keyless + std::string(2047 - keyless.size(), 'x')), kIncomplete);
    EXPECT_EQ(parseError(keyless + std::string(2048 - keyless.size(), 'x')), kNotALink);
}

TEST(PairingProfileJson, roundTripsWithoutJudgingTheKey) {
    EXPECT_EQ(profile(kStudioID, "S \"M\"").toJson(),
              R"({"id":"6B1C2A90-5D3E-4F7A-9B21-0C4D8E7F1A23","name":"S \"M\"","secret":")" +
                  std::string(kSecret) + "\"}");
    const auto stored = profile(kStudioID, "工作室 🙂", "ABC");
    EXPECT_EQ(PairingProfile::fromJson(stored.toJson()), stored);
    EXPECT_EQ(PairingProfile::fromJson(R"({"secret":"s","x":[{}],"name":"n","id":")" +
                                       kStudioID.toString() + "\"}"),
              profile(kStudioID, "n", "s"));
    EXPECT_THROW(profile(kStudioID, "bad\xC3").toJson(), JsonError);
}

TEST(PairingProfileJson, requiresAllThreeKeysWithTheirTypes) {
    const std::string id = R"("id":"6B1C2A90-5D3E-4F7A-9B21-0C4D8E7F1A23")";
    for (const auto& text :
         Texts{R"({"name":"n","secret":"s"})", "{" + id + R"(,"secret":"s"})",
               "{" + id + R"(,"name":"n"})", R"({"id":"x","name":"n","secret":"s"})",
               "{" + id + R"(,"name":null,"secret":"s"})", "{" + id + R"(,"name":"n","secret":7})",
               "{" + id + R"(,"name":"n","secret":"s"} x)", std::string("[]")})
        EXPECT_THROW(PairingProfile::fromJson(text), JsonError) << text;
}

} // namespace
} // namespace quillvane
