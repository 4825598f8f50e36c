#include "editing/annotated_pdf_writer.h"

#include <algorithm>
#include <ctime>
#include <system_error>

#include "dom/document.h"
#include "dom/layer.h"
#include "formats/pdf/pdf_overlay.h"
#include "formats/pdf/pdf_summary_pages.h"
#include "foundation/atomic_file.h"
#include "foundation/log.h"
#include "foundation/uuid.h"
#include "render/document_images.h"
#include "render/document_renderer.h"

namespace marqen {

namespace {

constexpr const char *kCompositionErrorDomain = "MarqenCompositionErrorDomain";
// Thumbnails are drawn at this many pixels for the 128 × 96 unit box, sharp at twice the size.
constexpr CGSize kThumbnailPixels{256, 192};

std::vector<MarqenDOMNodePtr> annotationElements(const MarqenDOMDocument &document) {
    std::vector<MarqenDOMNodePtr> elements;
    for (const auto &layer : {document.annotationLayer(), document.textLayer()}) {
        if (!layer) continue;
        for (const auto &child : layer->children()) elements.push_back(child);
    }
    return elements;
}

// A 4:3 region around everything annotated, at least a third of the page wide, kept on the page.
CGRect thumbnailRegion(const MarqenDOMDocument &document, const std::vector<MarqenDOMNodePtr> &elements) {
    CGRect bounds = CGRectNull;
    for (const auto &element : elements) {
        CGRect elementBounds = element->tightContentBounds();
        if (!CGRectIsNull(elementBounds) && !CGRectIsEmpty(elementBounds)) bounds = CGRectUnion(bounds, elementBounds);
    }
    CGRect frame = document.frame();
    if (CGRectIsNull(bounds)) return frame;
    CGFloat width = std::max(bounds.size.width * 1.15, frame.size.width / 3);
    CGFloat height = width * 3 / 4;
    if (height < bounds.size.height * 1.15) {
        height = bounds.size.height * 1.15;
        width = height * 4 / 3;
    }
    width = std::min(width, frame.size.width);
    height = std::min(height, frame.size.height);
    CGPoint centre{CGRectGetMidX(bounds), CGRectGetMidY(bounds)};
    // The thumbnail rectangle is placed in view space; the picture is asked for in model space.
    CGRect view = MarqenDOMDocumentSmartThumbnailRect(document, centre, {width, height});
    return CGRectApplyAffineTransform(view, CGAffineTransformInvert(MarqenDOMDocumentRenderer::modelViewTransformAtFrameSize(document)));
}

std::string todayAsText() {
    std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char text[64];
    size_t length = std::strftime(text, sizeof text, "%e %B %Y", &local);
    std::string date(text, length);
    return date.substr(date.find_first_not_of(' '));
}

bool fail(MarqenError *error, long code, const std::string &message) {
    return marqenFail(error, kCompositionErrorDomain, code, message);
}

// Builds the summary pages in a private temporary file and puts them in front of the target's pages.
bool prependSummary(const std::vector<MarqenSummaryEntry> &entries, const MarqenAnnotatedPDFOptions &options,
                    CGSize pageSize, MarqenPDFMigrator &migrator, MarqenError *error) {
    MarqenSummaryContent content;
    content.title = options.summaryTitle.empty() ? "Summary" : options.summaryTitle;
    content.author = options.author;
    content.date = options.date.empty() ? todayAsText() : options.date;
    content.entries = entries;
    std::error_code ec;
    std::filesystem::path temporary = std::filesystem::temp_directory_path(ec) / (marqen_stringWithNewUUID() + ".pdf");
    if (ec) return fail(error, 0, "No temporary folder for the summary page: " + ec.message());
    std::vector<MarqenSummaryLink> links;
    bool written = MarqenSummaryWritePDF(content, pageSize, temporary, &links, error);
    std::shared_ptr<MarqenPDF> summaryPDF;
    MarqenError readError;
    if (written) summaryPDF = MarqenPDF::initWithContentsOfFile(temporary.string(), {}, &readError);
    std::filesystem::remove(temporary, ec);
    if (!written) return false;
    if (!summaryPDF) return fail(error, 0, "The summary page cannot be read back: " + readError.description());
    std::vector<MarqenPDFSummaryLink> pdfLinks;
    for (const auto &link : links) pdfLinks.push_back({link.summaryPageIndex, link.rect, link.targetPageIndex});
    auto sourceMap = MarqenPDFMigratorSourceMap::initWithSourcePDF(summaryPDF, migrator.targetPDF());
    MarqenError prependError;
    if (!MarqenPDFPrependSummaryPages(*summaryPDF, *sourceMap, migrator, pdfLinks, &prependError)) {
        return fail(error, 0, "The summary page cannot be added: " + prependError.localizedDescription());
    }
    return true;
}

}  // namespace

std::vector<MarqenSummaryEntry> MarqenAnnotatedPDFSummaryEntries(const std::vector<std::shared_ptr<MarqenDOMDocument>> &documents) {
    std::vector<MarqenSummaryEntry> entries;
    for (size_t index = 0; index < documents.size(); ++index) {
        const auto &document = documents[index];
        if (!document) continue;
        auto elements = annotationElements(*document);
        if (elements.empty()) continue;
        MarqenSummaryEntry entry;
        entry.pageIndex = index;
        entry.pageLabel = "Page " + std::to_string(index + 1);
        MarqenError imageError;
        entry.thumbnail = MarqenDOMDocumentCreateImageWithSizeOfRegion(
            document, MarqenRGBAColor{1, 1, 1, 1}, kThumbnailPixels, thumbnailRegion(*document, elements), &imageError);
        if (!entry.thumbnail) {
            CoreMarqenLog::sharedCoreMarqenLog().logMessage("Summary: no picture of page " + std::to_string(index + 1) +
                                                            ": " + imageError.description());
        }
        entry.texts = document->textStrings();
        entries.push_back(std::move(entry));
    }
    return entries;
}

bool MarqenAnnotatedPDFWrite(const std::filesystem::path &sourcePDF,
                             const std::vector<std::shared_ptr<MarqenDOMDocument>> &documents,
                             const MarqenAnnotatedPDFOptions &options, const std::filesystem::path &url,
                             MarqenError *error) {
    MarqenError openError;
    std::shared_ptr<MarqenPDF> pdf = MarqenPDF::initWithContentsOfFile(sourcePDF.string(), {}, &openError);
    if (!pdf) {
        CoreMarqenLog::sharedCoreMarqenLog().logMessage("MarqenComposition: cannot open the PDF to annotate: " +
                                                        openError.description());
        return false;
    }
    if (!pdf->allowsAnnotating()) return fail(error, 3, "This PDF is encrypted and cannot be annotated");
    std::string reason;
    if (!checkReplaceableTarget(url, &reason)) return fail(error, 0, reason);

    auto migrator = MarqenPDFMigrator::initWithTargetPDF(pdf, pdf->nextAvailableObjectNumber());
    uint64_t pageCount = pdf->numberOfPagesInOriginalPDF();
    if (options.includeSummary) {
        std::vector<MarqenSummaryEntry> entries = MarqenAnnotatedPDFSummaryEntries(documents);
        std::erase_if(entries, [&](const MarqenSummaryEntry &entry) { return entry.pageIndex >= pageCount; });
        if (!entries.empty() && !prependSummary(entries, options, documents.front()->frame().size, *migrator, error)) {
            return false;
        }
    }
    for (size_t index = 0; index < documents.size() && index < pageCount; ++index) {
        if (!documents[index] || annotationElements(*documents[index]).empty()) continue;
        MarqenError renderError;
        auto bytes = MarqenDOMDocumentPDFRepresentation(documents[index], false, &renderError);
        if (!bytes) return fail(error, 0, "Page " + std::to_string(index + 1) + " cannot be drawn: " + renderError.description());
        auto annotations = MarqenPDF::initWithData(std::string(bytes->begin(), bytes->end()), {}, &renderError);
        if (!annotations) return fail(error, 0, "The annotations of page " + std::to_string(index + 1) + " cannot be read back");
        auto sourceMap = MarqenPDFMigratorSourceMap::initWithSourcePDF(annotations, pdf);
        if (!MarqenPDFMergeAnnotationPage(*annotations, *sourceMap, *migrator, index, &renderError)) {
            return fail(error, 0, "The annotations of page " + std::to_string(index + 1) +
                                      " cannot be added: " + renderError.localizedDescription());
        }
    }

    std::filesystem::path temporary = temporaryPathBeside(url);
    // With nothing to draw and no document to hide, the untouched PDF is the whole result: an update
    // that only restates the catalog would add bytes and nothing else.
    bool written = migrator->migratedObjects().empty() && !options.domJSON
                       ? pdf->writeOriginalPDFToURL(temporary.string(), error)
                       : pdf->writeModifiedPDFToURL(temporary.string(), migrator->migratedObjects(), options.domJSON, error);
    if (!written) {
        std::error_code ec;
        std::filesystem::remove(temporary, ec);
        return false;
    }
    if (!moveIntoPlace(temporary, url, &reason)) return fail(error, 0, reason);
    return true;
}

}  // namespace marqen
