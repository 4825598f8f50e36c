// marqen annotate: put the annotations of a document file onto a picture or PDF, and save it.
#include <iostream>

#include "command.h"
#include "document_loading.h"
#include "dom/document.h"
#include "dom/layer.h"
#include "editing/composition.h"
#include "facade_export.h"

namespace marqen::cli {
namespace {

// Copies the annotation and text layers' children of source onto target, after what target has.
size_t addAnnotations(const MarqenDOMDocument &source, MarqenDOMDocument &target) {
    size_t added = 0;
    const std::pair<std::shared_ptr<MarqenDOMLayer>, std::shared_ptr<MarqenDOMLayer>> layers[] = {
        {source.annotationLayer(), target.annotationLayer()}, {source.textLayer(), target.textLayer()}};
    for (const auto &[from, to] : layers) {
        if (!from || !to) continue;
        for (const auto &child : from->children()) {
            to->addChild(child->copy());
            ++added;
        }
    }
    return added;
}

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
        const auto &pages = document->documentComposition()->documents();
        const auto &sources = content.pages->pages();
        for (size_t index = 0; index < sources.size(); ++index) {
            // A multi-page document names its pages; a single document annotates the first page.
            const auto number = content.isMultiPage ? sources[index]->pageNumber() : std::nullopt;
            const double page = number.value_or(double(index + 1));
            if (!(page >= 1 && page <= double(pages.size())) || page != double(size_t(page)))
                failure(dom + ": page " + std::to_string(page) + " is not a page of " + path + " (" +
                        std::to_string(pages.size()) + (pages.size() == 1 ? " page)" : " pages)"));
            added += addAnnotations(*sources[index], *pages[size_t(page) - 1]);
        }
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
