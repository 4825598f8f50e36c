#include <gtest/gtest.h>

#include "dom/color.h"
#include "dom/font.h"
#include "dom/style.h"

using namespace marqen;

TEST(MarqenDOMColor, ReadsMissingComponentsAsZeroAndTruncatesOnWrite) {
    auto orange = MarqenDOMColor::fromDictionary({{"red", 255}, {"green", 128}, {"blue", 0}});
    EXPECT_EQ(orange, MarqenDOMColor(255, 128, 0, 0));  // no "alpha": transparent
    MarqenJSON written = MarqenDOMColor(127.9, 0, 0, 0.5).dictionaryRepresentation();
    EXPECT_EQ(written.dump(), R"({"red":127,"green":0,"blue":0,"alpha":0.5})");
    EXPECT_EQ(MarqenDOMColor::colorWithMarqenColor(0.5, 0, 0, 1).dictionaryRepresentation()["red"], 127);
    // Hostile components write the nearest component on the 0 to 255 scale.
    EXPECT_EQ(MarqenDOMColor(-4, NAN, 1e300, NAN).dictionaryRepresentation().dump(),
              R"({"red":0,"green":0,"blue":255,"alpha":0.0})");
    EXPECT_EQ(MarqenDOMColor(255.9, 256, 254.99, 1).dictionaryRepresentation().dump(),
              R"({"red":255,"green":255,"blue":254,"alpha":1.0})");
}

TEST(MarqenDOMFont, DefaultsAndEquality) {
    auto named = MarqenDOMFont::fromDictionary({{"name", "Courier"}});
    EXPECT_EQ(named.name(), "Courier");
    EXPECT_EQ(named.size(), 36);
    auto negative = MarqenDOMFont::fromDictionary({{"size", -4}});
    EXPECT_EQ(negative.name(), "Helvetica-Bold");
    EXPECT_EQ(negative.size(), 36);
    MarqenDOMFont a("Helvetica", 12), b("Helvetica", 12.0);
    EXPECT_EQ(a, b);
    EXPECT_EQ(a.hash(), b.hash());
    EXPECT_FALSE(a == MarqenDOMFont("Helvetica", 12.5));
}

TEST(MarqenDOMStyle, WritesOnlyWhatCastsAShadow) {
    MarqenDOMStyle style;
    EXPECT_TRUE(style.dictionaryRepresentation().empty());
    style.setShadowColor(MarqenDOMColor(10, 10, 10, 0));
    style.setShadowRadius(3);
    EXPECT_EQ(style.dictionaryRepresentation(), (MarqenJSON{{"shadowRadius", 3.0}}));
    style.setShadowColor(MarqenDOMColor(0, 0, 0, 0.5));
    style.setShadowOffset({2, -2});
    style.setShadowOpacity(0.25);
    auto back = MarqenDOMStyle::fromDictionary(style.dictionaryRepresentation());
    EXPECT_EQ(*back, style);
    auto copy = style.copy();
    copy->setShadowColor(MarqenDOMColor());
    EXPECT_NE(*copy, style);  // a deep copy
}
