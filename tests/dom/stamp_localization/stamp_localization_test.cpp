// Stamp label texts come from the "MarqenKit" string table, keyed by their English text. This program
// points the library at its own resources directory before anything is looked up.
#include <gtest/gtest.h>

#include <cstdlib>

#include "dom/document.h"
#include "dom/stamp.h"
#include "dom/text.h"
#include "support/test_support.h"

using namespace marqen;

namespace {

// Set up before the first lookup, which reads and caches the table for the whole process.
struct LocalizedResources {
    test::TempDir directory;
    LocalizedResources() {
        test::writeFile(directory / "MarqenKit.strings.json",
                        R"({"Rejected": "Abgelehnt", "Uh oh\u2026": "Oje\u2026", "": "must not be used"})");
        ::setenv("MARQEN_RESOURCES_DIR", directory.path().c_str(), 1);
    }
};
LocalizedResources resources;

}  // namespace

TEST(MarqenDOMStampLocalization, DefaultTextsAreLookedUpByTheirEnglishText) {
    EXPECT_EQ(MarqenDOMStamp::createWithStampName("com.brondale.marqen.rejected")->localizedDefaultText(), "Abgelehnt");
    EXPECT_EQ(MarqenDOMStamp::createWithStampName("com.brondale.marqen.surprise")->localizedDefaultText(), "Oje\u2026");
    EXPECT_EQ(MarqenDOMStamp::createWithStampName("com.brondale.marqen.cool")->localizedDefaultText(), "Hehe");
    EXPECT_EQ(MarqenDOMStamp::createWithStampName("com.example.unknown")->localizedDefaultText(), "");

    auto document = MarqenDOMDocument::createWithSize({500, 500}, 1);
    auto stamp = MarqenDOMStamp::createWithStampName("com.brondale.marqen.rejected");
    document->addNode(stamp);
    stamp->beginAtPoint({250, 250});
    auto label = MarqenDOMText::attachLabelToNode(stamp, stamp->localizedDefaultText());
    EXPECT_EQ(document->textStrings(), std::vector<std::string>{"Abgelehnt"});
}
