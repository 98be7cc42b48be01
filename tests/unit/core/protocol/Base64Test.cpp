#include <gtest/gtest.h>

#include "protocol/Base64.h"

using namespace quillvane;

TEST(Base64, matchesTheStandardVectorsBothWays) {
    const std::pair<std::string_view, std::string_view> vectors[] = {
        {"", ""},         {"f", "Zg=="},         {"fo", "Zm8="},        {"foo", "Zm9v"},
        {"foob", "Zm9vYg=="}, {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"},
    };
    for (const auto& [plain, encoded] : vectors) {
        const Bytes bytes(plain.begin(), plain.end());
        EXPECT_EQ(base64Encode(bytes), encoded);
        Bytes decoded{9};
        ASSERT_TRUE(base64Decode(encoded, decoded)) << encoded;
        EXPECT_EQ(decoded, bytes);
    }
}

TEST(Base64, roundTripsEveryByteValueAtEveryLength) {
    Bytes bytes;
    for (int n = 0; n < 300; ++n) {
        bytes.push_back(static_cast<std::uint8_t>(n * 37 + 11));
        Bytes decoded;
        ASSERT_TRUE(base64Decode(base64Encode(bytes), decoded));
        ASSERT_EQ(decoded, bytes);
    }
}

TEST(Base64, refusesAnythingButTheCanonicalForm) {
    Bytes out;
    for (std::string_view bad : {"Zg", "Zg=", "Zg===", "Z===", "====", "Zm9v\n", "Zm 9", "Zm9-",
                                 "Zm9_", "Zh==", "Zm9=Zm9v", "Zg==Zg==", "Zm=v"}) {
        EXPECT_FALSE(base64Decode(bad, out)) << bad;
    }
}
