#include <gtest/gtest.h>

#include "foundation/value_encoding.h"

using namespace marqen;

TEST(PointEncoding, StringFormTakesTheLastUnsignedPair) {
    EXPECT_EQ(CGPointFromNSDictionary(MarqenJSON("{5, 7}")), (CGPoint{5, 7}));
    EXPECT_EQ(CGPointFromNSDictionary(MarqenJSON("{12,3.5}")), (CGPoint{12, 3.5}));
    EXPECT_EQ(CGPointFromNSDictionary(MarqenJSON("{-5, 7}")), CGPointZero);  // the pattern has no sign
    EXPECT_EQ(CGPointFromNSDictionary(MarqenJSON("{1, 2} {3, 4}")), (CGPoint{3, 4}));
    EXPECT_EQ(CGPointFromNSDictionary(MarqenJSON("{-1, 2} {3, 4}")), (CGPoint{3, 4}));
    EXPECT_EQ(CGPointFromNSDictionary(MarqenJSON("5, 7")), CGPointZero);
    EXPECT_EQ(CGPointFromNSDictionary(MarqenJSON("")), CGPointZero);
    EXPECT_EQ(CGPointFromNSDictionary(MarqenJSON("{1., 2}")), CGPointZero);
    EXPECT_EQ(CGPointFromNSDictionary(MarqenJSON("{1.5.5, 2}")), CGPointZero);
    EXPECT_EQ(CGPointFromNSDictionary(MarqenJSON("x{\t1 ,\n2\r}y {3,")), (CGPoint{1, 2}));
    EXPECT_EQ(CGPointFromNSDictionary(MarqenJSON("{{{1,2}}}")), (CGPoint{1, 2}));
}

TEST(PointEncoding, LongStringsAreScannedWithoutDeepRecursion) {
    CGPoint huge = CGPointFromNSDictionary(MarqenJSON("{" + std::string(200000, '1') + ", 2}"));
    EXPECT_TRUE(std::isinf(huge.x));
    EXPECT_EQ(huge.y, 2);
    EXPECT_EQ(CGPointFromNSDictionary(MarqenJSON("{1" + std::string(200000, ' ') + "x")), CGPointZero);
    EXPECT_EQ(CGPointFromNSDictionary(MarqenJSON(std::string(200000, '{'))), CGPointZero);
}

TEST(PointEncoding, DictionaryFormReadsMissingKeysAsZero) {
    EXPECT_EQ(CGPointFromNSDictionary(MarqenJSON{{"x", 3}}), (CGPoint{3, 0}));
    EXPECT_EQ(CGPointFromNSDictionary(MarqenJSON{{"x", 1.5}, {"y", -2}}), (CGPoint{1.5, -2}));
    EXPECT_EQ(CGPointFromNSDictionary(MarqenJSON::array({1, 2})), CGPointZero);
    EXPECT_EQ(NSDictionaryFromCGPoint({1.5, -2}).dump(), R"({"x":1.5,"y":-2.0})");
}

TEST(RectEncoding, WritesTheNormalisedRectangle) {
    EXPECT_EQ(NSDictionaryFromCGRect(CGRectMake(10, 10, -4, -6)).dump(), R"({"x":6.0,"y":4.0,"width":4.0,"height":6.0})");
    EXPECT_EQ(CGRectFromNSDictionary(NSDictionaryFromCGRect(CGRectMake(1, 2, 3, 4))), CGRectMake(1, 2, 3, 4));
}

TEST(RectEncoding, ReaderTreatsNullAndNonDictionariesAsZero) {
    MarqenJSON withNull = MarqenJSON::parse(R"({"x": null, "y": 2, "width": 3, "height": 4})");
    EXPECT_EQ(CGRectFromNSDictionary(withNull), CGRectMake(0, 2, 3, 4));
    EXPECT_EQ(CGRectFromNSDictionary(MarqenJSON("{1, 2, 3, 4}")), CGRectZero);
    EXPECT_EQ(CGRectFromNSDictionary(MarqenJSON::array({1, 2, 3, 4})), CGRectZero);
    EXPECT_EQ(CGRectFromNSDictionary(MarqenJSON{{"width", 5}}), CGRectMake(0, 0, 5, 0));
}

TEST(SizeAndTransformEncoding, MissingKeysReadAsZero) {
    EXPECT_EQ(CGSizeFromDictionary(MarqenJSON{{"width", 7}}), CGSizeMake(7, 0));
    EXPECT_EQ(NSDictionaryFromCGSize({7, 8}).dump(), R"({"width":7.0,"height":8.0})");
    // Without "a" and "d" the transform is degenerate, not the identity.
    MarqenJSON partial{{"b", 0}, {"c", 0}, {"e", 5}, {"f", 6}};
    EXPECT_EQ(CGAffineTransformFromNSDictionary(partial), CGAffineTransformMake(0, 0, 0, 0, 5, 6));
    EXPECT_EQ(CGAffineTransformFromNSDictionary(MarqenJSON::object()), CGAffineTransformMake(0, 0, 0, 0, 0, 0));
    CGAffineTransform t = CGAffineTransformMake(1, 2, 3, 4, 5, 6);
    EXPECT_EQ(NSDictionaryFromCGAffineTransform(t).dump(), R"({"a":1.0,"b":2.0,"c":3.0,"d":4.0,"e":5.0,"f":6.0})");
    EXPECT_EQ(CGAffineTransformFromNSDictionary(NSDictionaryFromCGAffineTransform(t)), t);
}

TEST(NumberEncoding, StringsAndNumbers) {
    EXPECT_EQ(CGFloatFromString("12.5"), 12.5);
    EXPECT_EQ(CGFloatFromString("abc"), 0);
    EXPECT_EQ(CGFloatFromNumber(MarqenJSON(3)), 3);
    EXPECT_EQ(CGPointFromCGSize({2, -3}), (CGPoint{2, -3}));
    EXPECT_EQ(CGSizeFromCGPoint({-2, 3}), CGSizeMake(-2, 3));
}
