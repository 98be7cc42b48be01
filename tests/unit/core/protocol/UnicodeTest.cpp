#include <gtest/gtest.h>

#include "protocol/Unicode.h"

using namespace quillvane;

TEST(Unicode, validatesUtf8StrictlyAndKeepsUserPerceivedCharactersWhole) {
    EXPECT_TRUE(isValidUtf8("plain, 世界, 👋"));
    // Overlong "/", a surrogate, above U+10FFFF, cut short, a lone continuation byte.
    for (std::string_view bad :
         {"\xc0\xaf", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xe4\xb8", "\x80"})
        EXPECT_FALSE(isValidUtf8(bad)) << bad;
    // Combining accent, skin tone, zero-width joiners, two flags, CR LF.
    EXPECT_EQ(characterCount("e\u0301👍🏽👩‍👩‍👧🇨🇳🇫🇷\r\n"), 6u);
    EXPECT_EQ(characterPrefix("ab👩‍👩‍👧cd", 3), "ab👩‍👩‍👧");
}
