// Hostile texts given to the command line end within the time and memory bounds.
#include <gtest/gtest.h>

#include "foundation/json.h"
#include "hostile/cli_run.h"
#include "support/test_support.h"

using namespace marqen;
using namespace marqen::test;

namespace {

// The sample document with its one text replaced.
std::string documentWithText(const std::string &text) {
    MarqenJSON document = MarqenJSON::parse(readFile(sourceDir() / "samples" / "basic.json"));
    for (auto &layer : document["children"])
        if (layer["layerId"] == "__text__") layer["children"][0]["text"] = text;
    return document.dump();
}

std::string repeated(const std::string &piece, size_t count) {
    std::string text;
    text.reserve(piece.size() * count + 1);
    for (size_t i = 0; i < count; ++i) text += piece;
    return text;
}

MeasuredRun renderWithin(const TempDir &dir, const std::string &document) {
    writeFile(dir / "text.json", document);
    auto run = runMeasured({"render", (dir / "text.json").string(), "-o", (dir / "out.png").string()});
    EXPECT_EQ(run.signal, 0);
    EXPECT_LT(run.processorSeconds, kSecondsBound);
    EXPECT_LT(run.maximumResidentKB, kResidentKBBound);
    EXPECT_EQ(run.exitStatus, 0) << run.err.substr(0, 400);
    EXPECT_TRUE(std::filesystem::exists(dir / "out.png"));
    return run;
}

const std::string kAcute = "\xCC\x81", kCircumflex = "\xCC\x82";  // U+0301, U+0302

}  // namespace

TEST(HostileText, FortyThousandCombiningMarksOnOneLetterKeepTheFirstThirtyOne) {
    TempDir dir;
    auto run = renderWithin(dir, documentWithText("a" + repeated(kAcute, 40'000)));
    EXPECT_EQ(run.err,
              "marqen: warning: MarqenTextLayout: 39969 marks left out: a cluster exceeds the code points per cluster "
              "budget (32)\n"
              "marqen: warning: MarqenTextLayout: marks left out (1 more times)\n");
}

TEST(HostileText, OnePointTwoMegabytesOfCombiningTextAreCutAndDrawn) {
    TempDir dir;
    auto run = renderWithin(dir, documentWithText(repeated("e" + kAcute + kCircumflex, 240'000)));
    EXPECT_NE(run.err.find("MarqenTextLayout: text of 1200000 bytes cut to 262143 bytes"), std::string::npos)
        << run.err;
}

TEST(HostileText, MoreClustersThanTheBudgetAreCut) {
    TempDir dir;
    auto run = renderWithin(dir, documentWithText(repeated("ab ", 80'000)));  // 240,000 clusters in 240 KB
    EXPECT_NE(run.err.find("MarqenTextLayout: text cut: the text exceeds the text clusters per text budget (200000)"),
              std::string::npos)
        << run.err;
}
