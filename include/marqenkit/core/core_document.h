#pragma once
// CoreMarqenDocument: the small entry point through which a host opens a file, creates a new document,
// saves or exports it, and keeps it across restarts. It wraps one MarqenComposition, which does the
// work, and picks the reader and writer from the file's type. Failures are errors in domain "CoreMarqen"
// with code -1; problems that do not stop an operation go to the shared log (CoreMarqenLog). Opening and
// saving post usage events ("Document", "Open" or "Save", the type or format identifier) through
// MarqenAnalytics.
//
// Threads: main thread, like the composition it wraps.
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "../export.h"
#include "../foundation/error.h"
#include "../foundation/geometry.h"
#include "../foundation/json.h"
#include "../formats/export_format.h"
#include "../platform/image.h"

namespace marqen {

class MarqenComposition;

inline constexpr const char *kCoreMarqenErrorDomain = "CoreMarqen";
inline constexpr long kCoreMarqenErrorCode = -1;

// Keys of the options object given to writeToURL and imageRepresentationWithFormat.
inline constexpr const char *CoreMarqenDocumentOptionCompression = "CoreMarqenDocumentOptionCompression";  // 0..1, default 0.8
inline constexpr const char *CoreMarqenDocumentOptionPDFAuthor = "CoreMarqenDocumentOptionPDFAuthor";
inline constexpr const char *CoreMarqenDocumentOptionPDFSummaryTitle = "CoreMarqenDocumentOptionPDFSummaryTitle";
inline constexpr const char *CoreMarqenDocumentOptionPDFPageIndex = "CoreMarqenDocumentOptionPDFPageIndex";  // default 0

// Keys of an archive (encodeWithCoder / initWithCoder).
inline constexpr const char *CoreMarqenDocumentURLBookmarkKey = "CoreMarqenDocumentURLBookmarkKey";
inline constexpr const char *CoreMarqenDocumentCodedURL = "CoreMarqenDocumentCodedURL";  // older archives: a plain URL

// Type identifiers of the library's own files (besides the image and PDF types of export_format.h).
inline constexpr const char *kMarqenTypeJPEG2000 = "public.jpeg-2000";
inline constexpr const char *kMarqenTypeCompositionBundle = "com.brondale.marqen.bundle";
inline constexpr const char *kMarqenTypeLegacySVGDocument = "com.brondale.marqen.svg";

// The type of a file from its content ("marqen" files by their extension, bundles as directories); none
// with an error in "CoreMarqen" for a file that cannot be read or is of no type the library knows.
MARQEN_EXPORT std::optional<std::string> CoreMarqenTypeIdentifierOfURL(const std::filesystem::path &url,
                                                                      MarqenError *error = nullptr);
// The image profile a picture file is kept in when opened: a JPEG (1) or HEIC (2) that embeds a colour
// profile is a photograph and stays lossy; anything else (a screenshot) is kept losslessly (none).
MARQEN_EXPORT std::optional<unsigned long> MarqenImageFileURLProfile(const std::filesystem::path &url);

class MARQEN_EXPORT CoreMarqenDocument {
public:
    // Opens a picture, a rich picture, a PDF, a bundle directory or a legacy "marqen" file. formatOut, when
    // given, receives the format the file was found in (with isDOMEmbedded / isPDFWithSummary set).
    static std::shared_ptr<CoreMarqenDocument> initWithURL(const std::filesystem::path &url,
                                                           std::optional<MarqenExportFormat> *formatOut = nullptr,
                                                           MarqenError *error = nullptr);
    // A blank document; scale 1 when scale <= 1, else 2.
    static std::shared_ptr<CoreMarqenDocument> initWithSize(CGSize size, CGFloat scale);
    // A document over the picture at its pixel size. lossy: kept with its properties as a lossy profile at
    // scale 1; otherwise lossless at scale 1 or 2 as above.
    static std::shared_ptr<CoreMarqenDocument> initWithBackgroundImage(const MarqenImageRef &image, CGFloat scale,
                                                                       const MarqenJSON &imageProperties, bool lossy);
    // A facade over a composition made elsewhere (for example MarqenComposition::initWithURL(url, jsonURL)).
    // Null for a null composition or one without pages.
    static std::shared_ptr<CoreMarqenDocument> documentWithComposition(std::shared_ptr<MarqenComposition> composition);
    // Restores an archive made by encodeWithCoder (here or in another process); older archives name the
    // bundle under CoreMarqenDocumentCodedURL. Null with an error when the bundle cannot be opened.
    static std::shared_ptr<CoreMarqenDocument> initWithCoder(const MarqenJSON &archive, MarqenError *error = nullptr);
    // Saves the current state (unsaved edits included) into the composition's bundle, keeps that bundle
    // for a later restore, and returns the archive naming it. Problems are logged; the archive then holds
    // no bookmark.
    MarqenJSON encodeWithCoder();

    const std::shared_ptr<MarqenComposition> &documentComposition() const { return composition_; }

    std::optional<std::string> title() const;
    void setTitle(const std::optional<std::string> &title);
    size_t pageCount() const;
    bool forcesOpaqueBackground() const;
    void setForcesOpaqueBackground(bool flag);

    // Annotated PDF for a PDF composition asked for PDF; a rich picture for a DOM-embedded format; else a
    // flat picture of the first page (a PDF composition: of every page in a PDF) at the compression option.
    bool writeToURL(const std::filesystem::path &url, const MarqenExportFormat &format, const MarqenJSON &options,
                    MarqenError *error = nullptr);
    // The file as it was before annotation: the original PDF, or the background picture's own file.
    bool writeCleanUnannotatedToURL(const std::filesystem::path &url, MarqenError *error = nullptr);
    // A flat picture of one page (CoreMarqenDocumentOptionPDFPageIndex, clamped to the last page) in the
    // format's type; nothing for formats that embed the document or are PDF.
    std::optional<std::vector<uint8_t>> imageRepresentationWithFormat(const MarqenExportFormat &format,
                                                                      const MarqenJSON &options);

private:
    explicit CoreMarqenDocument(std::shared_ptr<MarqenComposition> composition) : composition_(std::move(composition)) {}
    std::shared_ptr<MarqenComposition> composition_;
};

}  // namespace marqen
