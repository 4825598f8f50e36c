// marqen formats: the export formats with their identifiers.
#include <iomanip>
#include <iostream>

#include "command.h"
#include "formats/export_format.h"
#include "foundation/json.h"

namespace marqen::cli {
namespace {

int run(const std::vector<std::string> &args) {
    Arguments arguments(args, {}, {"--json"});
    if (!arguments.positional().empty()) usageError("unexpected argument " + arguments.positional()[0]);
    const auto formats = MarqenExportFormat::allFormats();
    if (arguments.has("--json")) {
        MarqenJSON list = MarqenJSON::array();
        for (const auto &format : formats)
            list.push_back({{"identifier", format.formatIdentifier()}, {"title", format.formatTitle()},
                            {"extension", format.fileExtension()}, {"writable", format.isFormatWritable()}});
        std::cout << MarqenJSON{{"formats", list}}.dump(2) << '\n';
        return kExitSuccess;
    }
    for (const auto &format : formats)
        std::cout << std::left << std::setw(62) << format.formatIdentifier() << std::setw(26) << format.formatTitle()
                  << std::setw(6) << format.fileExtension() << (format.isFormatWritable() ? "writable" : "not writable")
                  << '\n';
    return kExitSuccess;
}

const MarqenCommandRegistration registration({
    "formats",
    "list the export formats",
    "usage: marqen formats [--json]\n"
    "\n"
    "Lists every export format: each plain type, each type with the document embedded, and the PDF with a\n"
    "summary page (with and without the document), with identifier, title, extension and whether this\n"
    "installation can write it.\n"
    "\n"
    "  --json   {\"formats\": [{\"identifier\", \"title\", \"extension\", \"writable\"}]}\n",
    run,
});

}  // namespace
}  // namespace marqen::cli
