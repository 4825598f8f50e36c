#include "foundation/resources_bundle.h"

#include <cstdlib>
#include <system_error>

namespace marqen {

// Both are set by the build; the fallbacks keep a build without them usable from the working directory.
#ifndef MARQEN_INSTALLED_RESOURCES_DIR
#define MARQEN_INSTALLED_RESOURCES_DIR "/usr/local/share/marqenkit"
#endif
#ifndef MARQEN_SOURCE_RESOURCES_DIR
#define MARQEN_SOURCE_RESOURCES_DIR "resources"
#endif

std::filesystem::path marqenLocateResourcesDirectory() {
    const char *fromEnvironment = std::getenv(kMarqenResourcesDirectoryEnvironmentVariable);
    if (fromEnvironment && *fromEnvironment) return fromEnvironment;
    std::error_code error;
    std::filesystem::path installed = MARQEN_INSTALLED_RESOURCES_DIR;
    if (std::filesystem::is_directory(installed, error)) return installed;
    return MARQEN_SOURCE_RESOURCES_DIR;
}

const std::filesystem::path &marqenResourcesBundle() {
    static const std::filesystem::path directory = marqenLocateResourcesDirectory();
    return directory;
}

}  // namespace marqen
