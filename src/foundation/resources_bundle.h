#pragma once
// The directory that holds the library's own resources (images, stamps, string tables).
//
// Threads: safe on any thread (the directory is found once).
#include <filesystem>

namespace marqen {

// The environment variable that points the library at another resources directory.
inline constexpr const char *kMarqenResourcesDirectoryEnvironmentVariable = "MARQEN_RESOURCES_DIR";

// The resources directory, looked up once per process and cached (see marqenLocateResourcesDirectory).
const std::filesystem::path &marqenResourcesBundle();

// The lookup behind marqenResourcesBundle, done afresh: $MARQEN_RESOURCES_DIR when set and not empty;
// else the installed <prefix>/share/marqenkit when it exists; else the source tree's resources folder.
std::filesystem::path marqenLocateResourcesDirectory();

}  // namespace marqen
