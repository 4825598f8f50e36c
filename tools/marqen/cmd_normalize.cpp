// marqen normalize: load a document and write back its canonical form.
#include "command.h"
#include "document_loading.h"

namespace marqen::cli {
namespace {

int run(const std::vector<std::string> &args) {
    Arguments arguments(args, {"-o", "--output", "--resources"}, {});
    std::string input = arguments.requirePositional(0, "FILE.json");
    if (arguments.positional().size() > 1) usageError("unexpected argument " + arguments.positional()[1]);
    std::string output = arguments.has("-o") ? arguments.value("-o") : arguments.value("--output");
    if (output.empty()) usageError("missing -o OUT.json");
    auto content = loadDocumentFile(input);
    std::shared_ptr<MarqenDOMDocumentResourceCoordinator> resources;
    if (arguments.has("--resources")) {
        // Every bitmap must find its pixels there; a missing or unreadable one fails the command.
        resources = attachResources(content, arguments.requireValue("--resources"));
        auto missing = bitmapsWithoutImages(content);
        if (!missing.empty())
            failure(input + ": " + std::to_string(missing.size()) + " bitmap resource" + (missing.size() == 1 ? "" : "s") +
                    " not loaded, first " + missing.front());
    }
    std::string canonical;
    try {
        canonical = content.JSONText(2);
    } catch (const std::logic_error &error) {
        failure(input + ": " + error.what());
    }
    canonical += "\n";
    writeFileAtomically(output, canonical);
    return kExitSuccess;
}

const MarqenCommandRegistration registration{{
    "normalize",
    "write a document back in its canonical form",
    "usage: marqen normalize FILE.json -o OUT.json [--resources DIR]\n\n"
    "Loads a document or multi-page document and writes it back: older keys upgraded,\n"
    "default values left out, keys in the order the library writes them.\n"
    "  --resources DIR   check that every bitmap's resource loads from DIR (files named by the\n"
    "                    resource's lower-case UUID); a missing or unreadable one fails.\n"
    "Exit status: 0 success, 1 unreadable or invalid file, 2 bad usage.\n",
    run,
}};

}  // namespace
}  // namespace marqen::cli
