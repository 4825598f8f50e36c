#include <gtest/gtest.h>

#include <cstdlib>

#include "foundation/localization.h"
#include "foundation/resources_bundle.h"
#include "support/test_support.h"

using namespace marqen;
using namespace marqen::test;

TEST(StringsTable, LooksUpStringEntries) {
    TempDir dir;
    writeFile(dir / "MarqenKit.strings.json", R"({"Arrow Endpoint": "Pfeilende", "Arrow Rotation": "Pfeildrehung"})");
    LogCapture log;
    MarqenStringsTable table = MarqenStringsTable::load(dir / "MarqenKit.strings.json");
    EXPECT_EQ(table.count(), 2u);
    EXPECT_EQ(table.lookup("Arrow Endpoint"), "Pfeilende");
    EXPECT_EQ(table.lookup("Line Endpoint"), std::nullopt);
    EXPECT_TRUE(log.lines().empty());
}

TEST(StringsTable, BadTablesAreLoggedAndEmpty) {
    TempDir dir;
    LogCapture log;
    auto load = [&](const std::string &name, const std::string &content) {
        writeFile(dir / name, content);
        return MarqenStringsTable::load(dir / name);
    };
    EXPECT_EQ(MarqenStringsTable::load(dir / "missing.strings.json").count(), 0u);
    EXPECT_TRUE(log.lines().empty());  // no table is not a problem

    EXPECT_EQ(load("broken.strings.json", R"({"Arrow Endpoint": )").count(), 0u);
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(log.lines()[0].rfind("The string table " + (dir / "broken.strings.json").string() + " is not valid JSON: ", 0), 0u);
    EXPECT_EQ(load("array.strings.json", "[1, 2]").count(), 0u);
    EXPECT_EQ(log.lines().back(), "The string table " + (dir / "array.strings.json").string() + " is not a JSON object");

    MarqenStringsTable table = load("mixed.strings.json", R"({"Text": 5, "Stamp": "Stempel"})");
    EXPECT_EQ(table.count(), 1u);
    EXPECT_EQ(table.lookup("Stamp"), "Stempel");
    EXPECT_EQ(log.lines().back(), "The string table " + (dir / "mixed.strings.json").string() +
                                      " has a value that is not a string for key \"Text\"");
}

TEST(LocalizedString, FallsBackToTheKey) {
    EXPECT_EQ(MarqenLocalizedString("A text no table translates"), "A text no table translates");
    EXPECT_EQ(MarqenLocalizedString("Arrow Endpoint", "NoSuchTable"), "Arrow Endpoint");
    EXPECT_EQ(MarqenLocalizedString("Arrow Endpoint", "../MarqenKit"), "Arrow Endpoint");
    EXPECT_EQ(MarqenLocalizedString("Arrow Endpoint", ""), "Arrow Endpoint");
}

TEST(ResourcesBundle, EnvironmentVariableComesFirst) {
    const char *saved = std::getenv(kMarqenResourcesDirectoryEnvironmentVariable);
    std::string previous = saved ? saved : "";

    setenv(kMarqenResourcesDirectoryEnvironmentVariable, "/opt/elsewhere", 1);
    EXPECT_EQ(marqenLocateResourcesDirectory(), std::filesystem::path("/opt/elsewhere"));

    setenv(kMarqenResourcesDirectoryEnvironmentVariable, "", 1);  // empty counts as unset
    std::filesystem::path fallback = marqenLocateResourcesDirectory();
    unsetenv(kMarqenResourcesDirectoryEnvironmentVariable);
    EXPECT_EQ(marqenLocateResourcesDirectory(), fallback);
    EXPECT_TRUE(fallback == sourceDir() / "resources" || fallback.filename() == "marqenkit") << fallback;
    EXPECT_TRUE(std::filesystem::is_directory(fallback)) << fallback;

    if (saved) setenv(kMarqenResourcesDirectoryEnvironmentVariable, previous.c_str(), 1);
    // The cached bundle is resolved once and stays the same.
    EXPECT_EQ(&marqenResourcesBundle(), &marqenResourcesBundle());
}
