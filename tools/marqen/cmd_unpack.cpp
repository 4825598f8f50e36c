// marqen unpack: a rich image or a PDF into a bundle directory.
#include <filesystem>
#include <iostream>

#include "command.h"
#include "formats/composition_bundle.h"
#include "formats/rich_image/composition_png_codec.h"
#include "formats/rich_image/rich_image_plain_copy.h"
#include "platform/image_io.h"
#include "platform/poppler_document.h"

namespace marqen::cli {
namespace {

namespace fs = std::filesystem;

bool looksLikePDF(const std::string &bytes) { return bytes.find("%PDF-") != std::string::npos; }

std::string leadingBytes(const fs::path &path, size_t count) {
    FILE *file = std::fopen(path.c_str(), "rb");
    if (!file) return {};
    std::string bytes(count, '\0');
    bytes.resize(std::fread(bytes.data(), 1, count, file));
    std::fclose(file);
    return bytes;
}

void describe(const MarqenCompositionBundle &bundle, bool pdf) {
    std::error_code ec;
    const fs::path index = bundle.indexJSONFileURL();
    if (fs::exists(index, ec))
        std::cout << "index: " << index.filename().string() << " (" << fs::file_size(index, ec) << " bytes)\n";
    else
        std::cout << "index: none\n";
    const auto resources = bundle.resources();
    std::cout << "resources: " << resources.size() << '\n';
    for (const auto &resource : resources)
        std::cout << "  " << resource.resourceURI << " (" << fs::file_size(resource.dataURL, ec) << " bytes)\n";
    if (fs::exists(bundle.previewURL(), ec)) {
        const std::string head = leadingBytes(bundle.previewURL(), 32);
        std::cout << "preview: preview.png (" << MarqenImageFormatName(MarqenImageDetectFormat(head.data(), head.size()))
                  << ")\n";
    }
    if (pdf && fs::exists(bundle.originalPDFFileURL(), ec))
        std::cout << "original.pdf: " << (bundle.pdf() ? bundle.pdf()->pageCount() : 0) << " pages"
                  << (bundle.PDFHasSummaryPage() ? " (the annotated PDF had a summary page)" : "") << '\n';
}

int run(const std::vector<std::string> &args) {
    Arguments arguments(args, {"-o"}, {});
    const fs::path file = arguments.requirePositional(0, "FILE");
    if (arguments.positional().size() > 1) usageError("unexpected argument " + arguments.positional()[1]);
    const fs::path directory = arguments.requireValue("-o");
    std::error_code ec;
    if (!fs::is_regular_file(file, ec)) failure("cannot read " + file.string());
    if (fs::exists(fs::symlink_status(directory, ec)) && !(fs::is_directory(directory, ec) && fs::is_empty(directory, ec)))
        failure(directory.string() + " exists and is not an empty directory");
    const bool created = !fs::exists(directory, ec);
    auto bundle = MarqenCompositionBundle::bundleAtDirectory(directory);
    if (!bundle) failure("cannot create the bundle directory " + directory.string());
    // Nothing half-made stays behind when unpacking fails.
    auto giveUp = [&](const std::string &message) {
        if (created) fs::remove_all(directory, ec);
        else fs::remove_all(directory / "Contents", ec);
        failure(message);
    };

    const std::string head = leadingBytes(file, 1024);
    const bool pdf = looksLikePDF(head);
    bool documentFound = true;
    if (pdf) {
        if (!bundle->extractPDF(file)) giveUp("cannot unpack " + file.string() + " as a PDF");
        documentFound = fs::exists(bundle->indexJSONFileURL(), ec);
    } else {
        MarqenCompositionPNGCodec codec;
        MarqenError error;
        const bool decoded = codec.decodeImageAtURL(file, bundle, &error);
        const bool image = MarqenImageDetectFormat(head.data(), head.size()) != MarqenImageFormat::Unknown;
        if (!decoded && !image)
            giveUp(file.string() + " is not a rich image, an image or a PDF (result code " + std::to_string(error.code) + ")");
        if (codec.lastError()) giveUp("cannot store what " + file.string() + " holds: " + codec.lastError()->description());
        std::string reason;
        if (!MarqenRichImageWritePlainImage(file, bundle->previewURL(), &reason)) giveUp(reason);
        documentFound = fs::exists(bundle->indexJSONFileURL(), ec) || !bundle->resources().empty();
    }
    std::cout << "unpacked " << file.string() << " into " << directory.string() << '\n';
    if (!documentFound)
        std::cout << (pdf ? "the PDF holds no document: the bundle has its original only\n"
                          : "the image holds no document: the bundle is empty\n");
    describe(*bundle, pdf);
    return kExitSuccess;
}

const MarqenCommandRegistration registration({
    "unpack",
    "unpack a rich image or a PDF into a bundle directory",
    "usage: marqen unpack FILE -o DIR\n"
    "\n"
    "Unpacks FILE into the bundle DIR (created; refused when it exists and is not empty) and lists what it\n"
    "holds: Contents/Resources/index.json, the resources, preview.png and original.pdf.\n"
    "  - a rich PNG, JPEG or HEIC gives its index and resources; its picture becomes the preview\n"
    "  - a PDF gives original.pdf (and, for an annotated PDF, the index hidden in it)\n"
    "  - a plain image gives an empty bundle with the image as preview\n",
    run,
});

}  // namespace
}  // namespace marqen::cli
