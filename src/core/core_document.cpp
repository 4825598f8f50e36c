// CoreMarqenDocument: opening by file type, writing by format, the clean file and page pictures.
#include "core/core_document.h"

#include <algorithm>
#include <atomic>
#include <cmath>

#include "dom/bitmap.h"
#include "dom/document.h"
#include "dom/layer.h"
#include "editing/analytics.h"
#include "editing/composition.h"
#include "formats/dom_json_file.h"
#include "formats/pdf/pdf_file.h"
#include "formats/rich_image/rich_heic.h"
#include "formats/rich_image/rich_jpeg.h"
#include "formats/rich_image/rich_png.h"
#include "foundation/localization.h"
#include "foundation/log.h"
#include "foundation/queues.h"
#include "platform/image_io.h"

namespace marqen {

namespace fs = std::filesystem;

namespace {

// Fills *error with the facade's error unless an error is set already; returns false.
bool facadeFailure(MarqenError *error, const char *description) {
    if (error && error->domain.empty()) {
        marqenFail(error, kCoreMarqenErrorDomain, kCoreMarqenErrorCode,
                   MarqenLocalizedString(description, kMarqenLocalizationTable));
    }
    return false;
}

bool pdfCannotBeAnnotated(MarqenError *error) {
    if (!error) return false;
    marqenFail(error, kCoreMarqenErrorDomain, kCoreMarqenErrorCode,
               MarqenLocalizedString("Unable to annotate this PDF", kMarqenLocalizationTable));
    error->userInfo[kMarqenLocalizedRecoverySuggestionKey] = MarqenLocalizedString(
        "This PDF may be corrupt and cannot be annotated. We recommend re-saving the document in a PDF editing "
        "application and try annotating again.",
        kMarqenLocalizationTable);
    return false;
}

double doubleOption(const MarqenJSON &options, const char *key, double fallback) {
    const MarqenJSON *value = options.is_object() ? marqen_objectForKey(options, key) : nullptr;
    return value && marqen_isNumber(*value) && std::isfinite(marqen_doubleValue(*value)) ? marqen_doubleValue(*value) : fallback;
}

std::string stringOption(const MarqenJSON &options, const char *key) {
    const MarqenJSON *value = options.is_object() ? marqen_objectForKey(options, key) : nullptr;
    return value && value->is_string() ? value->get<std::string>() : std::string();
}

size_t pageIndexOption(const MarqenJSON &options, size_t pageCount) {
    const double index = doubleOption(options, CoreMarqenDocumentOptionPDFPageIndex, 0);
    const size_t last = pageCount ? pageCount - 1 : 0;
    return index <= 0 ? 0 : std::min(last, size_t(std::min(index, double(last))));
}

bool isType(const std::string &uti, const char *type) { return MarqenTypeIdentifierEquals(uti, type); }

// The scale of a picture file: 2 from 144 dpi up (a HiDPI screen), else 1.
CGFloat scaleForResolution(const MarqenImageProperties &properties) {
    auto dpi = properties.dpiWidth();
    return dpi && std::lround(*dpi) >= 144 ? 2.0 : 1.0;
}

// Only PDFs, bundles and rich pictures can hold a composition; a plain picture goes straight to the
// picture path instead of being unpacked into a bundle that would stay empty.
bool mayHoldComposition(const fs::path &url, const std::string &type) {
    if (isType(type, kMarqenTypePNG)) return URLContainsMarqenPNGChunks(url.c_str());
    if (isType(type, kMarqenTypeJPEG)) return MarqenJPGImageIsValidMarqenJPG(url.c_str());
    if (isType(type, kMarqenTypeHEIC)) return MarqenHEICImageIsValidMarqenHEIC(url.c_str());
    return isType(type, kMarqenTypePDF) || isType(type, kMarqenTypeCompositionBundle);
}

}  // namespace

std::shared_ptr<CoreMarqenDocument> CoreMarqenDocument::initWithURL(const fs::path &url,
                                                                    std::optional<MarqenExportFormat> *formatOut,
                                                                    MarqenError *error) {
    MarqenError typeError;
    std::optional<std::string> type = CoreMarqenTypeIdentifierOfURL(url, &typeError);
    if (formatOut) {
        if (!type) {
            if (error) *error = typeError;
            return nullptr;
        }
        *formatOut = MarqenExportFormat::initWithUTI(*type);
    }
    const bool isPDF = type && isType(*type, kMarqenTypePDF);
    std::shared_ptr<MarqenComposition> composition;
    if (type && isType(*type, kMarqenTypeLegacySVGDocument)) {
        composition = MarqenComposition::convertMarqenSVGAtURL(url, error);
        if (!composition) return facadeFailure(error, "Unable to read document."), nullptr;
    } else if (type && mayHoldComposition(url, *type)) {
        composition = MarqenComposition::initWithURL(url);
        if (composition && composition->documents().empty()) composition.reset();
    }
    if (composition && composition->isMultiPageDocument()) {
        // Annotating writes an update into the file: our own reader must take the PDF, and be allowed to.
        const fs::path pdfPath = fs::is_directory(url) ? composition->originalPDFURL() : url;
        MarqenError readError;
        auto pdf = MarqenPDF::initWithContentsOfFile(pdfPath.string(), {}, &readError);
        if (!pdf || !pdf->allowsAnnotating()) {
            marqenLog("Failed to read PDF at " + pdfPath.string());
            pdfCannotBeAnnotated(error);
            return nullptr;
        }
        if (formatOut && *formatOut) {
            formatOut->value().setIsPDFWithSummary(composition->pdfHasSummaryPage());
            formatOut->value().setIsDOMEmbedded(pdf->isRichPDF());
        }
    } else if (composition) {
        if (formatOut && *formatOut) {
            const std::string preferred = composition->preferredFlattenedFormat();
            if (!isType((*formatOut)->uti(), preferred.c_str())) *formatOut = MarqenExportFormat::initWithUTI(preferred);
            if (*formatOut) formatOut->value().setIsDOMEmbedded(true);
        }
    } else if (isPDF) {
        // A PDF that did not open: encrypted beyond reach, or too damaged.
        marqenLog("Failed to read PDF at " + url.string());
        pdfCannotBeAnnotated(error);
        return nullptr;
    } else if (type && !isType(*type, kMarqenTypeCompositionBundle)) {
        MarqenImageProperties properties;
        MarqenError imageError;
        MarqenImageRef image = MarqenImageDecodeFile(url, &properties, &imageError);
        if (!image) {
            marqenLog("Unable to read picture " + url.string() + ": " + imageError.description());
            facadeFailure(error, "Unable to read document.");
            if (error && error->domain == kCoreMarqenErrorDomain) error->userInfo["reason"] = imageError.localizedDescription();
            return nullptr;
        }
        if (auto profile = MarqenImageFileURLProfile(url)) {
            composition = MarqenComposition::initWithImage(image, 1.0, *profile, properties.dictionary);
        } else {
            composition = MarqenComposition::initWithImage(image, scaleForResolution(properties), MarqenImageProfileNone,
                                                           MarqenJSON::object());
        }
        if (composition && formatOut) {
            const std::string preferred = composition->preferredFlattenedFormat();
            if (!*formatOut || !isType((*formatOut)->uti(), preferred.c_str())) *formatOut = MarqenExportFormat::initWithUTI(preferred);
        }
    }
    if (!composition) {
        if (error && error->domain.empty() && !typeError.domain.empty()) *error = typeError;
        facadeFailure(error, "Unable to read document.");
        return nullptr;
    }
    auto document = std::shared_ptr<CoreMarqenDocument>(new CoreMarqenDocument(std::move(composition)));
    MarqenAnalytics::postInterestingEvent("Document", "Open", type.value_or(""), document.get());
    return document;
}

std::shared_ptr<CoreMarqenDocument> CoreMarqenDocument::initWithSize(CGSize size, CGFloat scale) {
    auto composition = MarqenComposition::initWithSize(size, scale <= 1.0 ? 1.0 : 2.0);
    if (!composition) return nullptr;
    return std::shared_ptr<CoreMarqenDocument>(new CoreMarqenDocument(std::move(composition)));
}

std::shared_ptr<CoreMarqenDocument> CoreMarqenDocument::initWithBackgroundImage(const MarqenImageRef &image, CGFloat scale,
                                                                                const MarqenJSON &imageProperties, bool lossy) {
    if (!image) return nullptr;
    std::shared_ptr<MarqenComposition> composition;
    if (lossy) {
        // A lossy picture keeps its properties and is stored as JPEG.
        composition = MarqenComposition::initWithImage(image, 1.0, MarqenImageProfileJPEG, imageProperties);
    } else {
        composition = MarqenComposition::initWithImage(image, scale <= 1.0 ? 1.0 : 2.0, MarqenImageProfileNone, MarqenJSON::object());
    }
    if (!composition) return nullptr;
    return std::shared_ptr<CoreMarqenDocument>(new CoreMarqenDocument(std::move(composition)));
}

std::shared_ptr<CoreMarqenDocument> CoreMarqenDocument::documentWithComposition(std::shared_ptr<MarqenComposition> composition) {
    if (!composition || composition->documents().empty()) return nullptr;
    return std::shared_ptr<CoreMarqenDocument>(new CoreMarqenDocument(std::move(composition)));
}

std::optional<std::string> CoreMarqenDocument::title() const { return composition_->title(); }
void CoreMarqenDocument::setTitle(const std::optional<std::string> &title) { composition_->setTitle(title); }
size_t CoreMarqenDocument::pageCount() const { return composition_->documents().size(); }

bool CoreMarqenDocument::forcesOpaqueBackground() const {
    return !composition_->documents().empty() && composition_->documents().front()->forcesOpaqueBackground();
}

void CoreMarqenDocument::setForcesOpaqueBackground(bool flag) {
    if (!composition_->documents().empty()) composition_->documents().front()->setForcesOpaqueBackground(flag);
}

bool CoreMarqenDocument::writeToURL(const fs::path &url, const MarqenExportFormat &format, const MarqenJSON &options,
                                    MarqenError *error) {
    MarqenError writeError;
    bool written = false;
    const std::string &uti = format.uti();
    const double quality = std::clamp(doubleOption(options, CoreMarqenDocumentOptionCompression, 0.8), 0.0, 1.0);
    if (composition_->isMultiPageDocument() && isType(uti, kMarqenTypePDF)) {
        written = composition_->writeAnnotatedPDFToURL(url, format.isDOMEmbedded(), format.isPDFWithSummary(),
                                                       stringOption(options, CoreMarqenDocumentOptionPDFAuthor),
                                                       stringOption(options, CoreMarqenDocumentOptionPDFSummaryTitle),
                                                       &writeError);
    } else if (format.isDOMEmbedded() && !composition_->isMultiPageDocument()) {
        int saveFormat = kMarqenCompositionSaveFormatPNG;
        if (isType(uti, kMarqenTypeJPEG)) saveFormat = kMarqenCompositionSaveFormatJPEG;
        else if (isType(uti, kMarqenTypeHEIC)) saveFormat = kMarqenCompositionSaveFormatHEIC;
        written = composition_->writeRichImageToURL(url.string(), saveFormat, &writeError);
    } else {
        // A picture of one page (a PDF's pages do not travel in one picture, so neither does its document).
        const auto &pages = composition_->documents();
        if (!pages.empty()) {
            written = composition_->writeFlattenedImageToURL(pages[pageIndexOption(options, pages.size())], url, uti,
                                                             quality, true, &writeError);
        }
    }
    if (written) {
        MarqenAnalytics::postInterestingEvent("Document", "Save", format.formatIdentifier(), this);
        return true;
    }
    if (error) *error = writeError;
    return facadeFailure(error, "Unable to save document.");
}

bool CoreMarqenDocument::writeCleanUnannotatedToURL(const fs::path &url, MarqenError *error) {
    MarqenError writeError;
    if (composition_->isMultiPageDocument()) {
        if (composition_->writeOriginalPDFToURL(url, &writeError)) return true;
        if (error) *error = writeError;
        return facadeFailure(error, "Unable to save document.");
    }
    if (composition_->documents().empty()) return facadeFailure(error, "Unable to save document.");
    const auto &document = composition_->documents().front();
    document->waitForOperationsToFinish();
    document->applyAdjustments();
    std::shared_ptr<MarqenDOMBitmap> background;
    if (auto layer = document->backgroundLayer()) {
        for (const auto &child : layer->children()) {
            if ((background = std::dynamic_pointer_cast<MarqenDOMBitmap>(child))) break;
        }
    }
    auto coordinator = document->resourceCoordinatorShared();
    if (!background || !coordinator) return facadeFailure(error, "Unable to save document.");
    // A picture never saved is stored first, so that its file exists.
    if (!background->prepareForSaveSynchronous(&writeError)) {
        if (error) *error = writeError;
        return facadeFailure(error, "Unable to save document.");
    }
    struct Answer {
        std::atomic<bool> done{false};
        fs::path file;
    };
    auto answer = std::make_shared<Answer>();
    coordinator->loadResourceWithURI(background->uri(), [answer](const fs::path &file, const std::string &, const MarqenError *failed) {
        if (!failed) answer->file = file;
        answer->done.store(true);
    });
    MainQueue::shared().waitUntil([answer] { return answer->done.load(); });
    std::string bytes;
    if (answer->file.empty() || !MarqenReadWholeFile(answer->file.string(), size_t(4) << 30, &bytes, &writeError) ||
        !MarqenWriteFileAtomically(url.string(), bytes, &writeError)) {
        if (error && !writeError.domain.empty()) *error = writeError;
        return facadeFailure(error, "Unable to save document.");
    }
    return true;
}

std::optional<std::vector<uint8_t>> CoreMarqenDocument::imageRepresentationWithFormat(const MarqenExportFormat &format,
                                                                                      const MarqenJSON &options) {
    if (format.isDOMEmbedded() || isType(format.uti(), kMarqenTypePDF)) return std::nullopt;
    const auto &pages = composition_->documents();
    if (pages.empty()) return std::nullopt;
    const double quality = std::clamp(doubleOption(options, CoreMarqenDocumentOptionCompression, 0.8), 0.0, 1.0);
    return composition_->createImageRepresentationWithFormat(pages[pageIndexOption(options, pages.size())], format.uti(),
                                                             quality);
}

}  // namespace marqen
