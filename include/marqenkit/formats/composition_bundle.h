#pragma once
// MarqenCompositionBundle: the on-disk working form of one annotated document. A directory whose
// Contents/Resources holds "index.json" (the document; "document.marqen" is its older name), one file per
// resource named by a UUID, "preview.png" (the flattened picture, in PNG, JPEG or HEIC whatever the name)
// and, for PDFs, "original.pdf" without the annotations.
//
// A bundle never reads or writes outside its resources directory: resource names that would escape it
// ("/" or ".." in them) and entries that are symbolic links or not regular files are refused and logged.
// Thread affinity: main thread (the composition's); the bundle is not locked.
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "../export.h"
#include "../foundation/error.h"

namespace marqen {

class MarqenPDF;
class MarqenPDFDocument;

inline constexpr const char *MarqenCompositionBundleErrorDomain = "MarqenCompositionBundleErrorDomain";
enum MarqenCompositionBundleError : long {
    kMarqenCompositionBundleErrorNotUUIDScheme = 0,  // user info: "uri" and, keyed by the URI itself, its scheme
    kMarqenCompositionBundleErrorNoUUID = 1,         // user info: "uri" and "uuid" (the trimmed path)
    kMarqenCompositionBundleErrorOutsideBundle = 2,  // the name would leave the resources directory
    kMarqenCompositionBundleErrorFileAccess = 3,     // a file could not be read or written
};

inline constexpr const char *MarqenCompositionBundleURIScheme = "marqen+uuid";

struct MARQEN_EXPORT MarqenCompositionBundleResource {
    std::string resourceURI;
    std::filesystem::path dataURL;
};

class MARQEN_EXPORT MarqenCompositionBundle : public std::enable_shared_from_this<MarqenCompositionBundle> {
public:
    // A bundle in a fresh directory (named by a new UUID) in the temporary directory; null when it cannot
    // be created.
    static std::shared_ptr<MarqenCompositionBundle> init();
    // url is a "file://" URL of a bundle directory, a rich image or a PDF. A file is unpacked into a fresh
    // "<UUID>.marqen" directory in the temporary directory (the bundle comes back even when that fails; the
    // failure is logged). A directory is used as it is; when it holds an original.pdf, that is opened and
    // its failure gives null. Null for another scheme or a path that does not exist.
    static std::shared_ptr<MarqenCompositionBundle> initWithURL(const std::string &url);
    // The same for a plain file-system path.
    static std::shared_ptr<MarqenCompositionBundle> initWithPath(const std::filesystem::path &path);
    // A bundle at directory, created (with Contents/Resources) when missing; null when it cannot be.
    static std::shared_ptr<MarqenCompositionBundle> bundleAtDirectory(const std::filesystem::path &directory);
    ~MarqenCompositionBundle();

    const std::filesystem::path &URL() const { return url_; }
    // Setting the directory also creates Contents/Resources (failures ignored).
    void setURL(const std::filesystem::path &url);
    std::filesystem::path resourcesURL() const;

    // Unpacks a PDF or image into a new directory in the temporary directory.
    bool extractContentsOfURL(const std::filesystem::path &file);
    // Unpacks into the bundle's current directory: a PDF through extractPDF, anything else as a rich image.
    bool extractContentsIntoBundle(const std::filesystem::path &file);
    // Keeps the PDF as `pdf`, writes original.pdf (the untouched part of a rich PDF, or a copy) and, for
    // a rich PDF, the embedded document as the index.
    bool extractPDF(const std::filesystem::path &file);
    // Packs the bundle as a rich image at destination (see MarqenCompositionPNGCodec).
    bool writePNGAtPath(const std::filesystem::path &destination, MarqenError *error);

    // The resources directory's entries whose name holds exactly one UUID, in listing order.
    std::vector<MarqenCompositionBundleResource> resources() const;

    // index.json when it exists, else document.marqen when that exists, else index.json.
    std::filesystem::path indexJSONFileURL() const;
    bool writeDataForIndexJSONFile(const std::string &data, MarqenError *error);
    std::filesystem::path previewURL() const;
    bool writeDataForPreview(const std::string &data, MarqenError *error);
    std::filesystem::path originalPDFFileURL() const;

    // The file of a resource: the resources directory + the URI's UUID text. When the URI does not read
    // (and only when error is given), older names are tried: the URI's path as it stands, then with its
    // name part upper-cased; the first that exists clears the error.
    std::optional<std::filesystem::path> resourceURLForResourceURI(const std::string &uri, MarqenError *error) const;
    bool writeDataFromURL(const std::filesystem::path &source, const std::string &uri, MarqenError *error);

    // The URI's path trimmed of "." and "/" at both ends, in lower case, when it holds a UUID.
    static std::optional<std::string> uuidFromURI(const std::string &uri, MarqenError *error);
    static std::string URIFromUuid(const std::string &uuid);
    static bool URIisUUIDURI(const std::string &uri);
    static std::string sanitizedURIForURI(const std::string &uri);
    static const char *uuidRegularExpression();

    const std::shared_ptr<MarqenPDFDocument> &pdf() const { return pdf_; }
    const std::shared_ptr<MarqenPDF> &marqenPDF() const { return marqenPDF_; }
    bool PDFHasSummaryPage() const { return pdfHasSummaryPage_; }

private:
    MarqenCompositionBundle() = default;
    // The entry name inside the resources directory, or nothing (logged) when it would leave it or is a
    // symbolic link.
    std::optional<std::filesystem::path> confinedResourcePath(const std::string &name) const;

    std::filesystem::path url_;
    std::shared_ptr<MarqenPDFDocument> pdf_;
    std::shared_ptr<MarqenPDF> marqenPDF_;
    bool pdfHasSummaryPage_ = false;
};

}  // namespace marqen
