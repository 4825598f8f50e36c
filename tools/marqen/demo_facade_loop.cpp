#include "demo_facade_loop.h"

#include <iostream>

#include "command.h"
#include "document_loading.h"
#include "dom/document.h"
#include "dom/layer.h"
#include "editing/composition.h"
#include "facade_export.h"
#include "platform/graphics.h"
#include "platform/image_io.h"
#include "platform/poppler_document.h"

namespace marqen::cli {

namespace fs = std::filesystem;

namespace {

// What the user added to a page: the elements of its annotation and text layers, as saved.
MarqenJSON annotationsOf(const CoreMarqenDocument &document) {
    MarqenJSON pages = MarqenJSON::array();
    for (const auto &page : document.documentComposition()->documents()) {
        MarqenJSON elements = MarqenJSON::array();
        for (const auto &layer : {page->annotationLayer(), page->textLayer()})
            if (layer)
                for (const auto &child : layer->children()) elements.push_back(child->dictionaryRepresentation());
        pages.push_back(std::move(elements));
    }
    return pages;
}

size_t elementCount(const MarqenJSON &pages) {
    size_t count = 0;
    for (const auto &page : pages) count += page.size();
    return count;
}

// Saves the document in the format, opens the file again and compares its annotations with the
// document's. Returns 1 on any failure (printed), else 0.
int saveAndReopen(CoreMarqenDocument &document, const fs::path &file, const MarqenExportFormat &format, const MarqenJSON &options) {
    const MarqenJSON saved = annotationsOf(document);
    MarqenError error;
    if (!document.writeToURL(file, format, options, &error)) {
        std::cerr << "marqen: cannot write " << file.string() << ": " << error.description() << '\n';
        return 1;
    }
    std::optional<MarqenExportFormat> found;
    auto reopened = CoreMarqenDocument::initWithURL(file, &found, &error);
    if (!reopened) {
        std::cerr << "marqen: cannot open " << file.string() << " again: " << error.description() << '\n';
        return 1;
    }
    const bool same = annotationsOf(*reopened) == saved;
    std::cout << "  " << file.string() << ": " << format.formatTitle() << ", " << fs::file_size(file) << " bytes; reopened (next saved as "
              << (found ? found->formatTitle() : std::string("?")) << ") with " << elementCount(annotationsOf(*reopened))
              << " editable annotation(s), " << (same ? "the same as saved" : "NOT the same as saved") << '\n';
    return same && found && found->isDOMEmbedded() ? 0 : 1;
}

// The first page of a PDF as a PNG at 2x, to look at the summary page without a PDF viewer.
void writeFirstPagePicture(const fs::path &pdf, const fs::path &png) {
    MarqenError error;
    auto document = MarqenPDFDocument::openFile(pdf, &error);
    if (!document) return;
    const CGSize size = document->displaySize(0);
    auto image = MarqenImage::create(int(size.width * 2), int(size.height * 2), &error);
    if (!image) return;
    for (int y = 0; y < image->height(); ++y) std::fill(image->row(y), image->row(y) + image->width(), 0xFFFFFFFFu);
    auto context = MarqenGraphicsContext::createForImage(image, &error);
    if (!context) return;
    context->scaleCTM(2, 2);
    if (document->drawPage(0, context->cairoContext(), &error) && MarqenImageWriteToFile(*image, png, MarqenImageFormat::PNG, {}, &error))
        std::cout << "  " << png.string() << ": the summary page as a picture\n";
}

}  // namespace

int runFacadeLoopDemo(const fs::path &samples, const fs::path &output) {
    const fs::path loop = output / "loop";
    std::error_code ec;
    fs::create_directories(loop, ec);
    if (ec) failure("cannot create " + loop.string() + ": " + ec.message());
    int failed = 0;

    // A screenshot: annotated, saved as each editable picture, reopened.
    const fs::path screenshot = samples / "screenshot.png";
    const fs::path notes = samples / "screenshot-notes.json";
    if (fs::is_regular_file(screenshot, ec) && fs::is_regular_file(notes, ec)) {
        const auto content = loadDocumentFile(notes.string());
        std::cout << "the whole loop on " << screenshot.filename().string() << ":\n";
        for (const char *type : {kMarqenTypePNG, kMarqenTypeJPEG, kMarqenTypeHEIC}) {
            auto document = openDocumentOrFail(screenshot.string());
            addAnnotations(content, *document, notes.string());
            auto format = MarqenExportFormat::initWithUTI(type);
            format->setIsDOMEmbedded(true);
            failed += saveAndReopen(*document, loop / ("screenshot-annotated." + format->fileExtension()), *format, MarqenJSON::object());
        }
        auto document = openDocumentOrFail(screenshot.string());
        addAnnotations(content, *document, notes.string());
        MarqenError error;
        const fs::path flat = loop / "screenshot-flat.png";
        if (document->writeToURL(flat, *MarqenExportFormat::initWithUTI(kMarqenTypePNG), MarqenJSON::object(), &error))
            std::cout << "  " << flat.string() << ": the same, flat\n";
    }

    // The sample PDF: annotated, saved with summary pages and the document inside, reopened, and its
    // untouched original recovered.
    const fs::path pdf = samples / "pdf-review.pdf";
    const fs::path review = samples / "pdf-review.json";
    if (fs::is_regular_file(pdf, ec) && fs::is_regular_file(review, ec)) {
        std::cout << "the whole loop on " << pdf.filename().string() << ":\n";
        auto document = openDocumentOrFail(pdf.string());
        addAnnotations(loadDocumentFile(review.string()), *document, review.string());
        const fs::path annotated = loop / "pdf-review-annotated.pdf";
        const MarqenJSON options = {{CoreMarqenDocumentOptionPDFAuthor, "MarqenKit demo"},
                                    {CoreMarqenDocumentOptionPDFSummaryTitle, "Quarterly review: open questions"}};
        auto format = MarqenExportFormat::initWithFormatIdentifier(MarqenExportFormat::pdfWithSummaryFormatIdentifierWithDOMEmbedded(true));
        failed += saveAndReopen(*document, annotated, *format, options);
        writeFirstPagePicture(annotated, loop / "pdf-review-summary.png");
        auto reopened = CoreMarqenDocument::initWithURL(annotated);
        const fs::path original = loop / "pdf-review-original.pdf";
        MarqenError error;
        const bool restored = reopened && reopened->writeCleanUnannotatedToURL(original, &error) &&
                              readWholeFile(original.string()) == readWholeFile(pdf.string());
        std::cout << "  " << original.string() << ": "
                  << (restored ? "the untouched PDF, byte for byte" : "NOT the untouched PDF") << '\n';
        failed += restored ? 0 : 1;
    }
    return failed;
}

}  // namespace marqen::cli
