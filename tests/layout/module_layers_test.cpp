#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include <unistd.h>

namespace fs = std::filesystem;

namespace {

// Modules from the bottom up: each may include the ones before it and never one after it.
const std::vector<std::string> kModuleOrder = {"foundation", "platform", "ink",         "dom",  "formats",
                                               "render",     "editing",  "interaction", "core", "gtk"};

int moduleRank(const std::string &module) {
    for (size_t i = 0; i < kModuleOrder.size(); ++i)
        if (kModuleOrder[i] == module) return static_cast<int>(i);
    return -1;
}

// The module an include names, resolving "../x/y.h" against the including file's folder.
std::string includedModule(const fs::path &relativeFile, const std::string &include) {
    fs::path target = include.rfind("../", 0) == 0 ? (relativeFile.parent_path() / include).lexically_normal()
                                                   : fs::path(include);
    return target.begin() == target.end() ? std::string() : target.begin()->string();
}

std::vector<std::string> upwardIncludes(const fs::path &root) {
    std::vector<std::string> found;
    const std::regex includeLine(R"re(^\s*#\s*include\s+"([^"]+)")re");
    for (const auto &entry : fs::recursive_directory_iterator(root)) {
        if (!entry.is_regular_file()) continue;
        fs::path relative = entry.path().lexically_relative(root);
        int rank = moduleRank(relative.begin()->string());
        if (rank < 0) continue;
        std::ifstream file(entry.path());
        std::string line;
        for (int number = 1; std::getline(file, line); ++number) {
            std::smatch match;
            if (!std::regex_search(line, match, includeLine)) continue;
            int includedRank = moduleRank(includedModule(relative, match[1]));
            if (includedRank > rank)
                found.push_back(relative.string() + ":" + std::to_string(number) + " includes " + match[1].str());
        }
    }
    return found;
}

}  // namespace

TEST(ModuleLayers, NoModuleIncludesAModuleAboveIt) {
    for (const char *tree : {"src", "include/marqenkit"}) {
        fs::path root = fs::path(MARQEN_SOURCE_DIR) / tree;
        ASSERT_TRUE(fs::is_directory(root)) << root;
        EXPECT_EQ(upwardIncludes(root), std::vector<std::string>{}) << tree;
    }
}

TEST(ModuleLayers, TheCheckSeesAnUpwardInclude) {
    fs::path root = fs::temp_directory_path() / ("marqen-layers-" + std::to_string(::getpid()));
    fs::create_directories(root / "dom");
    fs::create_directories(root / "render");
    std::ofstream(root / "dom" / "a.cpp") << "#include \"foundation/geometry.h\"\n#include \"render/x.h\"\n";
    std::ofstream(root / "render" / "b.h") << "#include \"../dom/a.h\"\n";
    std::ofstream(root / "render" / "c.h") << "  #  include \"../formats/../editing/y.h\"\n";
    std::vector<std::string> found = upwardIncludes(root);
    fs::remove_all(root);
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, (std::vector<std::string>{"dom/a.cpp:2 includes render/x.h",
                                               "render/c.h:1 includes ../formats/../editing/y.h"}));
}
