// MarqenCompositionBundle: layout, resource listing and resource URIs.
#include "formats/composition_bundle.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "dom/bitmap.h"
#include "formats/resource_uri.h"
#include "formats/rich_image/composition_png_codec.h"
#include "foundation/log.h"
#include "foundation/string_helpers.h"
#include "foundation/uuid.h"

namespace marqen {

namespace fs = std::filesystem;

namespace {

constexpr const char *kIndexName = "index.json";
constexpr const char *kOlderIndexName = "document.marqen";

bool isSymlink(const fs::path &path) {
    std::error_code ec;
    return fs::is_symlink(fs::symlink_status(path, ec));
}

bool fileAccessFailure(MarqenError *error, const fs::path &path, const std::string &reason) {
    return marqenFail(error, MarqenCompositionBundleErrorDomain, kMarqenCompositionBundleErrorFileAccess,
                      "Cannot write " + path.string() + ": " + reason + ".");
}

// A plain write that never follows a symbolic link out of the bundle.
bool writePlainFile(const fs::path &path, const std::string &data, MarqenError *error) {
    int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (fd < 0) return fileAccessFailure(error, path, std::strerror(errno));
    size_t written = 0;
    while (written < data.size()) {
        ssize_t count = ::write(fd, data.data() + written, data.size() - written);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) {
            std::string reason = std::strerror(errno);
            ::close(fd);
            return fileAccessFailure(error, path, reason);
        }
        written += size_t(count);
    }
    if (::close(fd) != 0) return fileAccessFailure(error, path, std::strerror(errno));
    return true;
}

}  // namespace

MarqenCompositionBundle::~MarqenCompositionBundle() = default;

std::shared_ptr<MarqenCompositionBundle> MarqenCompositionBundle::init() {
    std::error_code ec;
    fs::path directory = fs::temp_directory_path(ec) / marqen_stringWithNewUUID();
    if (ec || !fs::create_directories(directory, ec)) return nullptr;
    std::shared_ptr<MarqenCompositionBundle> bundle(new MarqenCompositionBundle);
    bundle->setURL(directory);
    return bundle;
}

std::shared_ptr<MarqenCompositionBundle> MarqenCompositionBundle::initWithURL(const std::string &url) {
    MarqenURIParts parts = MarqenSplitURI(url);
    if (!parts.scheme || marqen_asciiLowercase(*parts.scheme) != "file") return nullptr;
    return initWithPath(parts.path);
}

std::shared_ptr<MarqenCompositionBundle> MarqenCompositionBundle::initWithPath(const fs::path &path) {
    std::error_code ec;
    if (path.empty() || !fs::exists(path, ec)) return nullptr;
    std::shared_ptr<MarqenCompositionBundle> bundle(new MarqenCompositionBundle);
    if (!fs::is_directory(path, ec)) {
        bundle->extractContentsOfURL(path);
        return bundle;
    }
    bundle->setURL(path);
    if (fs::exists(bundle->originalPDFFileURL(), ec) && !bundle->extractPDF(bundle->originalPDFFileURL())) return nullptr;
    return bundle;
}

std::shared_ptr<MarqenCompositionBundle> MarqenCompositionBundle::bundleAtDirectory(const fs::path &directory) {
    std::shared_ptr<MarqenCompositionBundle> bundle(new MarqenCompositionBundle);
    bundle->setURL(directory);
    std::error_code ec;
    if (!fs::is_directory(bundle->resourcesURL(), ec)) return nullptr;
    return bundle;
}

void MarqenCompositionBundle::setURL(const fs::path &url) {
    url_ = url;
    std::error_code ec;
    fs::create_directories(resourcesURL(), ec);
}

fs::path MarqenCompositionBundle::resourcesURL() const { return url_ / "Contents" / "Resources"; }
fs::path MarqenCompositionBundle::previewURL() const { return resourcesURL() / "preview.png"; }
fs::path MarqenCompositionBundle::originalPDFFileURL() const { return resourcesURL() / "original.pdf"; }

fs::path MarqenCompositionBundle::indexJSONFileURL() const {
    std::error_code ec;
    fs::path index = resourcesURL() / kIndexName;
    if (fs::exists(index, ec)) return index;
    fs::path older = resourcesURL() / kOlderIndexName;
    if (fs::exists(older, ec)) return older;
    return index;
}

bool MarqenCompositionBundle::writeDataForIndexJSONFile(const std::string &data, MarqenError *error) {
    return writePlainFile(indexJSONFileURL(), data, error);
}

bool MarqenCompositionBundle::writeDataForPreview(const std::string &data, MarqenError *error) {
    return writePlainFile(previewURL(), data, error);
}

bool MarqenCompositionBundle::writePNGAtPath(const fs::path &destination, MarqenError *error) {
    MarqenCompositionPNGCodec codec;
    return codec.encodeBundle(shared_from_this(), destination, error);
}

