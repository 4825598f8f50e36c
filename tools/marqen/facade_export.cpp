#include "facade_export.h"

#include <cmath>

#include "dom/document.h"
#include "dom/layer.h"
#include "editing/composition.h"
#include "formats/dom_json_file.h"
#include "foundation/string_helpers.h"

namespace marqen::cli {

namespace fs = std::filesystem;

const std::vector<std::string> kExportValueOptions = {"-o", "--format", "--summary-title", "--author",
                                                      "--quality", "--page", "--watermark"};
const std::vector<std::string> kExportFlags = {"--flat", "--summary"};
const char *const kExportOptionsHelp =
    "  -o OUT               the file to write; its extension picks the format: png, jpg, heic and pdf\n"
    "                       keep the document editable inside, tif, gif, bmp and jp2 are flat pictures\n"
    "  --format ID          an export format identifier instead (see 'marqen formats')\n"
    "  --flat               write png, jpg, heic or pdf without the editable document\n"
    "  --summary            a PDF with summary pages in front, listing every annotated page\n"
    "  --summary-title T    the summary's title (default \"Summary\")\n"
    "  --author A           the author named on the summary\n"
    "  --quality Q          0 to 1 for lossy flat pictures (default 0.8)\n"
    "  --page N             the page (from 1) a picture of a PDF shows (default 1); pictures of a\n"
    "                       PDF page are always flat\n"
    "  --watermark PDF      draw the first page of PDF over flat pictures\n";

namespace {

// The type named by an output file's extension.
std::optional<std::string> typeOfExtension(const fs::path &output) {
    const std::string extension = marqen_asciiLowercase(output.extension().string());
    if (extension == ".png") return kMarqenTypePNG;
    if (extension == ".jpg" || extension == ".jpeg") return kMarqenTypeJPEG;
    if (extension == ".heic" || extension == ".heif") return kMarqenTypeHEIC;
    if (extension == ".pdf") return kMarqenTypePDF;
    if (extension == ".tif" || extension == ".tiff") return kMarqenTypeTIFF;
    if (extension == ".gif") return kMarqenTypeGIF;
    if (extension == ".bmp") return kMarqenTypeBMP;
    if (extension == ".jp2") return kMarqenTypeJPEG2000;
    return std::nullopt;
}

double numberOption(const Arguments &arguments, const std::string &option) {
    const std::string text = arguments.value(option);
    char *end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !std::isfinite(value)) usageError(option + " needs a number, not '" + text + "'");
    return value;
}

size_t addPageAnnotations(const MarqenDOMDocument &source, MarqenDOMDocument &target) {
    size_t added = 0;
    const std::pair<std::shared_ptr<MarqenDOMLayer>, std::shared_ptr<MarqenDOMLayer>> layers[] = {
        {source.annotationLayer(), target.annotationLayer()}, {source.textLayer(), target.textLayer()}};
    for (const auto &[from, to] : layers) {
        if (!from || !to) continue;
        for (const auto &child : from->children()) {
            to->addChild(child->copy());
            ++added;
        }
    }
    return added;
}

}  // namespace

size_t addAnnotations(const MarqenDOMJSONContent &content, CoreMarqenDocument &document, const std::string &source) {
    size_t added = 0;
    const auto &pages = document.documentComposition()->documents();
    const auto &sources = content.pages->pages();
    for (size_t index = 0; index < sources.size(); ++index) {
        // A multi-page document names its pages; a single document annotates the first page.
        const auto number = content.isMultiPage ? sources[index]->pageNumber() : std::nullopt;
        const double page = number.value_or(double(index + 1));
        if (!(page >= 1 && page <= double(pages.size())) || page != double(size_t(page)))
            failure(source + ": page " + std::to_string(page) + " is not a page of the file (" + std::to_string(pages.size()) +
                    (pages.size() == 1 ? " page)" : " pages)"));
        added += addPageAnnotations(*sources[index], *pages[size_t(page) - 1]);
    }
    return added;
}

std::shared_ptr<CoreMarqenDocument> openDocumentOrFail(const std::string &path, std::optional<MarqenExportFormat> *format) {
    MarqenError error;
    auto document = CoreMarqenDocument::initWithURL(path, format, &error);
    if (!document) {
        std::string message = path + ": " + error.localizedDescription();
        if (error.userInfo.contains("reason") && error.userInfo["reason"].is_string())
            message += " (" + error.userInfo["reason"].get<std::string>() + ")";
        if (error.domain != kCoreMarqenErrorDomain) message += " [" + error.domain + " " + std::to_string(error.code) + "]";
        failure(message);
    }
    return document;
}

MarqenExportFormat exportDocument(CoreMarqenDocument &document, const Arguments &arguments) {
    const fs::path output = arguments.requireValue("-o");
    std::optional<MarqenExportFormat> format;
    if (arguments.has("--format")) {
        format = MarqenExportFormat::initWithFormatIdentifier(arguments.value("--format"));
        if (!format || format->fileExtension() == "???")
            usageError("unknown format '" + arguments.value("--format") + "' (see marqen formats)");
    } else {
        auto type = typeOfExtension(output);
        if (!type) usageError("cannot tell the format from '" + output.filename().string() + "': use --format ID");
        format = MarqenExportFormat::initWithUTI(*type);
        format->setIsDOMEmbedded(!arguments.has("--flat"));
        if (arguments.has("--summary")) {
            if (!MarqenTypeIdentifierEquals(*type, kMarqenTypePDF)) usageError("--summary needs a PDF output");
            format->setIsPDFWithSummary(true);
        }
    }
    // The pages of a PDF travel only in a PDF: a picture of one of them is flat.
    if (document.documentComposition()->isMultiPageDocument() && !MarqenTypeIdentifierEquals(format->uti(), kMarqenTypePDF))
        format->setIsDOMEmbedded(false);
    if (!format->isFormatWritable()) failure("this installation cannot write " + format->formatTitle() + " files");

    MarqenJSON options = MarqenJSON::object();
    if (arguments.has("--quality")) {
        const double quality = numberOption(arguments, "--quality");
        if (quality < 0 || quality > 1) usageError("--quality must lie between 0 and 1");
        options[CoreMarqenDocumentOptionCompression] = quality;
    }
    if (arguments.has("--page")) {
        const double page = numberOption(arguments, "--page");
        if (page < 1 || page != std::floor(page)) usageError("--page counts from 1");
        if (page > double(document.pageCount()))
            failure("page " + arguments.value("--page") + " is beyond the last page (" + std::to_string(document.pageCount()) + ")");
        options[CoreMarqenDocumentOptionPDFPageIndex] = uint64_t(page) - 1;
    }
    if (arguments.has("--author")) options[CoreMarqenDocumentOptionPDFAuthor] = arguments.value("--author");
    if (arguments.has("--summary-title")) options[CoreMarqenDocumentOptionPDFSummaryTitle] = arguments.value("--summary-title");
    if (arguments.has("--watermark")) {
        const fs::path watermark = arguments.value("--watermark");
        std::error_code ec;
        if (!fs::is_regular_file(watermark, ec)) failure("no watermark PDF at " + watermark.string());
        document.documentComposition()->setWatermarkPDF(watermark);
        document.documentComposition()->setIncludeWatermark(true);
    }
    MarqenError error;
    if (!document.writeToURL(output, *format, options, &error)) {
        std::string message = "cannot write " + output.string() + ": " + error.localizedDescription();
        if (error.domain != kCoreMarqenErrorDomain) message += " [" + error.domain + " " + std::to_string(error.code) + "]";
        failure(message);
    }
    return *format;
}

}  // namespace marqen::cli
