// The JSON text written straight from the nodes is the dump of their representation, byte for byte, compact
// and indented, including the members a node leaves out (children that write nothing) and bytes that are not
// UTF-8.
#include <gtest/gtest.h>

#include "dom/document.h"
#include "dom/layer.h"
#include "dom/node_json_writer.h"
#include "formats/dom_json_file.h"

using namespace marqen;

namespace {

std::string dumped(const MarqenJSON &value, int indent) {
    return value.dump(indent, ' ', false, MarqenJSON::error_handler_t::replace);
}

MarqenJSON point(double x, double y) { return {{"x", x}, {"y", y}}; }

// Nested layers with vectors, metadata holding odd strings and numbers, a transform, an ellipse of zero size
// (which writes nothing) alone in a layer, and a style.
MarqenJSON sampleDocument() {
    MarqenJSON zeroEllipse{{"type", "Vector"},
                           {"extension", {{"type", "Ellipse"}, {"center", point(5, 5)}, {"xradius", 0}, {"yradius", 0}}},
                           {"lineWidth", 0}};
    MarqenJSON polygon{{"type", "Vector"},
                       {"guid", "00000000-0000-4000-8000-000000000001"},
                       {"strokeColor", {{"red", 255}, {"green", 0}, {"blue", 10}, {"alpha", 0.5}}},
                       {"lineWidth", 2.25},
                       {"extension", {{"type", "Polygon"}, {"vertices", {point(1, 2), point(30.5, 2), point(3, 1e-7)}}}}};
    MarqenJSON arrow{{"type", "Vector"},
                     {"fillColor", {{"red", 1}, {"green", 2}, {"blue", 3}, {"alpha", 1}}},
                     {"extension", {{"type", "Arrow"}, {"startPoint", point(0, 0)}, {"endPoint", point(100, -40)}}},
                     {"style", {{"shadowRadius", 3}, {"shadowOpacity", 0.25}}}};
    MarqenJSON inner{{"type", "Layer"},
                     {"metadata", {{"note", "tab\there \"quoted\" \xc3\xa9 and bad \xff bytes"}, {"n", 1e300}, {"list", MarqenJSON::array()}}},
                     {"transform", {{"a", 1}, {"b", 0}, {"c", 0}, {"d", 1}, {"e", 7.5}, {"f", -3}}},
                     {"children", {polygon, arrow}}};
    MarqenJSON onlyNothing{{"type", "Layer"}, {"children", {zeroEllipse}}};
    return {{"type", "Document"},
            {"title", "T\xe2\x80\x94itle"},
            {"children",
             {{{"type", "Layer"}, {"layerId", "__background__"}},
              {{"type", "Layer"}, {"layerId", "__annotation__"}, {"children", {inner, onlyNothing, zeroEllipse}}},
              {{"type", "Layer"}, {"layerId", "__text__"}}}},
            {"frame", {{"x", 0}, {"y", 0}, {"width", 400}, {"height", 300}}},
            {"deviceScale", 2}};
}

}  // namespace

TEST(MarqenNodeJSONWriter, WritesTheDumpOfTheRepresentationCompactAndIndented) {
    auto document = MarqenDOMDocument::fromDictionary(sampleDocument());
    ASSERT_TRUE(document);
    MarqenJSON representation = document->dictionaryRepresentation();
    // The cases the writer must get right are really there: a layer left with no member but its own keys, a
    // string with bytes that are not UTF-8.
    ASSERT_NE(dumped(representation, -1).find("\xef\xbf\xbd"), std::string::npos);
    for (int indent : {-1, 0, 2, 4}) {
        SCOPED_TRACE(indent);
        std::string text;
        appendNodeJSONText(text, *document, indent);
        EXPECT_EQ(text, dumped(representation, indent));
    }
    // A node written on its own is its own dump too.
    auto annotation = document->childAtIndex(1);
    std::string text;
    appendNodeJSONText(text, *annotation, 2);
    EXPECT_EQ(text, dumped(annotation->dictionaryRepresentation(), 2));
}

TEST(MarqenNodeJSONWriter, AdjustmentsAndChildrenThatWriteNothingLeaveNoChildrenMember) {
    auto document = MarqenDOMDocument::fromDictionary(sampleDocument());
    auto annotation = document->childAtIndex(1);
    auto onlyNothing = annotation->childAtIndex(1);
    ASSERT_EQ(onlyNothing->childCount(), 1u);
    std::string text;
    appendNodeJSONText(text, *onlyNothing, -1);
    EXPECT_EQ(text, dumped(onlyNothing->dictionaryRepresentation(), -1));
    EXPECT_EQ(text.find("children"), std::string::npos);

    for (size_t i = 0; i < annotation->childCount(); ++i) annotation->childAtIndex(i)->setAdjustment(true);
    text.clear();
    appendNodeJSONText(text, *document, 2);
    EXPECT_EQ(text, dumped(document->dictionaryRepresentation(), 2));
    EXPECT_EQ(text.find("Polygon"), std::string::npos);
}

TEST(MarqenNodeJSONWriter, MultiPageDocumentsWithAndWithoutPages) {
    for (MarqenJSON pages : {MarqenJSON::array(), MarqenJSON{sampleDocument(), sampleDocument()}}) {
        auto content = MarqenReadDOMJSON(dumped({{"type", "MultiPageDocument"}, {"children", pages}}, -1), nullptr);
        ASSERT_TRUE(content);
        for (int indent : {-1, 2}) EXPECT_EQ(content->JSONText(indent), dumped(content->dictionaryRepresentation(), indent));
    }
    auto single = MarqenReadDOMJSON(dumped(sampleDocument(), -1), nullptr);
    ASSERT_TRUE(single);
    EXPECT_EQ(single->JSONText(2), dumped(single->dictionaryRepresentation(), 2));
}
