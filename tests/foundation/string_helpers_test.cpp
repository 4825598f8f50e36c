#include <gtest/gtest.h>

#include "foundation/string_helpers.h"
#include "foundation/unicode_alphanumerics.h"
#include "foundation/utf8.h"

using namespace marqen;

TEST(SanitizedFilename, ReplacesEachOfTheSeparatorCharacters) {
    EXPECT_EQ(marqen_sanitizedFilename("a.png"), "a_png");
    EXPECT_EQ(marqen_sanitizedFilename(":/?#[]@!$&'()*+,;= ~\\\"<>|%."), std::string(27, '_'));
    EXPECT_EQ(marqen_sanitizedFilename("../../etc/passwd"), "______etc_passwd");
    // Characters outside the set stay, including other whitespace and non-ASCII letters.
    EXPECT_EQ(marqen_sanitizedFilename("-_^`{}\t"), "-_^`{}\t");
    EXPECT_EQ(marqen_sanitizedFilename("Résumé 2024"), "Résumé_2024");
    EXPECT_EQ(marqen_sanitizedFilename("plain"), "plain");
    EXPECT_EQ(marqen_sanitizedFilename(""), "");
}

TEST(SanitizedFilename, CutsAt240Characters) {
    std::string longName(300, 'a');
    EXPECT_EQ(marqen_sanitizedFilename(longName), std::string(240, 'a'));
    EXPECT_EQ(marqen_sanitizedFilename(std::string(240, 'b')), std::string(240, 'b'));
    EXPECT_EQ(marqen_sanitizedFilename(std::string(241, 'b')), std::string(240, 'b'));
    // Lengths count UTF-16 units: 239 + é (one unit) fit exactly.
    EXPECT_EQ(marqen_sanitizedFilename(std::string(239, 'a') + "é" + "xyz"), std::string(239, 'a') + "é");
    // An emoji takes two units; one that would straddle the limit is left out whole.
    EXPECT_EQ(marqen_sanitizedFilename(std::string(239, 'a') + "😀b"), std::string(239, 'a'));
    EXPECT_EQ(marqen_sanitizedFilename(std::string(238, 'a') + "😀b"), std::string(238, 'a') + "😀");
    // 120 emoji are 240 units and are not cut.
    std::string emoji;
    for (int i = 0; i < 120; ++i) emoji += "😀";
    EXPECT_EQ(marqen_sanitizedFilename(emoji), emoji);
}

TEST(SanitizedTitleForURL, KeepsAlphanumericsAndItsPunctuation) {
    EXPECT_EQ(marqen_sanitizedTitleForURL("Hello World"), "Hello-World");
    EXPECT_EQ(marqen_sanitizedTitleForURL("a  b"), "a--b");  // runs are not collapsed
    EXPECT_EQ(marqen_sanitizedTitleForURL("$-_@.&+!*\"'(),"), "$-_@.&+!*\"'(),");
    EXPECT_EQ(marqen_sanitizedTitleForURL("a/b?c#d:e;f=g%h~i"), "a-b-c-d-e-f-g-h-i");
    EXPECT_EQ(marqen_sanitizedTitleForURL("Café №5"), "Café--5");
    EXPECT_EQ(marqen_sanitizedTitleForURL("e\xCC\x81"), "e\xCC\x81");  // a combining mark is kept
    EXPECT_EQ(marqen_sanitizedTitleForURL("٣ 日本"), "٣-日本");
    EXPECT_EQ(marqen_sanitizedTitleForURL("a😀b"), "a-b");
}

TEST(UTF8, MalformedSequencesBecomeReplacementCharacters) {
    EXPECT_EQ(marqen_decodeUTF8("a\xFF" "b"), std::u32string(U"a\uFFFDb"));
    EXPECT_EQ(marqen_decodeUTF8("\xC0\xAF"), std::u32string(U"\uFFFD"));    // overlong "/"
    EXPECT_EQ(marqen_decodeUTF8("\xED\xA0\x80"), std::u32string(U"\uFFFD"));  // a surrogate
    EXPECT_EQ(marqen_decodeUTF8("\xE2\x82"), std::u32string(U"\uFFFD"));    // truncated
    EXPECT_EQ(marqen_decodeUTF8("\xE2\x82x"), std::u32string(U"\uFFFDx"));
    EXPECT_EQ(marqen_sanitizedFilename("a\xFF/"), "a\xEF\xBF\xBD_");
    EXPECT_EQ(marqen_encodeUTF8(marqen_decodeUTF8("Grüße 😀")), "Grüße 😀");
    EXPECT_EQ(marqen_UTF16Length(U"a😀é"), 4u);
}

TEST(UnicodeAlphanumerics, LettersMarksAndNumbers) {
    EXPECT_TRUE(marqen_isUnicodeAlphanumeric(U'a'));
    EXPECT_TRUE(marqen_isUnicodeAlphanumeric(U'Z'));
    EXPECT_TRUE(marqen_isUnicodeAlphanumeric(U'0'));
    EXPECT_TRUE(marqen_isUnicodeAlphanumeric(U'²'));
    EXPECT_TRUE(marqen_isUnicodeAlphanumeric(0x0301));   // combining acute accent
    EXPECT_TRUE(marqen_isUnicodeAlphanumeric(0x1D400));  // mathematical bold A
    EXPECT_FALSE(marqen_isUnicodeAlphanumeric(U' '));
    EXPECT_FALSE(marqen_isUnicodeAlphanumeric(U'_'));
    EXPECT_FALSE(marqen_isUnicodeAlphanumeric(0x1F600));
    EXPECT_FALSE(marqen_isUnicodeAlphanumeric(0));
    EXPECT_FALSE(marqen_isUnicodeAlphanumeric(0x10FFFF));
}
