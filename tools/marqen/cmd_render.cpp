// marqen render: a document (or one page of it) to an image or a vector PDF.
#include <cmath>
#include <iostream>
#include <optional>
#include <string>

#include "command.h"
#include "document_loading.h"
#include "document_rendering.h"

namespace marqen::cli {
namespace {

CGSize parseSize(const std::string &text) {
    auto x = text.find_first_of("xX");
    try {
        if (x != std::string::npos) {
            size_t usedWidth = 0, usedHeight = 0;
            double width = std::stod(text.substr(0, x), &usedWidth);
            double height = std::stod(text.substr(x + 1), &usedHeight);
            if (usedWidth == x && usedHeight == text.size() - x - 1 && std::isfinite(width) && std::isfinite(height))
                return CGSizeMake(width, height);
        }
    } catch (const std::exception &) {
    }
    usageError("--size wants WIDTHxHEIGHT in pixels, e.g. 1920x1080 (got '" + text + "')");
}

int parsePage(const std::string &text) {
    try {
        size_t used = 0;
        int page = std::stoi(text, &used);
        if (used == text.size() && page >= 1) return page;
    } catch (const std::exception &) {
    }
    usageError("--page wants a page number counted from 1 (got '" + text + "')");
}

double parseQuality(const std::string &text) {
    try {
        size_t used = 0;
        double quality = std::stod(text, &used);
        // 0..1, or a percentage.
        if (used == text.size() && quality >= 0 && quality <= 100) return quality > 1 ? quality / 100 : quality;
    } catch (const std::exception &) {
    }
    usageError("--quality wants a number from 0 to 1 (or a percentage) (got '" + text + "')");
}

int run(const std::vector<std::string> &args) {
    Arguments arguments(args, {"-o", "--resources", "--pdf", "--page", "--size", "--quality"}, {});
    std::string input = arguments.requirePositional(0, "DOC.json");
    if (arguments.positional().size() > 1) usageError("unexpected argument " + arguments.positional()[1]);
    RenderRequest request;
    request.output = arguments.requireValue("-o");
    renderFormatForPath(request.output);  // a bad extension is a usage error before any work
    int page = arguments.has("--page") ? parsePage(arguments.value("--page")) : 1;
    if (arguments.has("--size")) request.size = parseSize(arguments.value("--size"));
    if (arguments.has("--quality")) request.quality = parseQuality(arguments.value("--quality"));
    std::optional<std::string> pdf;
    if (arguments.has("--pdf")) pdf = arguments.value("--pdf");

    auto content = loadDocumentFile(input);
    auto document = pageForRendering(content, page, pdf);
    std::shared_ptr<MarqenDirectoryResourceCoordinator> resources;
    if (arguments.has("--resources")) resources = openResources(arguments.value("--resources"));
    // A picture with nothing over it is written straight from its file, without being drawn.
    std::optional<std::string> written;
    if (resources) written = writePictureAlone(document, *resources, request);
    if (!written) {
        if (resources) attachResources({document}, resources);
        written = renderDocumentToFile(document, request);
    }
    std::cout << request.output.string() << ": " << *written << '\n';
    return kExitSuccess;
}

const MarqenCommandRegistration registration{{
    "render",
    "render a document to an image or a vector PDF",
    "usage: marqen render DOC.json -o OUT [--resources DIR] [--pdf FILE] [--page N] [--size WxH] [--quality Q]\n\n"
    "Draws the document (or page N of a multi-page document) into OUT. The extension of OUT picks\n"
    "the format: png, jpg/jpeg, heic, tif/tiff, gif, bmp, jp2, or pdf (the annotations as vectors,\n"
    "ready to be laid over the original page). Transparent pictures stay transparent where the\n"
    "format allows it; JPEG and PDF get a white background.\n\n"
    "  -o OUT            the file to write (written safely: a temporary file, then renamed)\n"
    "  --resources DIR   load bitmaps from DIR (files named by the resource's lower-case UUID);\n"
    "                    a bitmap whose file is missing is left out and reported as a warning\n"
    "  --pdf FILE        draw page N of FILE as the page background\n"
    "  --page N          the page to render, counted from 1 (default 1)\n"
    "  --size WxH        the output size in pixels; the document is fitted and centred\n"
    "                    (default: the document frame at its device scale; at most 256 megapixels)\n"
    "  --quality Q       0 to 1 for jpg, heic and jp2 (default 0.85)\n",
    run,
}};

}  // namespace
}  // namespace marqen::cli
