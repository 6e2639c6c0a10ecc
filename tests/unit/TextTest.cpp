#include "platform/Text.h"

#include <gtest/gtest.h>

using namespace platform;

TEST(Text, InvalidBytesBecomeReplacementCharacters) {
    EXPECT_EQ(repairedUTF8("plain é €"), "plain é €");
    EXPECT_EQ(repairedUTF8("a\xff\x62"), "a\uFFFDb");
    EXPECT_EQ(repairedUTF8("\xe2\x82"), "\uFFFD") << "one for a sequence cut short";
    EXPECT_EQ(repairedUTF8("\xed\xa0\x80"), "\uFFFD\uFFFD\uFFFD") << "a surrogate";
    EXPECT_EQ(repairedUTF8({"\0x", 2}), std::string("\0x", 2));
}

TEST(Text, UnitsScalarsAndClusters) {
    const std::string family = "👨‍👩‍👧‍👦";
    EXPECT_EQ(utf16Units("é😀"), u"é😀");
    EXPECT_EQ(unicodeScalars("é😀"), U"é😀");
    EXPECT_EQ(graphemeClusters("ae\u0301" + family),
              (std::vector<std::u16string>{u"a", u"e\u0301", u"👨‍👩‍👧‍👦"}));
    EXPECT_TRUE(graphemeClusters("").empty());
}

TEST(Text, LowerCaseCanChangeTheLength) {
    EXPECT_EQ(lowercased("ÄSS"), "äss");
    EXPECT_EQ(lowercased("İ"), "i\u0307");
}
