// Hostile vector paths given to the command line end within the time and memory bounds.
#include <gtest/gtest.h>

#include <algorithm>

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
    EXPECT_LT(run.seconds, kSecondsBound);
    EXPECT_LT(run.maximumResidentKB, kResidentKBBound);
    EXPECT_EQ(run.exitStatus, 0) << run.err.substr(0, 500);
    EXPECT_EQ(run.err,
              "marqen: warning: Error with SVG: Unknown command k\n"
              "marqen: warning: Error with SVG: Unknown command (1999999 more times)\n");
}
