// marqen open: what a file holds, as the document facade opens it.
#include <iostream>

#include "command.h"
#include "dom/document.h"
#include "editing/composition.h"
#include "facade_export.h"

namespace marqen::cli {
namespace {

int run(const std::vector<std::string> &args) {
    Arguments arguments(args, {"--dom"}, {"--json"});
    const std::string path = arguments.requirePositional(0, "FILE");
    if (arguments.positional().size() > 1) usageError("unexpected argument " + arguments.positional()[1]);
    std::optional<MarqenExportFormat> format;
    auto document = openDocumentOrFail(path, &format);
    const auto &composition = *document->documentComposition();
    const CGSize size = composition.size();
    const auto title = document->title();
    MarqenJSON info = {
        {"format", format ? format->formatIdentifier() : std::string()},
        {"formatTitle", format ? format->formatTitle() : std::string()},
        {"pages", document->pageCount()},
        {"size", {{"width", size.width}, {"height", size.height}}},
        {"deviceScale", composition.documents().front()->deviceScale()},
        {"hasDom", format && format->isDOMEmbedded()},
        {"pdfHasSummaryPage", composition.pdfHasSummaryPage()},
        {"title", title ? MarqenJSON(*title) : MarqenJSON(nullptr)},
    };
    if (arguments.has("--dom")) {
        MarqenError error;
        if (!document->documentComposition()->writeJSONToURL(arguments.value("--dom"), &error))
            failure("cannot write " + arguments.value("--dom") + ": " + error.localizedDescription());
    }
    if (arguments.has("--json")) {
        std::cout << info.dump(2) << '\n';
    } else {
        std::cout << path << ": " << info["formatTitle"].get<std::string>() << " (" << info["format"].get<std::string>()
                  << "), " << document->pageCount() << (document->pageCount() == 1 ? " page, " : " pages, ") << size.width
                  << " x " << size.height << " at scale " << info["deviceScale"].get<double>()
                  << (info["hasDom"].get<bool>() ? ", editable annotations inside" : ", no annotations inside")
                  << (composition.pdfHasSummaryPage() ? ", with a summary" : "") << (title ? ", titled \"" + *title + "\"" : "")
                  << '\n';
    }
    return kExitSuccess;
}

const MarqenCommandRegistration registration{{
    "open",
    "open a picture, PDF, rich file, bundle or .marqen document and describe it",
    "usage: marqen open FILE [--json] [--dom OUT.json]\n"
    "\n"
    "Opens FILE as the library does (a picture, a rich PNG, JPEG or HEIC, a PDF or rich PDF, a bundle\n"
    "directory or an older .marqen document) and says what it found.\n"
    "\n"
    "  --json        {\"format\": identifier, \"formatTitle\", \"pages\", \"size\": {\"width\", \"height\"},\n"
    "                \"deviceScale\", \"hasDom\", \"pdfHasSummaryPage\", \"title\"}\n"
    "  --dom OUT     also write the opened document's JSON to OUT\n"
    "\n"
    "Exit status 1 when FILE cannot be opened.\n",
    run,
}};

}  // namespace
}  // namespace marqen::cli
