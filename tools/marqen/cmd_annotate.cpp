// marqen annotate: put the annotations of a document file onto a picture or PDF, and save it.
#include <iostream>

#include "command.h"
#include "document_loading.h"
#include "editing/composition.h"
#include "facade_export.h"

namespace marqen::cli {
namespace {

int run(const std::vector<std::string> &args) {
    std::vector<std::string> values = kExportValueOptions, flags = kExportFlags;
    values.push_back("--dom");
    flags.push_back("--replace");
    Arguments arguments(args, values, flags);
    const std::string path = arguments.requirePositional(0, "FILE");
    if (arguments.positional().size() > 1) usageError("unexpected argument " + arguments.positional()[1]);
    const std::string dom = arguments.requireValue("--dom");
    arguments.requireValue("-o");

    std::shared_ptr<CoreMarqenDocument> document;
    size_t added = 0;
    if (arguments.has("--replace")) {
        // The document file's pages take the place of FILE's own (matched by page number on a PDF).
        MarqenError error;
        document = CoreMarqenDocument::documentWithComposition(MarqenComposition::initWithURL(path, dom, &error));
        if (!document) failure(path + " with " + dom + ": " + (error.domain.empty() ? "cannot be opened" : error.localizedDescription()));
    } else {
        document = openDocumentOrFail(path);
        auto content = loadDocumentFile(dom);
        added = addAnnotations(content, *document, dom);
    }
    MarqenExportFormat format = exportDocument(*document, arguments);
    std::cout << "wrote " << arguments.value("-o") << " (" << format.formatTitle() << ")";
    if (!arguments.has("--replace")) std::cout << ", " << added << (added == 1 ? " annotation added" : " annotations added");
    std::cout << '\n';
    return kExitSuccess;
}

const MarqenCommandRegistration registration{{
    "annotate",
    "put the annotations of a document file onto a picture or PDF and save it",
    std::string("usage: marqen annotate FILE --dom DOC.json -o OUT [--replace] [export options]\n"
                "\n"
                "Opens FILE as 'marqen open' does and adds the annotation- and text-layer elements of DOC.json\n"
                "onto its pages (a multi-page DOC.json by page number), keeping FILE's own background and\n"
                "earlier annotations, then writes OUT as 'marqen export' does.\n"
                "\n"
                "  --dom DOC.json       the annotations to add\n"
                "  --replace            let DOC.json's pages replace FILE's pages instead\n") +
        kExportOptionsHelp,
    run,
}};

}  // namespace
}  // namespace marqen::cli
