#pragma once
// MarqenComposition: one open piece of work. An ordered list of DOM documents (one per page; a picture
// has one), the bundle directory that backs them on disk, the source PDF when opened from one, one undo
// manager shared by every page, and the save paths: rich images (the flattened picture carrying the
// bundle), rich PDFs (the annotations drawn into the PDF as one update, the document hidden inside),
// flattened images and the document JSON.
//
// The composition is every page's resource coordinator: bitmaps load and store their pixels through it,
// and it answers from its bundle. Pages stack vertically: the composition's size is the widest page by
// the sum of the page heights.
//
// Lifetime: a composition removes its private bundle directory when destroyed, unless that directory is
// the one it was opened from (incomingURL). Create compositions only through the static factories; they
// return null (the reason logged, and in *error when given) when the file cannot be opened.
//
// Threads: main thread. Only writeRichImageToURL / writeImageToURL may be called from another thread;
// they then hand the model work to the main queue (which the main thread must keep draining) and poll
// every 0.1 s until the last page's bitmaps have loaded.
#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "../dom/resource_coordinator.h"
#include "../export.h"
#include "../foundation/error.h"
#include "../foundation/geometry.h"
#include "../foundation/json.h"
#include "../platform/image.h"

namespace marqen {

class MarqenCompositionBundle;
class MarqenDOMDocument;
class MarqenPDF;
class MarqenPDFDocument;
class UndoManager;

inline constexpr const char *MarqenCompositionErrorDomain = "MarqenCompositionErrorDomain";
enum MarqenCompositionErrorCode : long {
    kMarqenCompositionErrorWriteFailed = 0,  // JSON, original PDF, summary page, temporary files
    kMarqenCompositionErrorNotFileURL = 1,   // user info: "url" and "scheme"
    kMarqenCompositionErrorNoPDF = 3,        // an annotated PDF asked of a composition without a PDF, or a PDF that refuses annotating
};
// Rendering or encoding the flattened picture failed: code 1 in this domain.
inline constexpr const char *MarqenGeneralErrorDomain = "MarqenErrorDomain";

// Posted by markPDFDocumentAsModified (object: the composition).
inline constexpr const char *kMarqenCompositionDidModifyOriginalPDFNotification =
    "MarqenCompositionDidModifyOriginalPDFNotification";
// Posted when the page list is replaced (object: the composition). insertDocument and
// deleteDocumentAtIndex replace the list whole, so observers see one change each.
inline constexpr const char *kMarqenCompositionDocumentsDidChangeNotification =
    "MarqenCompositionDocumentsDidChangeNotification";

// The saveFormat of writeRichImageToURL.
enum MarqenCompositionSaveFormat : int {
    kMarqenCompositionSaveFormatPreferred = 0,  // the last page's preferred image profile
    kMarqenCompositionSaveFormatPNG = 1,
    kMarqenCompositionSaveFormatJPEG = 2,
    kMarqenCompositionSaveFormatHEIC = 3,
};

class MARQEN_EXPORT MarqenComposition : public MarqenDOMDocumentResourceCoordinator,
                                        public std::enable_shared_from_this<MarqenComposition> {
public:
    // Refused: throws MarqenGenericException "Unsupported initializer.  Use initWithSize:scale: ,
    // initWithImage:scale: or initScreenshotImage:scale:".
    [[noreturn]] static std::shared_ptr<MarqenComposition> init();
    // A new empty bundle with one blank page of size at scale.
    static std::shared_ptr<MarqenComposition> initWithSize(CGSize size, CGFloat scale);
    // One page over the image (at its pixel size divided by scale). profile: 0 PNG, 1 JPEG, 2 HEIC, the
    // way the picture is stored and the format a preferred save picks; properties: kept with the image
    // (resolution).
    static std::shared_ptr<MarqenComposition> initWithImage(const MarqenImageRef &image, CGFloat scale,
                                                            unsigned long profile, const MarqenJSON &imageProperties);
    // A bundle directory, a rich image (PNG, JPEG, HEIC) or a PDF (plain or rich). Requires the document
    // JSON unless the file is a PDF.
    static std::shared_ptr<MarqenComposition> initWithURL(const std::filesystem::path &url, MarqenError *error = nullptr);
    // With removeURLOnDealloc the directory at url counts as private and is removed with the composition.
    static std::shared_ptr<MarqenComposition> initWithRestoreURL(const std::filesystem::path &url, bool requireJSON,
                                                                 bool removeURLOnDealloc = false,
                                                                 MarqenError *error = nullptr);
    // Opens url, then replaces its pages from the document JSON file (single page, or pages matched by
    // page number for a PDF).
    static std::shared_ptr<MarqenComposition> initWithURL(const std::filesystem::path &url,
                                                          const std::filesystem::path &jsonURL,
                                                          MarqenError *error = nullptr);
    // A document of the older SVG format (extension "marqen") as a new composition.
    static std::shared_ptr<MarqenComposition> convertMarqenSVGAtURL(const std::filesystem::path &url,
                                                                    MarqenError *error = nullptr);
    // Refused: throws MarqenGenericException "Not supported.".
    [[noreturn]] std::shared_ptr<MarqenComposition> copy() const;

    ~MarqenComposition() override;
    MarqenComposition(const MarqenComposition &) = delete;
    MarqenComposition &operator=(const MarqenComposition &) = delete;

    static CGSize defaultBlankDocumentSize() { return {1024, 768}; }
    // A type identifier that names a PDF or an image type.
    static bool isOpenableFileType(const std::string &typeIdentifier);

    // Pages
    const std::vector<std::shared_ptr<MarqenDOMDocument>> &documents() const { return documents_; }
    void setDocuments(std::vector<std::shared_ptr<MarqenDOMDocument>> documents);
    void insertDocument(const std::shared_ptr<MarqenDOMDocument> &document, size_t index);
    void deleteDocumentAtIndex(size_t index);
    size_t pageCount() const { return documents_.size(); }

    const std::shared_ptr<MarqenCompositionBundle> &bundle() const { return bundle_; }
    // The file or directory the composition was opened from, when it is to be kept.
    const std::optional<std::filesystem::path> &incomingURL() const { return incomingURL_; }

    // PDF state (a composition opened from a PDF).
    const std::shared_ptr<MarqenPDFDocument> &pdf() const { return pdf_; }
    const std::shared_ptr<MarqenPDF> &singleFilePDF() const { return singleFilePDF_; }
    bool pdfHasSummaryPage() const { return pdfHasSummaryPage_; }
    bool isMultiPageDocument() const { return pdf_ != nullptr; }
    // The untouched PDF (the bundle's original.pdf); empty without a PDF.
    std::filesystem::path originalPDFURL() const;
    // A copy of the original PDF with page edits (set by whoever edits pages); saving starts from it.
    const std::optional<std::filesystem::path> &modifiedOriginalPDFURL() const { return modifiedOriginalPDFURL_; }
    void setModifiedOriginalPDFURL(const std::optional<std::filesystem::path> &url);
    bool isOriginalPDFDirty() const { return isOriginalPDFDirty_; }
    // Notes that the original PDF's pages changed: dirty when a modified PDF exists, the notification,
    // and the composition needs saving.
    void markPDFDocumentAsModified();

    // Drawn into flattened output over every page when includeWatermark is set: the first page of the PDF,
    // fitted and centred.
    const std::optional<std::filesystem::path> &watermarkPDF() const { return watermarkPDF_; }
    void setWatermarkPDF(const std::optional<std::filesystem::path> &url) { watermarkPDF_ = url; }
    bool includeWatermark() const { return includeWatermark_; }
    void setIncludeWatermark(bool flag) { includeWatermark_ = flag; }

    // Undo: one manager for all pages; setting a new one hands it to every page.
    const std::shared_ptr<UndoManager> &undoManager() const { return undoManager_; }
    void setUndoManager(std::shared_ptr<UndoManager> undoManager);

    // Title, user agents and metadata live in the first page's document.
    std::optional<std::string> title() const;
    void setTitle(const std::optional<std::string> &title);
    std::vector<std::string> userAgentHistory() const;
    void setMetadataObject(const MarqenJSON &object, const std::string &key);
    MarqenJSON metadataObjectForKey(const std::string &key) const;

    // Derived state.
    CGSize size() const;
    bool needsSave() const;
    std::chrono::system_clock::time_point lastModified() const;
    void setLastModified(std::chrono::system_clock::time_point date);
    void markCompositionAsClean();

    // The saved document: a single page's dictionary, or {"pages": [...]} for a PDF with only the pages
    // that show something. Applies pending adjustments first. Nothing without pages.
    std::optional<MarqenJSON> dictionaryRepresentation();

    // Saving. url: a file path, or a "file://" URL (another scheme fails in MarqenCompositionErrorDomain).
    bool writeRichImageToURL(const std::string &url, int saveFormat, MarqenError *error = nullptr);
    bool writeRichImageToURL(const std::string &url, int saveFormat, bool retina, MarqenError *error = nullptr);
    bool writeImageToURL(const std::string &url, int saveFormat, bool retina, MarqenError *error = nullptr);
    bool writeJSONToURL(const std::filesystem::path &url, MarqenError *error = nullptr);
    // The whole composition without the editable document: the annotated PDF for a PDF composition asked
    // for a PDF type, otherwise the flattened first page in the type (failures logged).
    bool writeFlattenedCompositionToURL(const std::filesystem::path &url, const std::string &typeIdentifier,
                                        MarqenError *error = nullptr);
    // One page as a flat picture of the type (quality 0..1 for lossy types; retina: at the page's device
    // scale). A PDF type writes a one-page PDF of the page with its background.
    bool writeFlattenedImageToURL(const std::shared_ptr<MarqenDOMDocument> &document, const std::filesystem::path &url,
                                  const std::string &typeIdentifier, double quality, bool retina,
                                  MarqenError *error = nullptr);
    bool writeOriginalPDFToURL(const std::filesystem::path &url, MarqenError *error = nullptr);
    // The PDF with every page's annotations drawn in as one update; with includeDOM the document hidden
    // inside (the file reopens editable), with includeSummary summary pages in front listing each
    // annotated page (skipped when nothing is annotated).
    bool writeAnnotatedPDFToURL(const std::filesystem::path &url, bool includeDOM, bool includeSummary,
                                const std::string &author, const std::string &summaryTitle,
                                MarqenError *error = nullptr);
    // A page as PNG bytes, or in the type at quality.
    std::optional<std::vector<uint8_t>> createImageRepresentation(const std::shared_ptr<MarqenDOMDocument> &document,
                                                                  MarqenError *error = nullptr);
    std::optional<std::vector<uint8_t>> createImageRepresentationWithFormat(const std::shared_ptr<MarqenDOMDocument> &document,
                                                                            const std::string &typeIdentifier,
                                                                            double quality, MarqenError *error = nullptr);
    // PDF for a PDF composition; else by the page's profile: JPEG, HEIC or PNG.
    std::string preferredFlattenedFormat() const;

    // Resource coordination for the pages, answered from the bundle. Completions come on the main queue.
    void loadResourceWithURI(const std::string &uri, Completion completion) override;
    // An image already stored under the URI is kept (pixel edits always store under a fresh URI).
    void storeResourceWithURI(const std::string &uri, const MarqenImageRef &image, unsigned long profile,
                              const MarqenJSON &imageProperties, Completion completion) override;
    void storeResourceWithURI(const std::string &uri, const std::filesystem::path &dataURL, Completion completion);

    // Stores every page's pixels and the document (unsaved edits included) in the bundle, and keeps the
    // bundle when the composition goes, so that initWithRestoreURL can reopen it later, also in another
    // process. Returns the bundle's directory, or nothing with *error.
    std::optional<std::filesystem::path> writeRestoreBundle(MarqenError *error = nullptr);

    // The resources the pages refer to (what a rich image carries).
    std::vector<std::string> resourceURIsInUse() const;

private:
    struct Private;
    MarqenComposition();
    void commonInit();
    void updateDocumentProperties();
    bool prepareForSave(MarqenError *error);

    std::vector<std::shared_ptr<MarqenDOMDocument>> documents_;
    std::shared_ptr<MarqenCompositionBundle> bundle_;
    std::optional<std::filesystem::path> incomingURL_;
    std::shared_ptr<MarqenPDFDocument> pdf_;
    std::shared_ptr<MarqenPDF> singleFilePDF_;
    bool pdfHasSummaryPage_ = false;
    std::optional<std::filesystem::path> modifiedOriginalPDFURL_;
    bool isOriginalPDFDirty_ = false;
    std::optional<std::filesystem::path> watermarkPDF_;
    bool includeWatermark_ = false;
    std::shared_ptr<UndoManager> undoManager_;
    std::unique_ptr<Private> private_;
};

}  // namespace marqen
