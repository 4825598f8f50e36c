// Hostile JSON documents given to the command line end within the time and memory bounds.
#include <gtest/gtest.h>

#include "foundation/json.h"
#include "hostile/cli_run.h"
#include "support/test_support.h"

using namespace marqen;
using namespace marqen::test;

namespace {

const char *kDocumentStart =
    R"({"type":"Document","guid":"4A1B2C3D-0000-4000-8000-000000000001","frame":{"x":0,"y":0,"width":100,"height":100},)";

}  // namespace

TEST(HostileJSON, ADocumentWithFourHundredThousandObjectsInOneArrayIsInspectedQuickly) {
    TempDir dir;
    std::string text = kDocumentStart;
    text += R"("children":[],"padding":[)";
    for (int i = 0; i < 400'000; ++i) text += i ? ",{}" : "{}";
    text += "]}";
    writeFile(dir / "many.json", text);
    auto run = runMeasured({"inspect", "--json", (dir / "many.json").string()});
    expectWithinBounds(run);
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(MarqenJSON::parse(run.out)["type"], "Document");
}

TEST(HostileJSON, ThirtyMegabytesOfEmptyArraysEndInTheValuesBudgetError) {
    TempDir dir;
    std::string text = kDocumentStart;
    text += R"("children":[],"unknownKey":[)";
    const size_t count = 10'000'000;  // "[]," is three bytes: 30 MB
    text.reserve(text.size() + count * 3 + 4);
    for (size_t i = 0; i < count; ++i) text += i ? ",[]" : "[]";
    text += "]}";
    writeFile(dir / "empty-arrays.json", text);
    text.clear();
    text.shrink_to_fit();
    auto run = runMeasured({"inspect", (dir / "empty-arrays.json").string()});
    expectWithinBounds(run);
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_NE(run.err.find("marqen: "), std::string::npos);
    EXPECT_NE(run.err.find("exceeds the JSON values per file budget (3000000)"), std::string::npos) << run.err;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1);
}
