#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

#include "foundation/json.h"
#include "foundation/resource_budget.h"

using namespace marqen;

namespace {
std::string arrayOfObjects(size_t count) {
    std::string text = "[";
    for (size_t i = 0; i < count; ++i) text += (i ? ",{\"x\":" : "{\"x\":") + std::to_string(i) + "}";
    return text + "]";
}
}  // namespace

TEST(JSONParse, BuildsTheSameValueAsTheLibraryParser) {
    const std::string text =
        R"({"b":[1,-2,3.5,true,false,null,"s\u00e9"],"a":{"nested":{"deeper":[[],{}]}},"big":18446744073709551615})";
    std::string message;
    auto parsed = marqen_parseJSON(text, &message);
    ASSERT_TRUE(parsed) << message;
    EXPECT_EQ(*parsed, MarqenJSON::parse(text));
    EXPECT_EQ(parsed->begin().key(), "b");  // members keep the order they were written in
    EXPECT_TRUE((*parsed)["big"].is_number_unsigned());
    EXPECT_TRUE((*parsed)["b"][1].is_number_integer());
}

TEST(JSONParse, ARepeatedKeyKeepsItsFirstPlaceAndTheLastValue) {
    std::string small = R"({"a":1,"b":2,"a":3})";
    EXPECT_EQ(marqen_parseJSON(small)->dump(), R"({"a":3,"b":2})");
    // Past the size at which keys are indexed, the same holds.
    std::string large = "{";
    for (int i = 0; i < 40; ++i) large += "\"k" + std::to_string(i) + "\":" + std::to_string(i) + ",";
    large += R"("k3":"again","k39":"last"})";
    auto parsed = marqen_parseJSON(large);
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->size(), 40u);
    EXPECT_EQ((*parsed)["k3"], "again");
    EXPECT_EQ(std::next(parsed->begin(), 3).key(), "k3");
    EXPECT_EQ((*parsed)["k39"], "last");
}

TEST(JSONParse, RefusesMalformedTextDeepNestingAndValuesBeyondTheBudget) {
    std::string message;
    EXPECT_FALSE(marqen_parseJSON("{\"a\":1} trailing", &message));
    EXPECT_NE(message.find("parse error"), std::string::npos) << message;
    EXPECT_FALSE(marqen_parseJSON("[1e999]", &message));

    EXPECT_TRUE(marqen_parseJSON(std::string(512, '[') + std::string(512, ']')));
    EXPECT_FALSE(marqen_parseJSON(std::string(513, '[') + std::string(513, ']'), &message));
    EXPECT_EQ(message, "JSON nested more than 512 levels deep");

    MarqenJSONParseLimits limits;
    limits.maximumValues = 7;  // the array, three objects and their three numbers
    EXPECT_TRUE(marqen_parseJSON(arrayOfObjects(3), limits));
    limits.maximumValues = 6;
    EXPECT_FALSE(marqen_parseJSON(arrayOfObjects(3), limits, &message));
    EXPECT_EQ(message, "the JSON file's value count exceeds the JSON values per file budget (6)");
}

TEST(JSONParse, TheBudgetInForceAppliesWhenNoLimitsAreGiven) {
    const MarqenResourceBudget saved = MarqenCurrentResourceBudget();
    MarqenResourceBudget budget;
    budget.jsonValuesPerFile = 4;
    MarqenSetResourceBudget(budget);
    std::string message;
    EXPECT_TRUE(marqen_parseJSON("[1,2,3]"));
    EXPECT_FALSE(marqen_parseJSON("[1,2,3,4]", &message));
    MarqenSetResourceBudget(saved);
    EXPECT_EQ(message, "the JSON file's value count exceeds the JSON values per file budget (4)");
}

namespace {

std::string objectOfMembers(size_t count) {
    std::string members = "{";
    for (size_t i = 0; i < count; ++i) members += (i ? ",\"" : "\"") + std::to_string(i) + "\":0";
    return members + "}";
}

// The fastest of three runs, so that a busy machine (or an instrumented build) disturbs the ratio little.
template <typename Parse>
double fastestSeconds(Parse parse) {
    double fastest = 1e9;
    for (int run = 0; run < 3; ++run) {
        const auto start = std::chrono::steady_clock::now();
        parse();
        fastest = std::min(fastest, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    return fastest;
}

// Against the JSON library's own parse of the same text into its sorted objects, the guarded parse keeps
// within a small factor (about 1x for the array, 3x for the object, which keeps its members in order).
// A parse that rescans the parent at every child's end is hundreds of times slower here.
double guardedParseRatio(const std::string &text) {
    const double guarded = fastestSeconds([&] { EXPECT_TRUE(marqen_parseJSON(text)); });
    const double library = fastestSeconds([&] { EXPECT_FALSE(nlohmann::json::parse(text).is_discarded()); });
    return guarded / library;
}

}  // namespace

TEST(JSONParse, TimeIsLinearInTheObjectsOfOneArrayAndTheMembersOfOneObject) {
    const std::string objects = arrayOfObjects(400'000);
    const std::string members = objectOfMembers(200'000);
    auto parsedObjects = marqen_parseJSON(objects);
    auto parsedMembers = marqen_parseJSON(members);
    ASSERT_TRUE(parsedObjects && parsedMembers);
    EXPECT_EQ(parsedObjects->size(), 400'000u);
    EXPECT_EQ((*parsedObjects)[399'999]["x"], 399'999);
    EXPECT_EQ(parsedMembers->size(), 200'000u);
    EXPECT_EQ((*parsedMembers)["199999"], 0);

    EXPECT_LT(guardedParseRatio(objects), 10.0);
    EXPECT_LT(guardedParseRatio(members), 10.0);
}

// Strings read from a damaged file may not be UTF-8; writing them never throws.
TEST(JSONText, InvalidUTF8IsWrittenAsTheReplacementCharacter) {
    marqen::MarqenJSON value = {{"title", std::string("ok \xff\xfe end")}};
    EXPECT_THROW((void)value.dump(), std::exception);
    EXPECT_EQ(marqen::marqen_JSONText(value), "{\"title\":\"ok \xef\xbf\xbd\xef\xbf\xbd end\"}");
}