std::vector<MarqenCompositionBundleResource> MarqenCompositionBundle::resources() const {
    std::vector<MarqenCompositionBundleResource> found;
    const fs::path directory = resourcesURL();
    if (isSymlink(directory) || isSymlink(directory.parent_path())) {
        marqenLog("Skipped the resources of " + url_.string() + ": the resources directory is a symbolic link");
        return found;
    }
    std::error_code ec;
    for (fs::directory_iterator it(directory, ec), end; !ec && it != end; it.increment(ec)) {
        const std::string name = it->path().filename().string();
        if (MarqenCountUUIDMatches(name) != 1) continue;
        std::error_code statusError;
        if (!fs::is_regular_file(it->symlink_status(statusError))) {
            marqenLog("Skipped resource " + name + ": not a regular file");
            continue;
        }
        found.push_back({URIFromUuid(name), it->path()});
    }
    return found;
}

std::optional<fs::path> MarqenCompositionBundle::confinedResourcePath(const std::string &name) const {
    if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos ||
        name.find('\0') != std::string::npos) {
        marqenLog("Refused resource name \"" + name + "\": it would leave the bundle");
        return std::nullopt;
    }
    fs::path path = resourcesURL() / name;
    if (isSymlink(path) || isSymlink(resourcesURL()) || isSymlink(resourcesURL().parent_path())) {
        marqenLog("Refused resource \"" + name + "\": a symbolic link");
        return std::nullopt;
    }
    return path;
}

std::optional<fs::path> MarqenCompositionBundle::resourceURLForResourceURI(const std::string &uri,
                                                                           MarqenError *error) const {
    MarqenError readError;
    std::optional<std::string> uuid = uuidFromURI(uri, error ? &readError : nullptr);
    if (uuid) {
        auto path = confinedResourcePath(*uuid);
        if (!path)
            marqenFail(error, MarqenCompositionBundleErrorDomain, kMarqenCompositionBundleErrorOutsideBundle,
                       "The resource " + uri + " would lie outside the bundle.");
        return path;
    }
    if (!error || uri.empty()) return std::nullopt;
    *error = readError;
    // Older documents stored resources under other names: the URI's path as it stands, or with an
    // upper-case name part.
    const std::string name = MarqenTrimCharacters(MarqenSplitURI(uri).path, "/");
    fs::path asWritten(name);
    std::string stem = asWritten.stem().string();
    for (char &c : stem) c = char(std::toupper(uint8_t(c)));
    for (const std::string &candidate : {name, stem + asWritten.extension().string()}) {
        if (candidate.empty() || candidate.find('/') != std::string::npos || candidate == "..") continue;
        std::error_code ec;
        auto path = confinedResourcePath(candidate);
        if (path && fs::exists(*path, ec)) {
            *error = MarqenError{};
            return path;
        }
    }
    return std::nullopt;
}

bool MarqenCompositionBundle::writeDataFromURL(const fs::path &source, const std::string &uri, MarqenError *error) {
    MarqenError located;
    auto target = resourceURLForResourceURI(uri, &located);
    if (!target || !located.domain.empty()) {
        if (error) *error = located;
        return false;
    }
    std::error_code ec;
    fs::remove(*target, ec);
    if (!fs::copy_file(source, *target, ec)) return fileAccessFailure(error, *target, ec.message());
    return true;
}

std::optional<std::string> MarqenCompositionBundle::uuidFromURI(const std::string &uri, MarqenError *error) {
    if (uri.empty()) return std::nullopt;
    MarqenURIParts parts = MarqenSplitURI(uri);
    if (!parts.scheme || marqen_asciiLowercase(*parts.scheme) != MarqenCompositionBundleURIScheme) {
        if (error) {
            *error = MarqenError{MarqenCompositionBundleErrorDomain, kMarqenCompositionBundleErrorNotUUIDScheme, {}};
            error->userInfo["uri"] = uri;
            // Keyed by the URI itself, as older readers expect.
            error->userInfo[uri] = parts.scheme ? nlohmann::ordered_json(*parts.scheme) : nlohmann::ordered_json(nullptr);
        }
        return std::nullopt;
    }
    std::string trimmed = MarqenTrimCharacters(parts.path, "./");
    if (MarqenCountUUIDMatches(trimmed) == 0) {
        if (error) {
            *error = MarqenError{MarqenCompositionBundleErrorDomain, kMarqenCompositionBundleErrorNoUUID, {}};
            error->userInfo["uri"] = uri;
            error->userInfo["uuid"] = trimmed;
        }
        return std::nullopt;
    }
    return marqen_asciiLowercase(trimmed);
}

std::string MarqenCompositionBundle::URIFromUuid(const std::string &uuid) {
    return std::string(MarqenCompositionBundleURIScheme) + ":///" + marqen_asciiLowercase(uuid);
}

bool MarqenCompositionBundle::URIisUUIDURI(const std::string &uri) {
    MarqenURIParts parts = MarqenSplitURI(uri);
    return parts.scheme && marqen_asciiLowercase(*parts.scheme) == MarqenCompositionBundleURIScheme &&
           MarqenCountUUIDMatches(MarqenTrimCharacters(parts.path, "./")) > 0;
}

std::string MarqenCompositionBundle::sanitizedURIForURI(const std::string &uri) {
    return URIisUUIDURI(uri) ? uri : MarqenDOMBitmap::marqenDOMBitmapCreateUri();
}

const char *MarqenCompositionBundle::uuidRegularExpression() {
    return "[a-f0-9]{8}-[a-f0-9]{4}-[a-f0-9]{4}-[a-f0-9]{4}-[a-f0-9]{12}";
}

}  // namespace marqen
