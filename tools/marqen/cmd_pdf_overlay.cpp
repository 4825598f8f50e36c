// marqen pdf-overlay: draw page 1 of one PDF over pages of another, as one incremental update.
#include <charconv>
#include <set>

#include <nlohmann/json.hpp>

#include "command.h"
#include "formats/pdf/pdf_overlay.h"
#include "pdf_opening.h"

namespace marqen::cli {
namespace {

uint64_t pageNumber(const std::string &text) {
    uint64_t value = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value == 0)
        usageError("--page needs a page number from 1, not '" + text + "'");
    return value;
}

int run(const std::vector<std::string> &args) {
    Arguments arguments(args, {"--overlay", "--page", "--dom", "-o", "--password", "--owner-password"}, {});
    std::string targetPath = arguments.requirePositional(0, "TARGET.pdf");
    if (arguments.positional().size() > 1) usageError("unexpected argument " + arguments.positional()[1]);
    std::string overlayPath = arguments.requireValue("--overlay");
    std::string output = arguments.requireValue("-o");
    std::vector<uint64_t> pages;
    std::set<uint64_t> seen;
    for (const std::string &text : arguments.values("--page")) {
        uint64_t page = pageNumber(text);
        if (!seen.insert(page).second) usageError("page " + text + " is given twice");
        pages.push_back(page);
    }
    if (pages.empty()) usageError("missing --page");

    std::optional<std::string> dom;
    if (arguments.has("--dom")) {
        std::string domPath = arguments.value("--dom");
        dom = readWholeFile(domPath);
        if (!nlohmann::ordered_json::accept(*dom)) failure(domPath + " is not valid JSON");
    }

    auto target = openPDFOrFail(targetPath, arguments);
    if (!target->allowsAnnotating())
        failure(targetPath + " is encrypted with permissions that do not allow adding or changing annotations; "
                             "give its owner password with --owner-password");
    auto overlay = MarqenPDF::initWithContentsOfFile(overlayPath, commandLinePDFOptions());
    if (!overlay) failure("cannot read " + overlayPath + " as a PDF");
    if (overlay->isEncrypted()) failure(overlayPath + " is encrypted and cannot be used as an overlay");

    uint64_t pageCount = target->numberOfPagesInOriginalPDF();
    failIfReadFailed(*target, targetPath);
    if (pageCount == 0) failure(targetPath + " has no pages");
    MarqenPDFMigrator migrator(target, target->nextAvailableObjectNumber());
    MarqenPDFMigratorSourceMap sourceMap(overlay, target);
    for (uint64_t page : pages) {
        if (page > pageCount)
            failure("page " + std::to_string(page) + " is out of range (" + targetPath + " has " +
                    std::to_string(pageCount) + " pages)");
        MarqenError error;
        if (!MarqenPDFMergeAnnotationPage(*overlay, sourceMap, migrator, page - 1, &error)) {
            failIfReadFailed(*overlay, overlayPath);
            failIfReadFailed(*target, targetPath);
            failure("cannot overlay page " + std::to_string(page) + ": " + error.localizedDescription());
        }
    }
    failIfReadFailed(*overlay, overlayPath);
    failIfReadFailed(*target, targetPath);
    MarqenError error;
    if (!target->writeModifiedPDFToURL(output, migrator.migratedObjects(), dom, &error))
        failure("cannot write " + output + ": " + error.localizedDescription());
    return kExitSuccess;
}

const MarqenCommandRegistration registration({
    "pdf-overlay",
    "draw page 1 of an overlay PDF on pages of a PDF (one incremental update)",
    "usage: marqen pdf-overlay TARGET.pdf --overlay OVERLAY.pdf --page N [--page M ...] [--dom DOM.json] -o OUT.pdf\n"
    "       [--password PW] [--owner-password PW]\n"
    "\n"
    "Draws page 1 of OVERLAY.pdf over each given page of TARGET.pdf (pages counted from 1) and writes\n"
    "OUT.pdf: the untouched TARGET followed by one incremental update. With --dom the JSON document is\n"
    "hidden in the update so that the file can be re-edited. An annotated TARGET is annotated afresh\n"
    "from its untouched original, so OUT always carries exactly one update. An encrypted TARGET stays\n"
    "encrypted: the update is enciphered with its key. --password gives its user password; when its\n"
    "permissions forbid changing annotations, --owner-password lifts the restriction.\n",
    run,
});

}  // namespace
}  // namespace marqen::cli
