#include <gtest/gtest.h>

#include "protocol/Unicode.h"

using namespace quillvane;

TEST(Unicode, validatesUtf8Strictly) {
    EXPECT_TRUE(isValidUtf8("plain, 世界, 👋"));
    EXPECT_FALSE(isValidUtf8("\xc0\xaf"));         // overlong "/"
    EXPECT_FALSE(isValidUtf8("\xed\xa0\x80"));     // surrogate
    EXPECT_FALSE(isValidUtf8("\xf4\x90\x80\x80")); // above U+10FFFF
    EXPECT_FALSE(isValidUtf8("\xe4\xb8"));         // cut short
    EXPECT_FALSE(isValidUtf8("\x80"));
}

TEST(Unicode, countsUtf16UnitsLikeThePhone) {
    EXPECT_EQ(utf16Length("abc"), 3u);
    EXPECT_EQ(utf16Length("世界"), 2u);
    EXPECT_EQ(utf16Length("👋"), 2u);
}

TEST(Unicode, keepsUserPerceivedCharactersWhole) {
    EXPECT_EQ(characterCount("e\u0301"), 1u);                      // e + combining acute
    EXPECT_EQ(characterCount("👍🏽"), 1u);                           // skin tone
    EXPECT_EQ(characterCount("👩‍👩‍👧"), 1u);                           // zero-width joiners
    EXPECT_EQ(characterCount("🇨🇳🇫🇷"), 2u);                           // two flags
    EXPECT_EQ(characterCount("\r\n"), 1u);
    EXPECT_EQ(characterPrefix("ab👩‍👩‍👧cd", 3), "ab👩‍👩‍👧");
    EXPECT_EQ(characterPrefix("世界", 5), "世界");
}

TEST(Unicode, trimsUnicodeWhiteSpaceAtBothEnds) {
    EXPECT_EQ(trimWhitespace(" \t\n quillvane://pair \r\n\u3000"), "quillvane://pair");
    EXPECT_EQ(trimWhitespace("   "), "");
    EXPECT_EQ(trimWhitespace("a b"), "a b");
}
