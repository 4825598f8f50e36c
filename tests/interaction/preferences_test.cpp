#include <gtest/gtest.h>

#include "foundation/notification_center.h"
#include "interaction/preferences.h"
#include "support/test_support.h"

using namespace marqen;

TEST(PreferencesStore, KeyFileKeepsAwkwardValuesAcrossReopening) {
    test::TempDir dir;
    auto file = dir / "sub" / "preferences.ini";
    const std::pair<std::string, std::string> entries[] = {
        {"multi", "line one\nline two\ttab"},
        {"equals", "a = b ; # not a comment"},
        {"json", R"({"toolID":9,"stampName":"com.brondale.marqen.rejected"})"},
        {"spaces", "  leading and trailing  "},
        {"unicode", "Uh oh\u2026 \u00e9"},
        {"empty", ""},
        {"back.slash", "C:\\path\\n"},
    };
    {
        MarqenKeyFilePreferencesStore store(file);
        for (const auto &[key, value] : entries) ASSERT_TRUE(store.setString(key, value)) << key;
    }
    MarqenKeyFilePreferencesStore reopened(file);
    for (const auto &[key, value] : entries) EXPECT_EQ(reopened.stringForKey(key), value) << key;

    // The file itself: one group, each entry on one line with newlines escaped.
    std::string text = test::readFile(file);
    EXPECT_EQ(text.rfind("[MarqenKit]\n", 0), 0u);
    EXPECT_NE(text.find("multi=line one\\nline two\ttab\n"), std::string::npos);
    EXPECT_NE(text.find("spaces=\\s\\sleading and trailing  \n"), std::string::npos);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1 + 7);

    EXPECT_TRUE(reopened.removeKey("multi"));
    EXPECT_FALSE(MarqenKeyFilePreferencesStore(file).stringForKey("multi"));
}

TEST(PreferencesStore, RefusedKeysAndValuesLeaveTheStoreAsItWas) {
    test::TempDir dir;
    MarqenKeyFilePreferencesStore store(dir / "preferences.ini");
    MarqenError error;
    for (const char *key : {"", "a=b", "[group]", "line\nbreak", "sp ace"}) {
        EXPECT_FALSE(store.setString(key, "x", &error)) << key;
        EXPECT_EQ(error.domain, "MarqenPreferencesErrorDomain");
    }
    EXPECT_FALSE(store.setString("zero", std::string("a\0b", 3), &error));
    EXPECT_FALSE(std::filesystem::exists(dir / "preferences.ini"));

    // A folder where the file should be: the write fails and the value is not kept.
    std::filesystem::create_directories(dir / "blocked" / "preferences.ini");
    MarqenKeyFilePreferencesStore blocked(dir / "blocked" / "preferences.ini");
    EXPECT_FALSE(blocked.setString("key", "value", &error));
    EXPECT_FALSE(blocked.stringForKey("key"));
}

TEST(PreferencesStore, UnreadableFileIsLoggedAndReplaced) {
    test::TempDir dir;
    auto file = dir / "preferences.ini";
    test::writeFile(file, "this is [not a key file\n\x01\x02");
    test::LogCapture log;
    MarqenKeyFilePreferencesStore store(file);
    EXPECT_FALSE(store.stringForKey("anything"));
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_NE(log.lines()[0].find("does not read"), std::string::npos);
    EXPECT_TRUE(store.setBool(kMarqenPreferenceExpandableCanvas, false));
    EXPECT_FALSE(MarqenKeyFilePreferencesStore(file).boolForKey(kMarqenPreferenceExpandableCanvas, true));
}

TEST(PreferencesStore, DefaultPathFollowsTheConfigurationFolder) {
    test::EnvironmentInForce absolute("XDG_CONFIG_HOME", "/tmp/marqen-config");
    EXPECT_EQ(MarqenKeyFilePreferencesStore::defaultPath(), "/tmp/marqen-config/marqenkit/preferences.ini");
    test::EnvironmentInForce relative("XDG_CONFIG_HOME", "relative/ignored");  // only absolute folders count
    EXPECT_NE(MarqenKeyFilePreferencesStore::defaultPath().string().rfind("relative", 0), 0u);
}

// The defaults and their effects are pinned through the controller (arrows, canvas growth, typing).
TEST(Preferences, TypedValuesAndNotifications) {
    auto store = std::make_shared<MarqenMemoryPreferencesStore>();
    MarqenPreferences preferences(store);
    std::vector<std::string> changed;
    auto token = NotificationCenter::defaultCenter().addObserver(
        kMarqenPreferencesDidChangeNotification, store.get(),
        [&](const Notification &n) { changed.push_back(*n.value<std::string>("key")); });
    EXPECT_TRUE(preferences.setBool(kMarqenPreferenceArrowheadsAtBeginningOfShape, true));
    EXPECT_TRUE(preferences.setBool(kMarqenPreferenceTypingCreatesTextAnnotation, true));
    EXPECT_EQ(store->stringForKey("preferenceArrowheadsAtBeginningOfShape"), "true");
    store->setString(kMarqenPreferenceExpandableCanvas, "maybe");  // unreadable: the default
    EXPECT_TRUE(preferences.expandableCanvas());

    EXPECT_TRUE(preferences.setToolsModelArchive(R"({"currentTool":{"toolID":3}})"));
    EXPECT_EQ(preferences.toolsModelArchive(), R"({"currentTool":{"toolID":3}})");
    EXPECT_TRUE(preferences.setPersistentPropertyInfo("{}"));
    EXPECT_EQ(preferences.persistentPropertyInfo(), "{}");
    EXPECT_EQ(changed, (std::vector<std::string>{"preferenceArrowheadsAtBeginningOfShape",
                                                 "preferenceTypingCreatesTextAnnotation", "preferenceExpandableCanvas",
                                                 "toolsModelArchive", "persistentPropertyInfo"}));
}
