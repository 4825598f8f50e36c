#include "formats/directory_resource_coordinator.h"

#include <algorithm>
#include <cctype>
#include <regex>

#include "foundation/log.h"
#include "foundation/queues.h"
#include "platform/image_io.h"
#include "foundation/string_helpers.h"

namespace marqen {

namespace {

constexpr const char *kScheme = "marqen+uuid:";

bool fail(MarqenError *error, long code, const std::string &description) {
    return marqenFail(error, MarqenDOMDocumentResourceCoordinatorErrorDomain, code, description);
}

const std::regex &resourceNamePattern() {
    static const std::regex pattern("^[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}(\\.[a-z0-9]{1,10})?$");
    return pattern;
}

MarqenImageFormat formatForProfile(unsigned long profile) {
    switch (profile) {
        case MarqenImageProfileJPEG: return MarqenImageFormat::JPEG;
        case MarqenImageProfileHEIC: return MarqenImageFormat::HEIC;
        default: return MarqenImageFormat::PNG;
    }
}

}  // namespace

std::shared_ptr<MarqenDirectoryResourceCoordinator> MarqenDirectoryResourceCoordinator::create(
    const std::filesystem::path &directory, MarqenError *error) {
    std::error_code code;
    auto canonical = std::filesystem::canonical(directory, code);
    if (code || !std::filesystem::is_directory(canonical, code)) {
        fail(error, MarqenResourceErrorNotFound, "Not a resources directory: " + directory.string());
        return nullptr;
    }
    return std::shared_ptr<MarqenDirectoryResourceCoordinator>(new MarqenDirectoryResourceCoordinator(canonical));
}

std::optional<std::string> MarqenDirectoryResourceCoordinator::fileNameForURI(const std::string &uri) {
    const size_t schemeLength = std::string(kScheme).size();
    if (uri.size() <= schemeLength || marqen_asciiLowercase(uri.substr(0, schemeLength)) != kScheme)
        return std::nullopt;
    std::string path = uri.substr(std::string(kScheme).size());
    // The path without the leading slashes (and any dots around it), as a bundle reads it.
    size_t first = path.find_first_not_of("./");
    size_t last = path.find_last_not_of("./");
    if (first == std::string::npos) return std::nullopt;
    std::string name = marqen_asciiLowercase(path.substr(first, last - first + 1));
    if (!std::regex_match(name, resourceNamePattern())) return std::nullopt;
    return name;
}

bool MarqenDirectoryResourceCoordinator::isInside(const std::filesystem::path &file) const {
    std::error_code code;
    auto resolved = std::filesystem::weakly_canonical(file, code);
    if (code) return false;
    auto parent = resolved.parent_path();
    return parent == directory_;
}

std::optional<std::filesystem::path> MarqenDirectoryResourceCoordinator::fileForURI(const std::string &uri,
                                                                                   bool mustExist,
                                                                                   MarqenError *error) const {
    auto name = fileNameForURI(uri);
    if (!name) {
        marqenLog("Refused resource URI " + uri + ": not a resource UUID URI");
        fail(error, MarqenResourceErrorInvalidURI, "Not a resource URI: " + uri);
        return std::nullopt;
    }
    std::error_code code;
    std::filesystem::path file = directory_ / *name;
    if (!std::filesystem::exists(std::filesystem::symlink_status(file, code))) {
        // A file stored with its type's extension ("<uuid>.png") answers for the bare UUID.
        std::optional<std::filesystem::path> found;
        if (name->find('.') == std::string::npos) {
            for (const auto &entry : std::filesystem::directory_iterator(directory_, code)) {
                const std::string entryName = marqen_asciiLowercase(entry.path().filename().string());
                if (entryName.size() > name->size() + 1 && entryName.compare(0, name->size() + 1, *name + ".") == 0 &&
                    std::regex_match(entryName, resourceNamePattern())) {
                    found = entry.path();
                    break;
                }
            }
        }
        if (found) file = *found;
        else if (mustExist) {
            fail(error, MarqenResourceErrorNotFound, "No resource file for " + uri);
            return std::nullopt;
        } else {
            return file;
        }
    }
    if (!isInside(file)) {
        marqenLog("Refused resource URI " + uri + ": its file resolves outside " + directory_.string());
        fail(error, MarqenResourceErrorOutsideStorage, "The resource file for " + uri + " lies outside the resources directory");
        return std::nullopt;
    }
    // The file itself, not a link to it: readers open the answer without following links, so a link
    // swapped in after this check is refused rather than followed out of the directory.
    auto resolved = std::filesystem::weakly_canonical(file, code);
    return code ? file : resolved;
}

MarqenDirectoryResourceCoordinator::MarqenDirectoryResourceCoordinator(std::filesystem::path directory)
    : directory_(std::move(directory)), queue_(std::make_unique<SerialQueue>()) {}

MarqenDirectoryResourceCoordinator::~MarqenDirectoryResourceCoordinator() = default;

std::optional<std::filesystem::path> MarqenDirectoryResourceCoordinator::loadFile(const std::string &uri,
                                                                                 MarqenError *error) const {
    return fileForURI(uri, true, error);
}

std::optional<std::filesystem::path> MarqenDirectoryResourceCoordinator::storeFile(const std::string &uri,
                                                                                  const MarqenImage *image,
                                                                                  unsigned long profile,
                                                                                  const MarqenJSON &imageProperties,
                                                                                  MarqenError *error) const {
    auto file = fileForURI(uri, false, error);
    if (!file) return std::nullopt;
    std::error_code code;
    if (!image) {
        // Nothing new to write: what is stored stays.
        if (std::filesystem::is_regular_file(*file, code)) return file;
        fail(error, MarqenResourceErrorNoImage, "No image to store for " + uri);
        return std::nullopt;
    }
    MarqenImageEncodeOptions options;
    auto dpi = [&](const char *key) {
        const MarqenJSON *value = marqen_objectForKey(imageProperties, key);
        return value && value->is_number() && value->get<double>() > 0 ? value->get<double>() : 72.0;
    };
    options.dpiWidth = dpi(kMarqenImagePropertyDPIWidth);
    options.dpiHeight = dpi(kMarqenImagePropertyDPIHeight);
    if (profile == MarqenImageProfileJPEG) options.quality = 0.9;
    MarqenError writeError;
    // Written beside the target and renamed over it: a symbolic link in its place is replaced, not followed.
    if (!MarqenImageWriteToFile(*image, *file, formatForProfile(profile), options, &writeError)) {
        fail(error, MarqenResourceErrorWriteFailed, "Unable to store " + uri + ": " + writeError.description());
        return std::nullopt;
    }
    return file;
}

void MarqenDirectoryResourceCoordinator::deliver(Completion completion, std::optional<std::filesystem::path> file,
                                                 std::string uri, std::optional<MarqenError> error) {
    MainQueue::shared().async([completion = std::move(completion), file = std::move(file), uri = std::move(uri),
                               error = std::move(error)] {
        completion(file.value_or(std::filesystem::path()), uri, error ? &*error : nullptr);
    });
}

// The queued work holds the coordinator only through a raw pointer: the queue belongs to the coordinator,
// whose destructor finishes the queue's work before anything else goes.
void MarqenDirectoryResourceCoordinator::loadResourceWithURI(const std::string &uri, Completion completion) {
    queue_->addOperation([this, uri, completion = std::move(completion)]() mutable {
        MarqenError error;
        auto file = loadFile(uri, &error);
        deliver(std::move(completion), file, uri, file ? std::nullopt : std::optional<MarqenError>(error));
    });
}

void MarqenDirectoryResourceCoordinator::storeResourceWithURI(const std::string &uri, const MarqenImageRef &image,
                                                              unsigned long profile, const MarqenJSON &imageProperties,
                                                              Completion completion) {
    queue_->addOperation([this, uri, image, profile, imageProperties, completion = std::move(completion)]() mutable {
        MarqenError error;
        auto file = storeFile(uri, image.get(), profile, imageProperties, &error);
        deliver(std::move(completion), file, uri, file ? std::nullopt : std::optional<MarqenError>(error));
    });
}

}  // namespace marqen
