#include <gtest/gtest.h>

#include <numeric>

#include "foundation/base64.h"

using namespace marqen;

namespace {

std::string encode(const std::string &bytes, bool separateLines = false) {
    return NewBase64Encode(bytes.data(), bytes.size(), separateLines);
}

std::string decode(std::string_view text) {
    std::vector<uint8_t> bytes = NewBase64Decode(text);
    return std::string(bytes.begin(), bytes.end());
}

}  // namespace

TEST(Base64Encode, PaddingOfTheFinalGroup) {
    EXPECT_EQ(encode(""), "");
    EXPECT_EQ(encode("f"), "Zg==");
    EXPECT_EQ(encode("fo"), "Zm8=");
    EXPECT_EQ(encode("foo"), "Zm9v");
    EXPECT_EQ(encode("foobar"), "Zm9vYmFy");
    EXPECT_EQ(encode(std::string("\xFB\xFF", 2)), "+/8=");
    EXPECT_EQ(NewBase64Encode(nullptr, 0, true), "");
}

TEST(Base64Encode, LineBreakAfterEvery64CharactersNeverAtTheEnd) {
    std::string full(48, 'a');
    std::string line = encode(full);
    ASSERT_EQ(line.size(), 64u);
    EXPECT_EQ(encode(full, true), line);  // exactly one line: no break
    EXPECT_EQ(encode(full + "a", true), line + "\r\n" + "YQ==");
    EXPECT_EQ(encode(full + full, true), line + "\r\n" + line);
    EXPECT_EQ(encode(full + full + "aa", true), line + "\r\n" + line + "\r\n" + "YWE=");
    EXPECT_EQ(encode(full + full + "a", false), line + line + "YQ==");
}

TEST(Base64Decode, SkipsCharactersOutsideTheAlphabet) {
    EXPECT_EQ(decode("Zm9vYmFy"), "foobar");
    EXPECT_EQ(decode("Zm9v\r\nYm Fy"), "foobar");
    EXPECT_EQ(decode("Zm9v!!!Ym*Fy\t"), "foobar");
    // Padding is skipped like any other character, even in the middle.
    EXPECT_EQ(decode("Zg==Zg=="), std::string("\x66\x06\x60", 3));
    EXPECT_EQ(decode(""), "");
    EXPECT_EQ(decode("===="), "");
}

TEST(Base64Decode, ShortFinalGroups) {
    EXPECT_EQ(decode("Zg=="), "f");
    EXPECT_EQ(decode("Zg"), "f");
    EXPECT_EQ(decode("Zm8="), "fo");
    EXPECT_EQ(decode("Zm8"), "fo");
    EXPECT_EQ(decode("Zm9vY"), "foo");  // a final single character carries no byte
    EXPECT_EQ(decode("Z"), "");
}

TEST(Base64Decode, LargestLengthMeansNulTerminated) {
    const char text[] = "Zm9v\0YmFy";
    std::vector<uint8_t> terminated = NewBase64Decode(text, SIZE_MAX);
    EXPECT_EQ(std::string(terminated.begin(), terminated.end()), "foo");
    std::vector<uint8_t> measured = NewBase64Decode(text, sizeof text - 1);  // the NUL is skipped
    EXPECT_EQ(std::string(measured.begin(), measured.end()), "foobar");
    EXPECT_TRUE(NewBase64Decode(nullptr, SIZE_MAX).empty());
}

TEST(Base64, RoundTripOfEveryByteValue) {
    std::vector<uint8_t> bytes(256 * 3 + 1);
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = uint8_t(i * 7);
    for (bool separateLines : {false, true}) {
        std::string text = NewBase64Encode(bytes.data(), bytes.size(), separateLines);
        EXPECT_EQ(NewBase64Decode(text), bytes);
        EXPECT_EQ(marqen_dataFromBase64String(text), bytes);
    }
}

TEST(Base64, DataFromStringNeedsAnASCIIString) {
    std::vector<uint8_t> foo{'f', 'o', 'o'};
    EXPECT_EQ(marqen_dataFromBase64String("Zm9v"), foo);
    EXPECT_TRUE(marqen_dataFromBase64String("Zm9v\xC3\xA9").empty());
}
