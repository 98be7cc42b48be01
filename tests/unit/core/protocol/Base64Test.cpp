#include <gtest/gtest.h>

#include "protocol/Base64.h"

using namespace quillvane;

TEST(Base64, writesTheStandardFormAndReadsNothingElse) {
    EXPECT_EQ(base64Encode(Bytes{'f', 'o', 'o', 'b'}), "Zm9vYg==");
    EXPECT_EQ(base64Encode(Bytes{0xFB, 0xEF, 0xFF}), "++//");
    Bytes all(258);
    for (std::size_t i = 0; i < all.size(); ++i)
        all[i] = static_cast<std::uint8_t>(i * 37 + 11);
    // No padding, two and one padding characters, over several quartets.
    for (std::size_t size : {0, 256, 257, 258}) {
        const Bytes bytes(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(size));
        Bytes decoded{9};
        ASSERT_TRUE(base64Decode(base64Encode(bytes), decoded)) << size;
        EXPECT_EQ(decoded, bytes);
    }
    Bytes out;
    for (std::string_view bad :
         {"Zg", "Zg=", "Zg===", "====", "Zm9v\n", "Zm9-", "Zh==", "Zm9=Zm9v", "Zm=v"})
        EXPECT_FALSE(base64Decode(bad, out)) << bad;
}
