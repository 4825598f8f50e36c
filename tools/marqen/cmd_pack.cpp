// marqen pack: a bundle directory into a rich image.
#include <filesystem>
#include <iostream>

#include "command.h"
#include "formats/composition_bundle.h"
#include "formats/rich_image/composition_png_codec.h"
#include "formats/rich_image/rich_image_plain_copy.h"

namespace marqen::cli {
namespace {

namespace fs = std::filesystem;

class ChosenResources : public MarqenCompositionPNGCodecDelegate {
public:
    explicit ChosenResources(std::set<std::string> uris) : uris_(std::move(uris)) {}
    std::optional<std::set<std::string>> compositionPNGCodecResourceURIsForBundle(MarqenCompositionPNGCodec &,
                                                                                  const MarqenCompositionBundle &) override {
        return uris_;
    }

private:
    std::set<std::string> uris_;
};

int run(const std::vector<std::string> &args) {
    Arguments arguments(args, {"-o"}, {"--resources-only"});
    const fs::path directory = arguments.requirePositional(0, "DIR");
    const bool filtered = arguments.has("--resources-only");
    if (!filtered && arguments.positional().size() > 1) usageError("unexpected argument " + arguments.positional()[1]);
    const fs::path output = arguments.requireValue("-o");
    std::error_code ec;
    if (!fs::is_directory(directory / "Contents" / "Resources", ec))
        failure(directory.string() + " is not a bundle (no Contents/Resources)");
    auto bundle = MarqenCompositionBundle::bundleAtDirectory(directory);
    if (!bundle) failure("cannot open the bundle " + directory.string());
    if (!fs::is_regular_file(fs::symlink_status(bundle->previewURL(), ec)))
        failure(directory.string() + " has no preview.png to carry the document");
    if (!fs::is_regular_file(fs::symlink_status(bundle->indexJSONFileURL(), ec)))
        failure(directory.string() + " has no index.json");

    MarqenCompositionPNGCodec codec;
    std::shared_ptr<ChosenResources> chosen;
    if (filtered) {
        chosen = std::make_shared<ChosenResources>(
            std::set<std::string>(arguments.positional().begin() + 1, arguments.positional().end()));
        codec.setDelegate(chosen);
    }
    MarqenError error;
    if (!codec.encodeBundle(bundle, output, &error))
        failure("cannot write " + output.string() + " (result code " + std::to_string(error.code) + ")");
    std::cout << "wrote " << output.string() << " (" << MarqenRichImageContainerName(output) << ")\n";
    return kExitSuccess;
}

const MarqenCommandRegistration registration({
    "pack",
    "write a bundle directory as a rich image",
    "usage: marqen pack DIR -o OUT [--resources-only URI...]\n"
    "\n"
    "Writes the bundle DIR as a rich image at OUT: its preview.png with the index and the resources as\n"
    "chunks. The container follows the preview's content (JPEG, HEIC, otherwise PNG), whatever OUT's\n"
    "name. OUT is written beside itself and renamed, so a failure leaves an older OUT as it was.\n"
    "\n"
    "  --resources-only URI...   write only the resources with these URIs (marqen+uuid:///...);\n"
    "                            with no URI, none\n",
    run,
});

}  // namespace
}  // namespace marqen::cli
