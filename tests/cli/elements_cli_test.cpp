#include <gtest/gtest.h>

#include <filesystem>

#include "foundation/json.h"
#include "support/test_support.h"

using namespace marqen;
using marqen::test::runCli;

namespace {
std::string sample(const std::string &name) { return (test::sourceDir() / "samples" / name).string(); }
}  // namespace

TEST(MarqenCliElements, InspectReportsTextsStampsAndLoadedBitmaps) {
    std::string out, err;
    ASSERT_EQ(runCli("inspect --json " + sample("elements.json") + " --resources " + sample("resources"), &out, &err), 0)
        << err;
    auto page = MarqenJSON::parse(out)["pages"][0];
    EXPECT_EQ(page["elements"]["MarqenDOMStamp"], 10);
    EXPECT_EQ(page["elements"]["MarqenDOMText"], 12);
    EXPECT_EQ(page["texts"][0]["style"], "bubbleText");
    EXPECT_EQ(page["texts"][1]["style"], "paragraphText");
    EXPECT_EQ(page["texts"][10]["text"], "Uh oh\u2026");
    EXPECT_EQ(page["stamps"][3]["tailAngleInDegrees"], 180);
    ASSERT_EQ(page["bitmaps"].size(), 1u);
    EXPECT_EQ(page["bitmaps"][0]["loaded"], true);
    EXPECT_EQ(page["bitmaps"][0]["pixelWidth"], 240);
    EXPECT_EQ(page["bitmaps"][0]["opaque"], true);

    ASSERT_EQ(runCli("inspect --json " + sample("elements.json"), &out, &err), 0) << err;
    EXPECT_EQ(MarqenJSON::parse(out)["pages"][0]["bitmaps"][0]["loaded"], false);
}

TEST(MarqenCliElements, NormalizeKeepsElementsAndChecksResources) {
    test::TempDir dir;
    std::string err;
    ASSERT_EQ(runCli("normalize " + sample("elements.json") + " -o " + (dir / "a.json").string() + " --resources " +
                         sample("resources"),
                     nullptr, &err),
              0)
        << err;
    auto normalized = MarqenJSON::parse(test::readFile(dir / "a.json"));
    auto original = MarqenJSON::parse(test::readFile(sample("elements.json")));
    EXPECT_EQ(normalized["children"][2]["children"], original["children"][2]["children"]);
    EXPECT_EQ(normalized["children"][0]["children"][0]["uri"], original["children"][0]["children"][0]["uri"]);

    // An empty resources directory: the bitmap cannot load, and the command says so.
    std::filesystem::create_directory(dir / "empty");
    std::string out;
    EXPECT_EQ(runCli("normalize " + sample("elements.json") + " -o " + (dir / "b.json").string() + " --resources " +
                         (dir / "empty").string(),
                     &out, &err),
              1);
    EXPECT_NE(err.find("1 bitmap resource not loaded, first marqen+uuid:///5b0e6c1a-7d2f-4e3a-9c41-0a1b2c3d4e5f"),
              std::string::npos)
        << err;
    EXPECT_FALSE(std::filesystem::exists(dir / "b.json"));
    EXPECT_EQ(runCli("inspect " + sample("elements.json") + " --resources " + (dir / "nowhere").string(), &out, &err), 1);
    EXPECT_EQ(runCli("inspect " + sample("elements.json") + " --resources", &out, &err), 2);
}
