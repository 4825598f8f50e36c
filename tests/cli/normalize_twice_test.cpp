// `marqen normalize` writes one canonical form: normalizing its own output gives the same bytes, for
// every document among the samples and the test data.
#include <gtest/gtest.h>

#include <filesystem>

#include "support/test_support.h"

using namespace marqen;
using marqen::test::runCli;

namespace {

std::vector<std::filesystem::path> filesBelow(const std::filesystem::path &directory) {
    std::vector<std::filesystem::path> files;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(directory))
        if (entry.is_regular_file()) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace

TEST(MarqenCliNormalize, NormalizingTwiceGivesTheSameBytesForEveryDocument) {
    test::TempDir dir;
    size_t documents = 0;
    for (const auto &directory : {test::sourceDir() / "samples", test::sourceDir() / "tests" / "data"}) {
        for (const auto &file : filesBelow(directory)) {
            SCOPED_TRACE(file.string());
            std::string name = std::to_string(documents);
            std::filesystem::path once = dir / (name + "-once.json"), twice = dir / (name + "-twice.json");
            std::string err;
            int status = runCli("normalize " + file.string() + " -o " + once.string(), nullptr, &err);
            if (file.extension() != ".json") {
                // Images, PDFs and stroke recordings are not documents: refused, nothing written.
                EXPECT_EQ(status, 1) << err;
                EXPECT_FALSE(std::filesystem::exists(once));
                continue;
            }
            ASSERT_EQ(status, 0) << err;
            ASSERT_EQ(runCli("normalize " + once.string() + " -o " + twice.string(), nullptr, &err), 0) << err;
            EXPECT_EQ(test::readFile(once), test::readFile(twice));
            ++documents;
        }
    }
    EXPECT_GE(documents, 7u);  // the JSON samples at the time of writing; more only add to it
}
