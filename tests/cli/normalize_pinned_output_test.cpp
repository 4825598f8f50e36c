// `marqen normalize` keeps its output byte for byte: every JSON sample normalizes to the file kept beside this
// test in normalized_samples/ (written by the command and checked by hand when a change of format is meant).
// A faster reader or writer must give the same bytes.
#include <gtest/gtest.h>

#include <filesystem>

#include "support/test_support.h"

using namespace marqen;
using marqen::test::runCli;

namespace {

// The offset of the first differing byte with a little of the text around it, so that a failure says where.
std::string firstDifference(const std::string &expected, const std::string &actual) {
    size_t at = 0;
    while (at < expected.size() && at < actual.size() && expected[at] == actual[at]) ++at;
    size_t from = at < 40 ? 0 : at - 40;
    return "byte " + std::to_string(at) + " (expected size " + std::to_string(expected.size()) + ", actual " +
           std::to_string(actual.size()) + "): expected ..." + expected.substr(from, 80) + "... actual ..." +
           actual.substr(from, 80) + "...";
}

// Replaces each written guid that does not occur in the input (one made up while loading) by "(new guid)".
std::string maskNewGuids(std::string output, const std::string &input) {
    const std::string key = "\"guid\": \"";
    for (size_t at = output.find(key); at != std::string::npos; at = output.find(key, at + 1)) {
        size_t start = at + key.size(), end = output.find('"', start);
        if (end == std::string::npos) break;
        if (input.find(output.substr(start, end - start)) == std::string::npos)
            output.replace(start, end - start, "(new guid)");
    }
    return output;
}

}  // namespace

TEST(MarqenCliNormalize, OutputOfEverySampleIsPinnedByteForByte) {
    test::TempDir dir;
    std::filesystem::path expectedDirectory = test::sourceDir() / "tests" / "cli" / "normalized_samples";
    size_t compared = 0;
    for (const auto &entry : std::filesystem::directory_iterator(test::sourceDir() / "samples")) {
        if (!entry.is_regular_file() || entry.path().extension() != ".json") continue;
        std::string name = entry.path().filename().string();
        SCOPED_TRACE(name);
        std::filesystem::path expectedFile = expectedDirectory / name, output = dir / name;
        ASSERT_TRUE(std::filesystem::exists(expectedFile)) << "no pinned output for a new sample";
        std::string err;
        ASSERT_EQ(runCli("normalize " + entry.path().string() + " -o " + output.string(), nullptr, &err), 0) << err;
        std::string expected = test::readFile(expectedFile), actual = maskNewGuids(test::readFile(output), test::readFile(entry.path()));
        EXPECT_TRUE(expected == actual) << firstDifference(expected, actual);
        ++compared;
    }
    // No pinned file is left without its sample, and the samples were found at all.
    size_t pinned = 0;
    for (const auto &entry : std::filesystem::directory_iterator(expectedDirectory)) pinned += entry.is_regular_file();
    EXPECT_EQ(compared, pinned);
    EXPECT_GE(compared, 9u);
}
