// MarqenComposition: the saved document, rich pictures, JSON, flattened pictures and annotated PDFs.
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#include "dom/bitmap.h"
#include "dom/document.h"
#include "dom/multi_page_document.h"
#include "editing/annotated_pdf_writer.h"
#include "editing/composition.h"
#include "editing/composition_private.h"
#include "formats/composition_bundle.h"
#include "formats/dom_json_file.h"
#include "foundation/json.h"
#include "formats/export_format.h"
#include "formats/resource_uri.h"
#include "formats/rich_image/composition_png_codec.h"
#include "foundation/log.h"
#include "foundation/queues.h"
#include "foundation/string_helpers.h"
#include "platform/image_io.h"
#include "render/document_images.h"

namespace marqen {

namespace fs = std::filesystem;

namespace {

const char *typeForImageFormat(MarqenImageFormat format) {
    switch (format) {
        case MarqenImageFormat::JPEG: return kMarqenTypeJPEG;
        case MarqenImageFormat::HEIC: return kMarqenTypeHEIC;
        default: return kMarqenTypePNG;
    }
}

bool renderFailure(MarqenError *error, const std::string &message) {
    return marqenFail(error, MarqenGeneralErrorDomain, 1, message);
}

// Runs work on the main thread and waits for it (at once when already there).
void runOnMainThread(const std::function<void()> &work) {
    if (MainQueue::isMainThread()) return work();
    auto done = std::make_shared<std::atomic<bool>>(false);
    MainQueue::shared().async([work, done] {
        work();
        done->store(true);
    });
    MainQueue::shared().waitUntil([done] { return done->load(); });
}

// The pixel size of a page drawn at scale, at least one pixel each way.
CGSize pixelSizeOf(CGSize size, CGFloat scale) {
    return {std::max<CGFloat>(1, std::round(size.width * scale)), std::max<CGFloat>(1, std::round(size.height * scale))};
}

// PDF pages are drawn at twice their point size, so that text stays sharp in a picture.
CGFloat flattenedScaleOf(const MarqenDOMDocument &document, bool retina) {
    if (!retina) return 1;
    return document.pdfPage() ? std::max<CGFloat>(2, document.deviceScale()) : document.deviceScale();
}

}  // namespace

bool MarqenComposition::prepareForSave(MarqenError *error) {
    for (const auto &document : documents_) {
        document->waitForOperationsToFinish();
        document->applyAdjustments();
        for (const auto &bitmap : document->allBitmaps()) {
            // A bitmap whose pixels never loaded (a damaged or hostile file) keeps its reference and
            // stores nothing: the rest of the document still saves.
            if (!bitmap->image()) {
                marqenLog("Saving without the pixels of " + bitmap->uri() + ": they were never loaded");
                continue;
            }
            if (!bitmap->prepareForSaveSynchronous(error)) return false;
        }
    }
    for (const auto &document : documents_) document->waitForOperationsToFinish();
    return true;
}

std::optional<MarqenJSON> MarqenComposition::dictionaryRepresentation() {
    if (documents_.empty()) return std::nullopt;
    if (!isMultiPageDocument()) {
        documents_.back()->applyAdjustments();
        return documents_.back()->dictionaryRepresentation();
    }
    std::vector<std::shared_ptr<MarqenDOMDocument>> shown;
    for (size_t index = 0; index < documents_.size(); ++index) {
        const auto &document = documents_[index];
        document->applyAdjustments();
        document->setPageNumber(double(index + 1));
        // Pages that show nothing are left out on purpose: the PDF itself stands for them.
        if (document->hasVisibleElements()) shown.push_back(document);
    }
    return MarqenDOMMultiPageDocument(std::move(shown)).dictionaryRepresentation();
}

bool MarqenComposition::writeRichImageToURL(const std::string &url, int saveFormat, MarqenError *error) {
    return writeRichImageToURL(url, saveFormat, true, error);
}

bool MarqenComposition::writeRichImageToURL(const std::string &url, int saveFormat, bool retina, MarqenError *error) {
    return writeImageToURL(url, saveFormat, retina, error);
}

bool MarqenComposition::writeImageToURL(const std::string &url, int saveFormat, bool retina, MarqenError *error) {
    MarqenURIParts parts = MarqenSplitURI(url);
    fs::path path = url;
    if (parts.scheme) {
        if (marqen_asciiLowercase(*parts.scheme) != "file") {
            if (error) {
                *error = MarqenError{MarqenCompositionErrorDomain, kMarqenCompositionErrorNotFileURL, {}};
                error->userInfo[kMarqenLocalizedDescriptionKey] = "Only files can be written: " + url;
                error->userInfo["url"] = url;
                error->userInfo["scheme"] = *parts.scheme;
            }
            return false;
        }
        path = parts.path;
    }
    if (documents_.empty() || !bundle_) return renderFailure(error, "The composition has nothing to save");

    // The model is read on the main thread: the bundle's index and resources, and a private copy of the
    // last page to draw.
    bool prepared = false;
    MarqenError prepareError;
    std::shared_ptr<MarqenDOMDocument> page;
    CGSize size{0, 0};
    std::vector<std::string> resources;
    runOnMainThread([&] {
        if (!prepareForSave(&prepareError)) return;
        auto dictionary = dictionaryRepresentation();
        if (!dictionary) {
            marqenFail(&prepareError, MarqenCompositionErrorDomain, kMarqenCompositionErrorWriteFailed, "No document to save");
            return;
        }
        if (!bundle_->writeDataForIndexJSONFile(marqen_JSONText(*dictionary), &prepareError)) return;
        page = documents_.back()->copyDocument();
        size = this->size();
        resources = resourceURIsInUse();
        prepared = true;
    });
    if (!prepared) {
        if (error) *error = prepareError;
        return false;
    }
    if (!MainQueue::isMainThread()) {
        // Bitmaps of the copy may still be loading: their pixels arrive through the main queue.
        for (;;) {
            bool loaded = true;
            runOnMainThread([&] {
                for (const auto &bitmap : page->allBitmaps()) loaded = loaded && bitmap->image() != nullptr;
            });
            if (loaded) break;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    } else {
        page->waitForOperationsToFinish();
    }

    const CGFloat deviceScale = page->deviceScale() > 0 ? page->deviceScale() : 1;
    const CGSize pixels = pixelSizeOf(size, retina ? deviceScale : 1 / deviceScale);
    const double dpi = retina ? 72 * deviceScale : 72;
    MarqenImageFormat format = MarqenImageFormat::PNG;
    if (saveFormat == kMarqenCompositionSaveFormatPreferred) {
        auto profile = page->preferredImageProfile();
        if (profile == MarqenImageProfileHEIC) format = MarqenImageFormat::HEIC;
        else if (profile == MarqenImageProfileJPEG) format = MarqenImageFormat::JPEG;
    } else if (saveFormat == kMarqenCompositionSaveFormatJPEG) {
        format = MarqenImageFormat::JPEG;
    } else if (saveFormat == kMarqenCompositionSaveFormatHEIC) {
        format = MarqenImageFormat::HEIC;
    }

    MarqenError renderError;
    MarqenImageRef image = MarqenDOMDocumentCreateImageWithSize(
        page, CopyMarqenDOMDocumentBackgroundColorForDocument(*page, std::string(typeForImageFormat(format))), std::nullopt,
        pixels, &renderError);
    // The copy is a model object: it goes on the main thread, where it was made.
    runOnMainThread([&] { page.reset(); });
    if (!image) return renderFailure(error, "The picture cannot be drawn: " + renderError.description());
    if (includeWatermark_ && watermarkPDF_ && !MarqenCompositionDrawWatermark(image, *watermarkPDF_, &renderError))
        return renderFailure(error, "The watermark cannot be drawn: " + renderError.description());
    MarqenImageEncodeOptions options;
    options.dpiWidth = options.dpiHeight = dpi;
    auto bytes = MarqenImageEncode(*image, format, options, &renderError);
    if (!bytes) return renderFailure(error, "The picture cannot be encoded: " + renderError.description());
    if (!bundle_->writeDataForPreview(std::string(bytes->begin(), bytes->end()), &renderError))
        return renderFailure(error, "The picture cannot be written: " + renderError.description());

    MarqenCompositionPNGCodec codec;
    auto delegate = std::make_shared<MarqenCompositionCodecDelegate>(resources);
    codec.setDelegate(delegate);
    if (!codec.encodeBundle(bundle_, path, error)) return false;
    runOnMainThread([&] { markCompositionAsClean(); });
    return true;
}

std::optional<fs::path> MarqenComposition::writeRestoreBundle(MarqenError *error) {
    if (!bundle_ || documents_.empty()) {
        marqenFail(error, MarqenCompositionErrorDomain, kMarqenCompositionErrorWriteFailed, "The composition has nothing to keep");
        return std::nullopt;
    }
    if (!prepareForSave(error)) return std::nullopt;
    auto dictionary = dictionaryRepresentation();
    if (!dictionary || !bundle_->writeDataForIndexJSONFile(marqen_JSONText(*dictionary), error)) return std::nullopt;
    incomingURL_ = bundle_->URL();
    return bundle_->URL();
}

bool MarqenComposition::writeJSONToURL(const fs::path &url, MarqenError *error) {
    auto dictionary = dictionaryRepresentation();
    if (!dictionary)
        return marqenFail(error, MarqenCompositionErrorDomain, kMarqenCompositionErrorWriteFailed, "No document to write");
    MarqenError writeError;
    if (!MarqenWriteFileAtomically(url.string(), marqen_JSONText(*dictionary), &writeError))
        return marqenFail(error, MarqenCompositionErrorDomain, kMarqenCompositionErrorWriteFailed, writeError.localizedDescription());
    return true;
}

std::optional<std::vector<uint8_t>> MarqenComposition::createImageRepresentation(
    const std::shared_ptr<MarqenDOMDocument> &document, MarqenError *error) {
    return createImageRepresentationWithFormat(document, kMarqenTypePNG, 1.0, error);
}

std::optional<std::vector<uint8_t>> MarqenComposition::createImageRepresentationWithFormat(
    const std::shared_ptr<MarqenDOMDocument> &document, const std::string &typeIdentifier, double quality,
    MarqenError *error) {
    if (!document) {
        renderFailure(error, "No page to draw");
        return std::nullopt;
    }
    const MarqenImageFormat format = MarqenImageFormatForTypeIdentifier(typeIdentifier);
    if (format == MarqenImageFormat::Unknown) {
        renderFailure(error, "Not a picture type: " + typeIdentifier);
        return std::nullopt;
    }
    document->waitForOperationsToFinish();
    const CGFloat scale = flattenedScaleOf(*document, true);
    MarqenError renderError;
    MarqenImageRef image = MarqenDOMDocumentCreateImageWithSize(
        document, CopyMarqenDOMDocumentBackgroundColorForDocument(*document, typeIdentifier), std::nullopt,
        pixelSizeOf(document->frame().size, scale), &renderError);
    if (!image) {
        renderFailure(error, "The picture cannot be drawn: " + renderError.description());
        return std::nullopt;
    }
    if (includeWatermark_ && watermarkPDF_ && !MarqenCompositionDrawWatermark(image, *watermarkPDF_, &renderError)) {
        renderFailure(error, "The watermark cannot be drawn: " + renderError.description());
        return std::nullopt;
    }
    MarqenImageEncodeOptions options;
    options.quality = std::clamp(quality, 0.0, 1.0);
    options.dpiWidth = options.dpiHeight = format == MarqenImageFormat::GIF ? 0 : 72 * scale;
    auto bytes = MarqenImageEncode(*image, format, options, &renderError);
    if (!bytes) renderFailure(error, "The picture cannot be encoded: " + renderError.description());
    return bytes;
}

bool MarqenComposition::writeFlattenedImageToURL(const std::shared_ptr<MarqenDOMDocument> &document, const fs::path &url,
                                                 const std::string &typeIdentifier, double quality, bool retina,
                                                 MarqenError *error) {
    if (!document) return renderFailure(error, "No page to write");
    std::optional<std::vector<uint8_t>> bytes;
    if (MarqenTypeIdentifierEquals(typeIdentifier, kMarqenTypePDF)) {
        document->waitForOperationsToFinish();
        MarqenError renderError;
        bytes = MarqenDOMDocumentPDFRepresentation(document, true, &renderError);
        if (!bytes) renderFailure(error, "The page cannot be drawn as PDF: " + renderError.description());
    } else if (!retina) {
        const MarqenImageFormat format = MarqenImageFormatForTypeIdentifier(typeIdentifier);
        MarqenError renderError;
        MarqenImageRef image = format == MarqenImageFormat::Unknown ? nullptr
            : MarqenDOMDocumentCreateImageWithSize(document, CopyMarqenDOMDocumentBackgroundColorForDocument(*document, typeIdentifier),
                                                   std::nullopt, pixelSizeOf(document->frame().size, 1), &renderError);
        if (image && includeWatermark_ && watermarkPDF_) MarqenCompositionDrawWatermark(image, *watermarkPDF_, &renderError);
        MarqenImageEncodeOptions options;
        options.quality = std::clamp(quality, 0.0, 1.0);
        if (image) bytes = MarqenImageEncode(*image, format, options, &renderError);
        if (!bytes) renderFailure(error, "The picture cannot be made: " + renderError.description());
    } else {
        bytes = createImageRepresentationWithFormat(document, typeIdentifier, quality, error);
    }
    if (!bytes) {
        marqenLog("Error writing to " + url.string());
        return false;
    }
    MarqenError writeError;
    if (!MarqenWriteFileAtomically(url.string(), std::string(bytes->begin(), bytes->end()), &writeError)) {
        marqenLog("Error writing to " + url.string());
        return renderFailure(error, writeError.localizedDescription());
    }
    return true;
}

bool MarqenComposition::writeFlattenedCompositionToURL(const fs::path &url, const std::string &typeIdentifier,
                                                       MarqenError *error) {
    if (isMultiPageDocument() && MarqenTypeIdentifierEquals(typeIdentifier, kMarqenTypePDF)) {
        MarqenError writeError;
        if (writeAnnotatedPDFToURL(url, false, false, "", "", &writeError)) return true;
        marqenLog("Error " + writeError.description() + " writing PDF to " + url.string());
        if (error) *error = writeError;
        return false;
    }
    if (documents_.empty()) return renderFailure(error, "No page to write");
    return writeFlattenedImageToURL(documents_.front(), url, typeIdentifier, 0.8, true, error);
}

bool MarqenComposition::writeOriginalPDFToURL(const fs::path &url, MarqenError *error) {
    if (!pdf_ || !bundle_)
        return marqenFail(error, MarqenCompositionErrorDomain, kMarqenCompositionErrorWriteFailed, "The composition has no PDF");
    std::string bytes;
    MarqenError readError;
    if (!MarqenReadWholeFile(originalPDFURL().string(), size_t(4) << 30, &bytes, &readError) ||
        !MarqenWriteFileAtomically(url.string(), bytes, &readError))
        return marqenFail(error, MarqenCompositionErrorDomain, kMarqenCompositionErrorWriteFailed, readError.localizedDescription());
    return true;
}

bool MarqenComposition::writeAnnotatedPDFToURL(const fs::path &url, bool includeDOM, bool includeSummary,
                                               const std::string &author, const std::string &summaryTitle,
                                               MarqenError *error) {
    if (!pdf_)
        return marqenFail(error, MarqenCompositionErrorDomain, kMarqenCompositionErrorNoPDF, "The composition has no PDF to annotate");
    const fs::path source = modifiedOriginalPDFURL_.value_or(originalPDFURL());
    for (const auto &document : documents_) document->waitForOperationsToFinish();
    MarqenAnnotatedPDFOptions options;
    if (includeDOM) {
        if (!prepareForSave(error)) return false;
        auto dictionary = dictionaryRepresentation();
        if (!dictionary)
            return marqenFail(error, MarqenCompositionErrorDomain, kMarqenCompositionErrorWriteFailed, "No document to hide in the PDF");
        options.domJSON = marqen_JSONText(*dictionary);
    }
    options.includeSummary = includeSummary;
    options.author = author;
    options.summaryTitle = summaryTitle;
    if (!MarqenAnnotatedPDFWrite(source, documents_, options, url, error)) return false;
    if (includeDOM) markCompositionAsClean();
    return true;
}

}  // namespace marqen
