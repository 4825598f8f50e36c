// Hostile vector paths given to the command line end within the time and memory bounds.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "hostile/cli_run.h"
#include "support/test_support.h"

using namespace marqen::test;

namespace {

std::string documentWithVector(const std::string &vectorMembers) {
    return R"({"type":"Document","guid":"4A1B2C3D-0000-4000-8000-000000000001",)"
           R"("frame":{"x":0,"y":0,"width":400,"height":300},"children":[)"
           R"({"type":"Layer","guid":"4A1B2C3D-0000-4000-8000-000000000003","layerId":"__annotation__","children":[)"
           R"({"type":"Vector","guid":"4A1B2C3D-0000-4000-8000-000000000010",)"
           R"("strokeColor":{"red":0,"green":0,"blue":0,"alpha":1},"lineWidth":3,)" +
           vectorMembers + "}]}]}";
}

}  // namespace

TEST(HostilePath, TwoMillionUnknownLettersGiveOneCountedWarning) {
    TempDir dir;
    std::string path = "M10 10 L20 20 ";
    path.append(2'000'000, 'k');
    writeFile(dir / "letters.json", documentWithVector("\"path\":\"" + path + "\""));
    auto run = runMeasured({"render", (dir / "letters.json").string(), "-o", (dir / "out.png").string()});
    EXPECT_EQ(run.signal, 0);
    EXPECT_LT(run.processorSeconds, kSecondsBound);
    EXPECT_LT(run.maximumResidentKB, kResidentKBBound);
    EXPECT_EQ(run.exitStatus, 0) << run.err.substr(0, 500);
    EXPECT_EQ(run.err,
              "marqen: warning: Error with SVG: Unknown command k\n"
              "marqen: warning: Error with SVG: Unknown command (1999999 more times)\n");
}

namespace {

// A polygon whose edges are long chords crossing each other all over the picture.
std::string crossingPolygon(int vertices) {
    std::string list;
    list.reserve(static_cast<size_t>(vertices) * 40);
    char buffer[64];
    for (int i = 0; i < vertices; ++i) {
        std::snprintf(buffer, sizeof buffer, "%s{\"x\":%.2f,\"y\":%.2f}", i ? "," : "", 200 + 150 * std::cos(i * 0.7),
                      150 + 120 * std::sin(i * 1.3));
        list += buffer;
    }
    return R"("extension":{"type":"Polygon","vertices":[)" + list + "]}";
}

MeasuredRun renderWithin(const TempDir &dir, const std::string &name, const std::string &document) {
    writeFile(dir / name, document);
    auto run = runMeasured({"render", (dir / name).string(), "-o", (dir / "out.png").string()});
    EXPECT_EQ(run.signal, 0);
    EXPECT_LT(run.processorSeconds, kSecondsBound);
    EXPECT_LT(run.maximumResidentKB, kResidentKBBound);
    return run;
}

}  // namespace

TEST(HostilePath, APolygonOfHalfAMillionCrossingVerticesIsLeftOutWithAWarning) {
    TempDir dir;
    auto run = renderWithin(dir, "polygon.json", documentWithVector(crossingPolygon(500'000)));
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.err, "marqen: warning: A path was left out: a path of 500001 points exceeds the path points per "
                       "element budget (200000)\n");
    EXPECT_TRUE(std::filesystem::exists(dir / "out.png"));
}

TEST(HostilePath, AMillionPointFreehandPathEndsWithinTheBounds) {
    TempDir dir;
    std::string path = "M200 150";
    path.reserve(16'000'000);
    char buffer[64];
    for (int i = 0; i < 1'000'000; ++i) {
        std::snprintf(buffer, sizeof buffer, " L%.1f %.1f", 200 + 150 * std::cos(i * 0.01), 150 + 120 * std::sin(i * 0.013));
        path += buffer;
    }
    auto run = renderWithin(dir, "freehand.json", documentWithVector("\"path\":\"" + path + "\""));
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_NE(run.err.find("exceeds the path points per element budget (200000)"), std::string::npos) << run.err;
}
