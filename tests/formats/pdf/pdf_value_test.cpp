// Tokens and values: strings with their escapes, names, numbers, references and the log texts.
#include <gtest/gtest.h>

#include "formats/pdf/pdf_file.h"
#include "formats/pdf/pdf_lexer.h"
#include "formats/pdf/pdf_value_parser.h"
#include "support/test_support.h"

namespace marqen {
namespace {

using test::LogCapture;

std::optional<MarqenPDFObject> parse(std::string_view text, size_t *next = nullptr) {
    return MarqenPDFValueParser::makeObjectFromOffset(text, 0, next);
}

TEST(PDFValue, LiteralStringsKeepNestedParenthesesAndDecodeEscapes) {
    auto value = parse("(a(b)c\\)d)");
    ASSERT_TRUE(value && value->asString());
    EXPECT_EQ(value->asString()->string(), "a(b)c)d");
    EXPECT_EQ(value->asString()->encodedStringData(), "(a(b)c\\)d)");

    EXPECT_EQ(parse("(\\101)")->asString()->string(), "A");
    EXPECT_EQ(parse("(\\n\\r\\t\\b\\f\\\\)")->asString()->string(), "\n\r\t\b\f\\");
    EXPECT_EQ(parse("(ab\\\r\ncd\\\nef)")->asString()->string(), "abcdef");
}

TEST(PDFValue, LiteralStringEscapeProblemsAreLogged) {
    LogCapture log;
    EXPECT_EQ(parse("(\\1x)")->asString()->string(), std::string("\x01x"));
    EXPECT_EQ(parse("(\\q)")->asString()->string(), "q");
    EXPECT_FALSE(parse("(never closed"));
    EXPECT_EQ(log.lines(), (std::vector<std::string>{
                               "MarqenPDF: Found string literal with invalid octal escape sequence",
                               "MarqenPDF: Found string literal with unknown backslash escape sequence",
                               "MarqenPDF: Unbounded string found",
                           }));
}

TEST(PDFValue, HexStrings) {
    LogCapture log;
    EXPECT_EQ(parse("<41 4>")->asString()->string(), "A@");
    EXPECT_EQ(parse("<4g1>")->asString()->string(), "A");
    EXPECT_EQ(parse("<4" + std::string(10000, 'z') + "1>")->asString()->string(), "A");  // reported once
    EXPECT_FALSE(parse("<4142"));
    EXPECT_EQ(log.lines(), (std::vector<std::string>{"MarqenPDF: Found invalid hex digit inside hex string",
                                                     "MarqenPDF: Found invalid hex digit inside hex string",
                                                     "MarqenPDF: Unbounded hex string found"}));
}

TEST(PDFValue, NamesDecodeHexEscapes) {
    auto name = parse("/A#20B");
    ASSERT_TRUE(name && name->asName());
    EXPECT_EQ(name->asName()->name(), "A B");
    EXPECT_EQ(name->asName()->encodedName(), "A#20B");
    EXPECT_EQ(MarqenPDFName::marqenPDFNameWithName("A B").encodedName(), "A#20B");
    EXPECT_TRUE(*name->asName() == MarqenPDFName::marqenPDFNameWithName("A B"));

    LogCapture log;
    EXPECT_FALSE(parse("/ "));
    EXPECT_TRUE(log.contains("MarqenPDF: Could not make name from invalid token"));
}

TEST(PDFValue, NumbersAndReferences) {
    size_t next = 0;
    auto reference = parse("12 0 R", &next);
    ASSERT_TRUE(reference && reference->asReference());
    EXPECT_EQ(reference->asReference()->objectNumber, 12u);
    EXPECT_EQ(reference->asReference()->encodedReference(), "12 0 R");
    EXPECT_EQ(reference->asReference()->description(), "@ 12 0 R");
    EXPECT_EQ(next, 6u);

    auto zero = parse("0 0 R", &next);
    ASSERT_TRUE(zero && zero->isInteger());
    EXPECT_EQ(zero->integerValue(), 0);
    EXPECT_EQ(next, 1u);

    auto real = parse("1.5 0 R");
    ASSERT_TRUE(real && real->isReal());
    EXPECT_DOUBLE_EQ(real->doubleValue(), 1.5);
    EXPECT_DOUBLE_EQ(parse("-.25")->doubleValue(), -0.25);
    EXPECT_EQ(parse("+17")->integerValue(), 17);

    EXPECT_TRUE(pdf_lexer::isTokenNumeric("4."));
    EXPECT_FALSE(pdf_lexer::isTokenNumeric("1.2.3"));
    EXPECT_FALSE(pdf_lexer::isTokenNumeric("1e5"));
    LogCapture log;
    EXPECT_FALSE(parse("1.2.3"));
    EXPECT_TRUE(log.contains("MarqenPDF: Found invalid token in object area"));
}

TEST(PDFValue, TokensEndAtDelimitersButNotAtFormFeed) {
    size_t next = 0;
    EXPECT_EQ(pdf_lexer::tokenFromOffset("  abc/def", 0, &next), "abc");
    EXPECT_EQ(next, 5u);
    EXPECT_EQ(pdf_lexer::tokenFromOffset("\fa\fb c", 0, &next), "a\fb");
    EXPECT_EQ(pdf_lexer::tokenFromOffset("<<", 0, &next), "<");
}

TEST(PDFValue, ArraysAndDictionariesSkipBrokenEntries) {
    LogCapture log;
    auto array = parse("[1 ) 2 % comment\n /N]");
    ASSERT_TRUE(array && array->asArray());
    EXPECT_EQ(array->asArray()->size(), 3u);

    auto dictionary = parse("<< /A 1 2 3 /B ) /C (x) >>");
    ASSERT_TRUE(dictionary && dictionary->asDictionary());
    EXPECT_EQ(dictionary->asDictionary()->count(), 2u);
    EXPECT_EQ(dictionary->asDictionary()->objectForKey("A")->integerValue(), 1);
    EXPECT_EQ(dictionary->asDictionary()->objectForKey("C")->asString()->string(), "x");

    auto badEnd = parse("<< /A 1 >");
    ASSERT_TRUE(badEnd && badEnd->asDictionary());
    EXPECT_FALSE(parse("[1 2"));
    EXPECT_FALSE(parse("<< /A 1"));
    EXPECT_EQ(log.lines(), (std::vector<std::string>{
                               "MarqenPDF: Found invalid token in object area",
                               "MarqenPDF: Could not add nil element to array",
                               "MarqenPDF: Could not use non-name dictionary key",
                               "MarqenPDF: Found invalid token in object area",
                               "MarqenPDF: Could not use nil dictionary value",
                               "MarqenPDF: Invalid termination of a dictionary",
                               "MarqenPDF: Unbounded array found",
                               "MarqenPDF: Unbounded dictionary found",
                           }));
}

TEST(PDFValue, DeepNestingIsRefusedWithoutExhaustingTheStack) {
    LogCapture log;
    std::string deep(100000, '[');
    EXPECT_FALSE(parse(deep));
    EXPECT_TRUE(log.contains("MarqenPDF: Objects nest deeper than 100 levels"));
    std::string fine = std::string(50, '[') + std::string(50, ']');
    EXPECT_TRUE(parse(fine));
}

TEST(PDFValue, EncodedObjectWritesEveryKind) {
    MarqenPDFDictionary dictionary;
    dictionary.setObject(MarqenPDFObject::name("Page"), "Type");
    dictionary.setObject(MarqenPDFObject(MarqenPDFArray{MarqenPDFObject(0), MarqenPDFObject(0.5),
                                                        MarqenPDFObject(612.0), MarqenPDFObject(-1.25)}),
                         "MediaBox");
    dictionary.setObject(MarqenPDFObject(MarqenPDFIndirectReference{7, 2}), "Parent");
    dictionary.setObject(MarqenPDFObject(true), "Flag");
    dictionary.setObject(MarqenPDFObject(), "Nothing");
    dictionary.setObject(MarqenPDFObject(MarqenPDFString::stringWithString("a(b)")), "Title");
    dictionary.setObject(MarqenPDFObject::name("A B"), "Odd");
    EXPECT_EQ(MarqenPDF::encodedObject(MarqenPDFObject(dictionary)),
              "<< /Type /Page /MediaBox [ 0 0.5 612 -1.25 ] /Parent 7 2 R /Flag true /Nothing null "
              "/Title (a\\(b\\)) /Odd /A#20B >>");

    auto stream = std::make_shared<const MarqenPDFStream>(MarqenPDFDictionary(), std::string("q Q"));
    EXPECT_EQ(MarqenPDF::encodedObject(MarqenPDFObject(stream)), "<< /Length 3 >>\nstream\nq Q\nendstream");

    // Parsed values write back as they stood.
    auto parsed = parse("<< /K#23 <414243> /S (x\\)) >>");
    EXPECT_EQ(MarqenPDF::encodedObject(*parsed), "<< /K#23 <414243> /S (x\\)) >>");
}

TEST(PDFValue, FlateRoundTripAndCompressedStreamInfo) {
    MarqenPDFDictionary info;
    info.setObject(MarqenPDFObject::name("XObject"), "Type");
    info.setObject(MarqenPDFObject(MarqenPDFDictionary()), "DecodeParms");
    MarqenPDFStream plain(info, std::string(5000, 'x'));
    auto compressed = plain.streamCompressedWithFlate();
    ASSERT_TRUE(compressed);
    EXPECT_LT(compressed->rawData().size(), 100u);
    EXPECT_TRUE(compressed->streamInfo().objectForKey("Filter")->isName("FlateDecode"));
    EXPECT_EQ(compressed->streamInfo().objectForKey("DecodeParms"), nullptr);
    EXPECT_EQ(compressed->streamInfo().objectForKey("Length")->integerValue(), int64_t(compressed->rawData().size()));
    ASSERT_TRUE(compressed->stream());
    EXPECT_EQ(*compressed->stream(), std::string(5000, 'x'));
}

TEST(PDFValue, DictionariesKeepOrderAndLookupsAcrossTheIndexedSize) {
    const size_t many = MarqenPDFDictionary::kIndexedAbove + 8;
    MarqenPDFDictionary dictionary;
    for (size_t i = 0; i < many; ++i) dictionary.setObject(MarqenPDFObject(int64_t(i)), "K" + std::to_string(i));
    auto keys = [](const MarqenPDFDictionary &d) {
        std::string list;
        for (const auto &[name, value] : d) list += name.name() + "=" + std::to_string(value.integerValue()) + " ";
        return list;
    };
    ASSERT_EQ(dictionary.count(), many);
    for (size_t i = 0; i < many; ++i) {
        const MarqenPDFObject *value = dictionary.objectForKey("K" + std::to_string(i));
        ASSERT_TRUE(value) << i;
        EXPECT_EQ(value->integerValue(), int64_t(i));
    }
    EXPECT_FALSE(dictionary.objectForKey("K"));
    // Replacing keeps the position, also when the name is given encoded another way ("#4B" is "K").
    dictionary.setObject(MarqenPDFObject(100), MarqenPDFName::nameWithEncodedName("#4B15"));
    EXPECT_EQ(dictionary.count(), many);
    EXPECT_EQ(dictionary.objectForKey("K15")->integerValue(), 100);
    MarqenPDFDictionary copy = dictionary;
    // Removing down past the indexed size and adding again: every lookup still finds its entry.
    for (size_t i = 0; i < many; i += 2) dictionary.removeObjectForKey("K" + std::to_string(i));
    dictionary.setObject(MarqenPDFObject(7), "New");
    std::string expected;
    for (size_t i = 1; i < many; i += 2) expected += "K" + std::to_string(i) + "=" + (i == 15 ? "100" : std::to_string(i)) + " ";
    EXPECT_EQ(keys(dictionary), expected + "New=7 ");
    EXPECT_FALSE(dictionary.objectForKey("K0"));
    EXPECT_EQ(dictionary.objectForKey("K17")->integerValue(), 17);
    EXPECT_EQ(dictionary.objectForKey("New")->integerValue(), 7);
    // The copy made before is untouched, and its own lookups work.
    EXPECT_EQ(copy.count(), many);
    EXPECT_EQ(copy.objectForKey("K0")->integerValue(), 0);
    EXPECT_FALSE(copy.objectForKey("New"));
    copy = dictionary;
    EXPECT_EQ(keys(copy), keys(dictionary));
    EXPECT_EQ(copy.objectForKey("New")->integerValue(), 7);
}

TEST(PDFValue, AParsedDictionaryWithManyAndRepeatedKeys) {
    std::string text = "<<";
    for (int i = 0; i < 40; ++i) text += " /N" + std::to_string(i) + " " + std::to_string(i);
    text += " /N3 (again) >>";
    auto value = MarqenPDFValueParser::makeObjectFromOffset(text, 0, nullptr);
    ASSERT_TRUE(value && value->asDictionary());
    const MarqenPDFDictionary &dictionary = *value->asDictionary();
    EXPECT_EQ(dictionary.count(), 40u);
    EXPECT_EQ(dictionary.objectForKey("N39")->integerValue(), 39);
    ASSERT_TRUE(dictionary.objectForKey("N3")->asString());
    EXPECT_EQ(std::next(dictionary.begin(), 3)->first.name(), "N3");
}

TEST(PDFValue, NestedContainersAndUnfinishedOnesLeaveNothingForTheNextParse) {
    auto encoded = [](std::string_view text) {
        auto value = MarqenPDFValueParser::makeObjectFromOffset(text, 0, nullptr);
        return value ? MarqenPDF::encodedObject(*value) : std::string("(nothing)");
    };
    EXPECT_EQ(encoded("[1 [2 3] << /A [4 5] /B << /C 6 >> /A 9 >> 7 []]"),
              "[ 1 [ 2 3 ] << /A 9 /B << /C 6 >> >> 7 [ ] ]");
    // Unfinished containers at several depths: their values are dropped, and the next parse starts clean.
    EXPECT_EQ(encoded("[1 [2 << /D [3"), "(nothing)");
    EXPECT_EQ(encoded("<< /E << /F [4 5 >> >>"), "(nothing)");
    EXPECT_EQ(encoded("[8 << /G 9 >>]"), "[ 8 << /G 9 >> ]");
    // A container larger than what the parser keeps between parses, then small ones again.
    std::string many = "[";
    for (int i = 0; i < 5000; ++i) many += " " + std::to_string(i);
    many += " ]";
    auto value = MarqenPDFValueParser::makeObjectFromOffset(many, 0, nullptr);
    ASSERT_TRUE(value && value->asArray());
    ASSERT_EQ(value->asArray()->size(), 5000u);
    EXPECT_EQ((*value->asArray())[4999].integerValue(), 4999);
    EXPECT_EQ(encoded("<< /H [1] >>"), "<< /H [ 1 ] >>");
}

}  // namespace
}  // namespace marqen
