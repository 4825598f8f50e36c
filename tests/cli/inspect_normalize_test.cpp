#include <gtest/gtest.h>

#include <algorithm>

#include "foundation/json.h"
#include "support/test_support.h"

using namespace marqen;
using marqen::test::runCli;

namespace {
std::string sample(const std::string &name) { return (test::sourceDir() / "samples" / name).string(); }
}  // namespace

TEST(MarqenCli, InspectJsonDescribesEveryPage) {
    std::string out, err;
    ASSERT_EQ(runCli("inspect --json " + sample("multipage.json"), &out, &err), 0) << err;
    auto summary = MarqenJSON::parse(out);
    EXPECT_EQ(summary["type"], "MultiPageDocument");
    EXPECT_EQ(summary["pageCount"], 2);
    const auto &page = summary["pages"][1];
    EXPECT_EQ(page["frame"]["width"], 792.0);
    EXPECT_EQ(page["pageNumber"], 2.0);
    EXPECT_TRUE(page["title"].is_null());
    EXPECT_EQ(page["layers"][2], (MarqenJSON{{"layerId", "__text__"}, {"children", 0}}));
    EXPECT_EQ(page["elements"]["MarqenDOMLayer"], 3);
}

TEST(MarqenCli, NormalizeUpgradesOlderKeysAndIsStable) {
    test::TempDir dir;
    std::string err;
    ASSERT_EQ(runCli("normalize " + sample("legacy-v1.1.json") + " -o " + (dir / "a.json").string(), nullptr, &err), 0)
        << err;
    auto normalized = MarqenJSON::parse(test::readFile(dir / "a.json"));
    EXPECT_EQ(normalized["metadata"]["version"], "1.2");
    EXPECT_FALSE(normalized.contains("elements"));
    EXPECT_EQ(normalized["children"][0]["layerId"], "__background__");
    EXPECT_EQ(normalized["children"][0]["style"]["shadowRadius"], 2.0);
    EXPECT_EQ(normalized["deviceScale"], 1.0);
    EXPECT_EQ(normalized["title"], "Older file");
    // The title read from the older key is kept under "title" alone, so the first pass is final.
    EXPECT_EQ(normalized["metadata"]["title"], "Older file");
    EXPECT_FALSE(normalized["metadata"].contains("com.brondale.marqen.composition.title"));
    ASSERT_EQ(runCli("normalize " + (dir / "a.json").string() + " -o " + (dir / "b.json").string()), 0);
    EXPECT_EQ(MarqenJSON::parse(test::readFile(dir / "b.json"))["metadata"]["title"], "Older file");
    EXPECT_EQ(test::readFile(dir / "a.json"), test::readFile(dir / "b.json"));
}

TEST(MarqenCli, BadInputAndUsageGiveOneLineAndTheirStatus) {
    test::TempDir dir;
    test::writeFile(dir / "broken.json", "{\"type\": \"Document\", ");
    test::writeFile(dir / "array.json", "[1, 2]");
    std::string err;
    EXPECT_EQ(runCli("inspect " + (dir / "broken.json").string(), nullptr, &err), 1);
    EXPECT_EQ(err.rfind("marqen: ", 0), 0u);
    EXPECT_NE(err.find("invalid JSON"), std::string::npos);
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1);
    EXPECT_EQ(runCli("inspect " + (dir / "array.json").string(), nullptr, &err), 1);
    EXPECT_EQ(runCli("inspect " + (dir / "missing.json").string(), nullptr, &err), 1);
    EXPECT_EQ(runCli("normalize " + sample("basic.json"), nullptr, &err), 2);
    EXPECT_EQ(err, "marqen: missing -o OUT.json\n");
    EXPECT_EQ(runCli("frobnicate", nullptr, &err), 2);
    std::string help;
    EXPECT_EQ(runCli("normalize --help", &help), 0);
    EXPECT_NE(help.find("usage: marqen normalize"), std::string::npos);
    // A failed write leaves no file behind and reports the target.
    EXPECT_EQ(runCli("normalize " + sample("basic.json") + " -o " + (dir / "no/such/dir/x.json").string(), nullptr, &err),
              1);
    EXPECT_NE(err.find("cannot write"), std::string::npos);
}

TEST(MarqenCli, DemoNormalizesEverySample) {
    test::TempDir dir;
    std::string out, err;
    ASSERT_EQ(runCli("demo -o " + (dir / "out").string() + " --samples " + (test::sourceDir() / "samples").string(), &out,
                     &err),
              0)
        << err;
    auto summary = MarqenJSON::parse(test::readFile(dir / "out" / "summary.json"));
    EXPECT_TRUE(summary.contains("basic.json"));
    EXPECT_EQ(summary["multipage.json"]["pages"], 2);
    EXPECT_NE(out.find("demo output is in"), std::string::npos);
}
