// marqen export: a file saved in another format through the document facade.
#include <iostream>

#include "command.h"
#include "facade_export.h"

namespace marqen::cli {
namespace {

int run(const std::vector<std::string> &args) {
    Arguments arguments(args, kExportValueOptions, kExportFlags);
    const std::string path = arguments.requirePositional(0, "FILE");
    if (arguments.positional().size() > 1) usageError("unexpected argument " + arguments.positional()[1]);
    arguments.requireValue("-o");
    auto document = openDocumentOrFail(path);
    MarqenExportFormat format = exportDocument(*document, arguments);
    std::cout << "wrote " << arguments.value("-o") << " (" << format.formatTitle() << ")\n";
    return kExitSuccess;
}

const MarqenCommandRegistration registration{{
    "export",
    "save a file in another format (editable or flat, PDF with summary)",
    std::string("usage: marqen export FILE -o OUT [--format ID] [--flat] [--summary] [--summary-title T]\n"
                "                    [--author A] [--quality Q] [--page N] [--watermark PDF]\n"
                "\n"
                "Opens FILE as 'marqen open' does and writes it to OUT.\n"
                "\n") +
        kExportOptionsHelp + "\nExit status 1 when FILE cannot be opened or OUT cannot be written.\n",
    run,
}};

}  // namespace
}  // namespace marqen::cli
