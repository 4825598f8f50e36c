// The demo's rich images: the same document carried by a PNG, a JPEG and a HEIC, and read back.
#include "demo_rich_images.h"

#include <iostream>

#include "command.h"
#include "formats/composition_bundle.h"
#include "formats/dom_json_file.h"
#include "formats/rich_image/composition_png_codec.h"
#include "foundation/string_helpers.h"
#include "foundation/uuid.h"
#include "platform/image_io.h"

namespace marqen::cli {

namespace fs = std::filesystem;

namespace {

// The document as the library reads it, so that two index files compare as documents.
std::optional<MarqenJSON> documentIn(const MarqenCompositionBundle &bundle) {
    MarqenError error;
    auto content = MarqenReadDOMJSONFile(bundle.indexJSONFileURL().string(), &error);
    if (!content) return std::nullopt;
    return content->dictionaryRepresentation();
}

std::shared_ptr<MarqenCompositionBundle> makeBundle(const fs::path &directory, const fs::path &sample,
                                                    const fs::path &resources, const fs::path &preview) {
    auto bundle = MarqenCompositionBundle::bundleAtDirectory(directory);
    if (!bundle) failure("cannot create the bundle " + directory.string());
    MarqenError error;
    if (!bundle->writeDataForIndexJSONFile(readWholeFile(sample.string()), &error))
        failure("cannot write the index of " + directory.string() + ": " + error.localizedDescription());
    std::error_code ec;
    // Resources are stored under their UUID alone, as documents name them.
    for (fs::directory_iterator it(resources, ec), end; !ec && it != end; it.increment(ec)) {
        const std::string stem = it->path().stem().string();
        if (it->is_regular_file() && marqen_isUUIDString(stem))
            fs::copy_file(it->path(), bundle->resourcesURL() / marqen_asciiLowercase(stem),
                          fs::copy_options::overwrite_existing, ec);
    }
    fs::copy_file(preview, bundle->previewURL(), fs::copy_options::overwrite_existing, ec);
    if (ec) failure("cannot copy the preview into " + directory.string() + ": " + ec.message());
    return bundle;
}

}  // namespace

int writeRichImageDemo(const fs::path &sample, const fs::path &rendered, const fs::path &resources,
                       const fs::path &output) {
    const fs::path richDir = output / "rich";
    const fs::path work = richDir / "bundles";
    std::error_code ec;
    fs::remove_all(work, ec);
    fs::create_directories(work, ec);
    MarqenError error;
    MarqenImageRef picture = MarqenImageDecodeFile(rendered, nullptr, &error);
    if (!picture) failure("cannot read " + rendered.string() + ": " + error.localizedDescription());

    int failed = 0;
    const std::string name = sample.stem().string();
    for (MarqenImageFormat format : {MarqenImageFormat::PNG, MarqenImageFormat::JPEG, MarqenImageFormat::HEIC}) {
        const std::string kind = MarqenImageFormatName(format);
        const fs::path preview = work / ("preview-" + kind);
        if (!MarqenImageWriteToFile(*picture, preview, format, {}, &error)) {
            std::cerr << "marqen: cannot write the " << kind << " preview: " << error.localizedDescription() << '\n';
            ++failed;
            continue;
        }
        auto bundle = makeBundle(work / (name + "-" + kind + ".in"), sample, resources, preview);
        const fs::path rich = richDir / (name + "." + MarqenImageFormatFileExtension(format));
        if (!bundle->writePNGAtPath(rich, &error)) {
            std::cerr << "marqen: cannot write " << rich.string() << ": " << error.description() << '\n';
            ++failed;
            continue;
        }
        auto unpacked = MarqenCompositionBundle::bundleAtDirectory(work / (name + "-" + kind + ".out"));
        MarqenCompositionPNGCodec codec;
        const bool decoded = unpacked && codec.decodeImageAtURL(rich, unpacked, &error) && !codec.lastError();
        const auto before = documentIn(*bundle), after = decoded ? documentIn(*unpacked) : std::nullopt;
        const bool match = before && after && *before == *after &&
                           bundle->resources().size() == unpacked->resources().size();
        std::cout << "  rich " << kind << " " << rich.string() << ": " << unpacked->resources().size()
                  << " resource(s); unpacked, " << (match ? "the documents match" : "the documents DIFFER") << '\n';
        failed += match ? 0 : 1;
    }
    fs::remove_all(work, ec);
    return failed;
}

}  // namespace marqen::cli
