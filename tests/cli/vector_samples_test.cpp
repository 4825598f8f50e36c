#include <gtest/gtest.h>

#include "foundation/json.h"
#include "support/test_support.h"

using namespace marqen;
using marqen::test::runCli;

namespace {

std::string sample(const std::string &name) { return (test::sourceDir() / "samples" / name).string(); }

MarqenJSON annotations(const MarqenJSON &document) {
    for (const auto &layer : document["children"])
        if (layer["layerId"] == "__annotation__") return layer.value("children", MarqenJSON::array());
    return MarqenJSON::array();
}

}  // namespace

TEST(MarqenCliVectors, InspectCountsEveryVectorKind) {
    std::string out, err;
    ASSERT_EQ(runCli("inspect --json " + sample("vectors.json"), &out, &err), 0) << err;
    auto elements = MarqenJSON::parse(out)["pages"][0]["elements"];
    EXPECT_EQ(elements["MarqenDOMVector"], 2);
    EXPECT_EQ(elements["MarqenDOMPolygon"], 1);
    EXPECT_EQ(elements["MarqenDOMRectangle"], 2);
    EXPECT_EQ(elements["MarqenDOMEllipse"], 1);
    EXPECT_EQ(elements["MarqenDOMLine"], 1);
    EXPECT_EQ(elements["MarqenDOMArrow"], 1);
}

TEST(MarqenCliVectors, NormalizeKeepsCurrentShapesAndIsStable) {
    test::TempDir dir;
    std::string err;
    ASSERT_EQ(runCli("normalize " + sample("vectors.json") + " -o " + (dir / "a.json").string(), nullptr, &err), 0)
        << err;
    auto shapes = annotations(MarqenJSON::parse(test::readFile(dir / "a.json")));
    ASSERT_EQ(shapes.size(), 8u);
    for (const auto &shape : shapes) {
        EXPECT_EQ(shape["type"], "Vector");
        EXPECT_TRUE(shape["path"].is_string()) << shape.dump();  // derived outlines are written out
    }
    EXPECT_EQ(shapes[4]["extension"]["extension"], (MarqenJSON{{"type", "Rectangle"}, {"cornerRadius", 24.0}}));
    EXPECT_EQ(shapes[5]["extension"]["theta"], 0.3);
    EXPECT_EQ(shapes[7]["extension"]["toolArrowSize"], 12.0);
    ASSERT_EQ(runCli("normalize " + (dir / "a.json").string() + " -o " + (dir / "b.json").string()), 0);
    EXPECT_EQ(test::readFile(dir / "a.json"), test::readFile(dir / "b.json"));
}

TEST(MarqenCliVectors, NormalizeUpgradesOlderArrowsAndLines) {
    test::TempDir dir;
    std::string err;
    ASSERT_EQ(runCli("normalize " + sample("legacy-vectors.json") + " -o " + (dir / "a.json").string(), nullptr, &err),
              0)
        << err;
    auto shapes = annotations(MarqenJSON::parse(test::readFile(dir / "a.json")));
    // The arrow with coincident ends and the ellipse never drawn are not written.
    ASSERT_EQ(shapes.size(), 4u);
    const auto &arrow = shapes[0];
    EXPECT_EQ(arrow["extension"], (MarqenJSON{{"type", "Arrow"},
                                              {"startPoint", {{"x", 100.0}, {"y", 400.0}}},
                                              {"endPoint", {{"x", 400.0}, {"y", 150.0}}},
                                              {"toolArrowSize", 16.0}}));
    EXPECT_FALSE(arrow.contains("metadata"));
    EXPECT_EQ(arrow["fillColor"]["red"], 255);
    EXPECT_EQ(arrow["style"]["shadowOpacity"], 0.35);  // the arrow's default style
    EXPECT_EQ(shapes[1]["extension"]["endPoint"], (MarqenJSON{{"x", 900.0}, {"y", 100.0}}));  // "{x, y}" strings
    const auto &line = shapes[2];
    EXPECT_EQ(line["extension"]["type"], "Line");
    EXPECT_EQ(line["metadata"], (MarqenJSON{{"note", "a key of the host, kept"}}));
    EXPECT_EQ(line["lineWidth"], 6.0);
    EXPECT_FALSE(shapes[3].contains("extension"));  // a plain freehand stroke
    EXPECT_EQ(shapes[3]["strokeColor"]["alpha"], 0.5);
    ASSERT_EQ(runCli("normalize " + (dir / "a.json").string() + " -o " + (dir / "b.json").string()), 0);
    ASSERT_EQ(runCli("normalize " + (dir / "b.json").string() + " -o " + (dir / "c.json").string()), 0);
    EXPECT_EQ(test::readFile(dir / "b.json"), test::readFile(dir / "c.json"));
}
