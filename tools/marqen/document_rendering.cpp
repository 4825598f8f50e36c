#include "document_rendering.h"

#include <algorithm>
#include <cmath>

#include "command.h"
#include "dom/bitmap.h"
#include "foundation/resource_budget.h"
#include "platform/image_io.h"
#include "platform/pdf_page.h"
#include "render/document_images.h"
#include "foundation/string_helpers.h"

namespace marqen::cli {

namespace {

MarqenImageFormat imageFormat(const std::string &format) {
    if (format == "png") return MarqenImageFormat::PNG;
    if (format == "jpeg") return MarqenImageFormat::JPEG;
    if (format == "heic") return MarqenImageFormat::HEIC;
    if (format == "tiff") return MarqenImageFormat::TIFF;
    if (format == "gif") return MarqenImageFormat::GIF;
    if (format == "bmp") return MarqenImageFormat::BMP;
    return MarqenImageFormat::JPEG2000;
}

std::string typeIdentifier(const std::string &format) {
    if (format == "png") return kMarqenTypeIdentifierPNG;
    if (format == "jpeg") return kMarqenTypeIdentifierJPEG;
    if (format == "pdf") return kMarqenTypeIdentifierPDF;
    if (format == "heic") return "public.heic";
    if (format == "tiff") return "public.tiff";
    if (format == "gif") return "com.compuserve.gif";
    if (format == "bmp") return "com.microsoft.bmp";
    return "public.jpeg-2000";
}

}  // namespace

std::string renderFormatForPath(const std::filesystem::path &path) {
    std::string extension = marqen_asciiLowercase(path.extension().string());
    if (extension == ".png") return "png";
    if (extension == ".jpg" || extension == ".jpeg") return "jpeg";
    if (extension == ".heic") return "heic";
    if (extension == ".tif" || extension == ".tiff") return "tiff";
    if (extension == ".gif") return "gif";
    if (extension == ".bmp") return "bmp";
    if (extension == ".jp2") return "jp2";
    if (extension == ".pdf") return "pdf";
    usageError("cannot tell the output format from '" + path.string() +
               "' (use .png, .jpg, .heic, .tif, .gif, .bmp, .jp2 or .pdf)");
}

std::shared_ptr<MarqenDOMDocument> pageForRendering(const MarqenDOMJSONContent &content, int pageNumber,
                                                    const std::optional<std::string> &pdfPath) {
    const auto pages = content.pages->pages();
    if (pageNumber < 1 || static_cast<size_t>(pageNumber) > pages.size())
        failure("the document has no page " + std::to_string(pageNumber) + " (it has " + std::to_string(pages.size()) +
                ")");
    auto document = pages[static_cast<size_t>(pageNumber) - 1];
    if (!pdfPath) return document;
    MarqenError error;
    auto pdf = MarqenPDFDocument::openFile(*pdfPath, &error);
    if (!pdf) failure(*pdfPath + ": " + error.localizedDescription());
    auto page = MarqenPDFPage::create(pdf, pageNumber - 1, &error);
    if (!page) failure(*pdfPath + ": " + error.localizedDescription());
    // The page goes with the document from its creation, so the document is built again around it.
    auto withPage = MarqenDOMDocument::fromDictionary(document->dictionaryRepresentation(), page);
    if (!withPage) failure("cannot attach the PDF page to the document");
    return withPage;
}

namespace {

CGSize outputSize(const MarqenDOMDocument &document, const RenderRequest &request) {
    return request.size.value_or(CGSizeMake(document.frame().size.width * document.deviceScale(),
                                            document.frame().size.height * document.deviceScale()));
}

// The resolution says how large the picture is meant to be: 72 dpi per unit of device scale.
MarqenImageEncodeOptions encodeOptions(const MarqenDOMDocument &document, const RenderRequest &request, int width) {
    MarqenImageEncodeOptions options;
    if (request.quality) options.quality = *request.quality;
    const double scale = document.frame().size.width > 0 ? width / document.frame().size.width : 1;
    options.dpiWidth = options.dpiHeight = std::isfinite(scale) && scale > 0 ? 72 * scale : 72;
    return options;
}

}  // namespace

std::optional<std::string> writePictureAlone(const std::shared_ptr<MarqenDOMDocument> &document,
                                             const MarqenDirectoryResourceCoordinator &resources,
                                             const RenderRequest &request) {
    const std::string format = renderFormatForPath(request.output);
    if (format == "pdf") return std::nullopt;
    const CGSize size = outputSize(*document, request);
    auto bitmap = MarqenDOMDocumentBitmapFillingImage(document, size);
    if (!bitmap) return std::nullopt;
    const int width = static_cast<int>(std::lround(size.width)), height = static_cast<int>(std::lround(size.height));
    // The picture is read as the bitmap would read it: the checked file itself, not a link put in its place.
    auto file = resources.loadFile(bitmap->uri(), nullptr);
    std::vector<uint8_t> bytes;
    if (!file || !MarqenImageReadFileBytes(*file, &bytes, nullptr, uint64_t(4) << 30, false)) return std::nullopt;
    MarqenImageProperties header;
    if (!MarqenImageCopyPropertiesFromData(bytes.data(), bytes.size(), &header)) return std::nullopt;
    // Upright, as decoding turns it.
    int pictureWidth = header.pixelWidth(), pictureHeight = header.pixelHeight();
    if (header.format == MarqenImageFormat::JPEG && header.dictionary.value(kMarqenImagePropertyOrientation, 1) >= 5)
        std::swap(pictureWidth, pictureHeight);
    if (pictureWidth != width || pictureHeight != height) return std::nullopt;
    MarqenImageDecodeOptions decodeOptions;
    decodeOptions.maximumPixelCount = MarqenCurrentResourceBudget().decodedPixelsPerDocument;
    auto result = MarqenImageTranscodeData(bytes.data(), bytes.size(), request.output, imageFormat(format),
                                           encodeOptions(*document, request, width), decodeOptions, nullptr);
    if (result != MarqenImageTranscodeResult::Written) return std::nullopt;
    return std::to_string(width) + "x" + std::to_string(height);
}

std::string renderDocumentToFile(const std::shared_ptr<MarqenDOMDocument> &document, const RenderRequest &request) {
    const std::string format = renderFormatForPath(request.output);
    MarqenError error;
    if (format == "pdf") {
        auto data = MarqenDOMDocumentPDFRepresentation(document, false, &error);
        if (!data) failure(request.output.string() + ": " + error.localizedDescription());
        writeFileAtomically(request.output.string(), std::string(data->begin(), data->end()));
        return "vector";
    }
    const CGSize size = outputSize(*document, request);
    // A frame the encoder will not take is refused before it is drawn.
    if (const uint64_t limit = MarqenImageEncoderPixelLimit(imageFormat(format))) {
        const double width = std::round(size.width), height = std::round(size.height);
        if (width * height > static_cast<double>(limit))
            failure(request.output.string() + ": the image would be " + std::to_string(static_cast<long long>(width)) +
                    "x" + std::to_string(static_cast<long long>(height)) + " pixels, more than the " +
                    std::to_string(limit) + " pixels the " + format + " encoder takes");
    }
    auto background = CopyMarqenDOMDocumentBackgroundColorForDocument(*document, typeIdentifier(format));
    auto image = MarqenDOMDocumentCreateImageWithSize(document, background, std::nullopt, size, &error);
    if (!image) failure(error.localizedDescription());
    if (!MarqenImageWriteToFile(*image, request.output, imageFormat(format), encodeOptions(*document, request, image->width()),
                                &error))
        failure(request.output.string() + ": " + error.localizedDescription());
    return std::to_string(image->width()) + "x" + std::to_string(image->height());
}

}  // namespace marqen::cli
