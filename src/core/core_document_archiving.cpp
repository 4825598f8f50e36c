// CoreMarqenDocument archiving: the archive names the restore bundle, which holds the document with its
// unsaved edits, so that another process can reopen it.
//
// A bookmark here is a JSON object: the bundle's "file://" URL with the device and inode numbers of the
// directory it named, so that a restore notices when the name has come to mean another directory.
#include <sys/stat.h>

#include <cstdio>

#include "core/core_document.h"
#include "editing/composition.h"
#include "formats/resource_uri.h"
#include "foundation/json.h"
#include "foundation/log.h"
#include "foundation/string_helpers.h"

namespace marqen {

namespace fs = std::filesystem;

namespace {

std::string fileURLOfPath(const fs::path &path) {
    static const char *hex = "0123456789ABCDEF";
    std::string url = "file://";
    for (unsigned char c : path.string()) {
        if (std::isalnum(c) || std::string_view("/-._~").find(char(c)) != std::string_view::npos) {
            url += char(c);
        } else {
            url += '%';
            url += hex[c >> 4];
            url += hex[c & 15];
        }
    }
    return url;
}

// The path of a "file://" URL; none for another scheme or an empty path.
std::optional<fs::path> pathOfFileURL(const std::string &url) {
    MarqenURIParts parts = MarqenSplitURI(url);
    if (!parts.scheme || marqen_asciiLowercase(*parts.scheme) != "file" || parts.path.empty()) return std::nullopt;
    return fs::path(parts.path);
}

MarqenJSON bookmarkOf(const fs::path &directory, std::string *reason) {
    struct stat info {};
    if (::stat(directory.c_str(), &info) != 0) {
        *reason = directory.string() + " cannot be reached";
        return nullptr;
    }
    return {{"url", fileURLOfPath(directory)}, {"device", uint64_t(info.st_dev)}, {"inode", uint64_t(info.st_ino)}};
}

std::optional<fs::path> resolveBookmark(const MarqenJSON &bookmark) {
    const MarqenJSON *url = bookmark.is_object() ? marqen_objectForKey(bookmark, "url") : nullptr;
    std::optional<fs::path> path = url && url->is_string() ? pathOfFileURL(url->get<std::string>()) : std::nullopt;
    struct stat info {};
    if (!path || ::stat(path->c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
        marqenLog("Error: couldn't restore URL from bookmark: " + marqen_JSONText(bookmark));
        return std::nullopt;
    }
    const MarqenJSON *device = marqen_objectForKey(bookmark, "device");
    const MarqenJSON *inode = marqen_objectForKey(bookmark, "inode");
    if ((device && device->is_number_unsigned() && device->get<uint64_t>() != uint64_t(info.st_dev)) ||
        (inode && inode->is_number_unsigned() && inode->get<uint64_t>() != uint64_t(info.st_ino))) {
        marqenLog("Error: couldn't restore URL from bookmark: " + marqen_JSONText(bookmark) + " now names another directory");
        return std::nullopt;
    }
    return path;
}

}  // namespace

MarqenJSON CoreMarqenDocument::encodeWithCoder() {
    MarqenJSON archive = MarqenJSON::object();
    MarqenError error;
    auto directory = composition_->writeRestoreBundle(&error);
    std::string reason = error.description();
    MarqenJSON bookmark = directory ? bookmarkOf(*directory, &reason) : MarqenJSON(nullptr);
    if (bookmark.is_null()) {
        marqenLog("Error: couldn't encode Document Composition URL as bookmark: " + reason);
        return archive;
    }
    archive[CoreMarqenDocumentURLBookmarkKey] = bookmark;
    return archive;
}

std::shared_ptr<CoreMarqenDocument> CoreMarqenDocument::initWithCoder(const MarqenJSON &archive, MarqenError *error) {
    std::optional<fs::path> directory;
    if (const MarqenJSON *bookmark = archive.is_object() ? marqen_objectForKey(archive, CoreMarqenDocumentURLBookmarkKey) : nullptr) {
        directory = resolveBookmark(*bookmark);
    } else if (const MarqenJSON *coded = archive.is_object() ? marqen_objectForKey(archive, CoreMarqenDocumentCodedURL) : nullptr) {
        // Older archives: the plain URL of the bundle.
        if (coded->is_string()) directory = pathOfFileURL(coded->get<std::string>());
        if (!directory) marqenLog("Error: couldn't restore URL from bookmark: " + marqen_JSONText(*coded));
    }
    std::shared_ptr<MarqenComposition> composition;
    if (directory) composition = MarqenComposition::initWithRestoreURL(*directory, false);
    if (!composition || composition->documents().empty()) {
        marqenFail(error, kCoreMarqenErrorDomain, kCoreMarqenErrorCode, "Unable to read document.");
        return nullptr;
    }
    return std::shared_ptr<CoreMarqenDocument>(new CoreMarqenDocument(std::move(composition)));
}

}  // namespace marqen
