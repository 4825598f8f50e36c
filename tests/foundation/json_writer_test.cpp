// Events written through the text writer give the bytes of dumping the value the builder makes of the same
// events, in every layout; the builder keeps a repeated key in its first place.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "foundation/json_text_writer.h"
#include "foundation/json_writer.h"

using namespace marqen;

namespace {

std::string dumped(const MarqenJSON &value, int indent) {
    return value.dump(indent, ' ', false, MarqenJSON::error_handler_t::replace);
}

// Nested objects and arrays, empty ones, every kind of number, strings needing escapes or replacement, a
// key that needs escaping, and a ready-made value written whole at depth.
void writeSample(MarqenJSONWriter &writer) {
    writer.beginObject();
    writer.stringMember("type", "Sample");
    writer.key("numbers");
    writer.beginArray();
    for (double number : {0.0, -0.0, 1.0, 0.1, 1e-7, 123456789012345678.0, 1e300, -2.5})
        writer.number(number);
    writer.number(std::numeric_limits<double>::quiet_NaN());
    writer.number(std::numeric_limits<double>::infinity());
    writer.integer(-42);
    writer.integer(std::numeric_limits<int64_t>::min());
    writer.unsignedInteger(std::numeric_limits<uint64_t>::max());
    writer.endArray();
    writer.key("empty object");
    writer.beginObject();
    writer.endObject();
    writer.key("empty array");
    writer.beginArray();
    writer.endArray();
    writer.stringMember("tab\tand \"quote\"", "line\nbreak \\ \x01 \xc3\xa9 bad \xff\xfe end");
    writer.key("nested");
    writer.beginArray();
    writer.beginObject();
    writer.valueMember("ready", MarqenJSON{{"a", {1, 2, MarqenJSON::object()}}, {"b", "x"}});
    writer.endObject();
    writer.value(MarqenJSON::array());
    writer.value(nullptr);
    writer.string("");
    writer.endArray();
    writer.endObject();
}

}  // namespace

TEST(MarqenJSONWriter, TextIsTheDumpOfTheBuiltValueInEveryLayout) {
    MarqenJSONBuilder builder;
    writeSample(builder);
    MarqenJSON built = builder.take();
    ASSERT_TRUE(built.is_object());
    ASSERT_EQ(built.size(), 6u);
    EXPECT_TRUE(built["numbers"][8].is_number_float());
    EXPECT_TRUE(built["numbers"][10].is_number_integer());
    EXPECT_TRUE(built["numbers"][12].is_number_unsigned());
    for (int indent : {-1, 0, 1, 2, 4}) {
        SCOPED_TRACE(indent);
        std::string text = "prefix ";
        MarqenJSONTextWriter writer(text, indent);
        writeSample(writer);
        EXPECT_EQ(text, "prefix " + dumped(built, indent));
    }
}

TEST(MarqenJSONWriter, NumbersAndStringsByteForByte) {
    std::string text;
    MarqenJSONTextWriter writer(text, -1);
    writer.beginArray();
    writer.number(3);
    writer.number(0.5);
    writer.number(1e21);
    writer.number(-1e-5);
    writer.number(-std::numeric_limits<double>::infinity());
    writer.string("a\xffz");
    writer.endArray();
    EXPECT_EQ(text, "[3.0,0.5,1e+21,-1e-05,null,\"a\xef\xbf\xbdz\"]");
}

TEST(MarqenJSONWriter, BuilderKeepsARepeatedKeyInItsFirstPlaceWithTheLastValue) {
    MarqenJSONBuilder builder;
    builder.beginObject();
    builder.numberMember("a", 1);
    builder.stringMember("b", "first");
    builder.numberMember("a", 2);
    builder.endObject();
    EXPECT_EQ(dumped(builder.take(), -1), R"({"a":2.0,"b":"first"})");
    // Taking leaves the builder empty and ready for another value.
    EXPECT_TRUE(builder.take().is_null());
    builder.beginArray();
    builder.endArray();
    EXPECT_EQ(dumped(builder.take(), -1), "[]");
}

TEST(MarqenJSONWriter, MemberCounterCountsOnlyTheOuterMembers) {
    MarqenJSONMemberCounter counter;
    counter.stringMember("a", "x");
    counter.key("b");
    counter.beginObject();
    counter.numberMember("inner", 1);
    counter.key("deeper");
    counter.beginArray();
    counter.beginObject();
    counter.numberMember("innermost", 2);
    counter.endObject();
    counter.endArray();
    counter.endObject();
    EXPECT_EQ(counter.members(), 2u);
}

TEST(MarqenJSONWriter, EveryByteThatNeedsEscapingIsFoundWhereverItStands) {
    // Neighbours of the bytes that need care stay plain; each of those bytes is tried at every place of a
    // string longer than two words, so that both the word-wise scan and the tail see it.
    const std::string plainBytes = " !#[]~\x7f" "09azAZ";
    const std::string specialBytes = std::string("\x01\x1f\"\\\x80\xff", 6) + std::string(1, '\0');
    for (size_t length : {1u, 7u, 8u, 9u, 17u, 23u}) {
        std::string base(length, 'x');
        for (size_t at = 0; at < length; ++at) {
            for (char plain : plainBytes) {
                std::string text = base;
                text[at] = plain;
                std::string out;
                MarqenJSONTextWriter(out, -1).string(text);
                EXPECT_EQ(out, "\"" + text + "\"");
            }
            for (char special : specialBytes) {
                std::string text = base;
                text[at] = special;
                std::string out;
                MarqenJSONTextWriter(out, -1).string(text);
                EXPECT_EQ(out, dumped(MarqenJSON(text), -1)) << "byte " << int(static_cast<unsigned char>(special)) << " at " << at;
                EXPECT_NE(out, "\"" + text + "\"");
            }
        }
    }
}
