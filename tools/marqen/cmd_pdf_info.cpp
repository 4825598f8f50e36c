// marqen pdf-info: what the library's own PDF reader sees in a file.
#include <iostream>

#include <nlohmann/json.hpp>

#include "command.h"
#include "pdf_opening.h"

namespace marqen::cli {
namespace {

nlohmann::ordered_json numberJSON(const MarqenPDFObject &value) {
    if (value.isInteger()) return value.integerValue();
    return value.doubleValue();
}

// A rectangle with every element resolved; null when the value is not four numbers.
nlohmann::ordered_json rectangleJSON(MarqenPDF &pdf, const std::optional<MarqenPDFObject> &value) {
    if (!value) return nullptr;
    MarqenPDFObject rectangle = pdf.resolveIndirectReference(*value, true);
    const MarqenPDFArray *numbers = rectangle.asArray();
    if (!numbers || numbers->size() != 4) return nullptr;
    nlohmann::ordered_json result = nlohmann::ordered_json::array();
    for (const MarqenPDFObject &number : *numbers) {
        MarqenPDFObject element = pdf.resolveIndirectReference(number, true);
        if (!element.isNumber()) return nullptr;
        result.push_back(numberJSON(element));
    }
    return result;
}

nlohmann::ordered_json encryptionJSON(const MarqenPDF &pdf) {
    const auto &handler = pdf.securityHandler();
    if (!handler) return false;
    uint32_t p = handler->permissions();
    nlohmann::ordered_json permissions;
    permissions["value"] = int32_t(p);
    const std::pair<const char *, uint32_t> bits[] = {
        {"print", kMarqenPDFPermissionPrint},       {"modify", kMarqenPDFPermissionModify},
        {"copy", kMarqenPDFPermissionCopy},         {"annotate", kMarqenPDFPermissionAnnotate},
        {"fillForms", kMarqenPDFPermissionFillForms}, {"extract", kMarqenPDFPermissionExtract},
        {"assemble", kMarqenPDFPermissionAssemble}, {"printHighQuality", kMarqenPDFPermissionPrintHighQuality}};
    for (const auto &[name, bit] : bits) permissions[name] = (p & bit) != 0;
    nlohmann::ordered_json result;
    result["filter"] = handler->filter();
    result["v"] = handler->v();
    result["r"] = handler->r();
    result["keyBits"] = handler->keyBits();
    result["method"] = MarqenPDFSecurityHandler::methodName(handler->method());
    result["permissions"] = permissions;
    result["ownerPassword"] = handler->ownerAuthenticated();
    return result;
}

int run(const std::vector<std::string> &args) {
    Arguments arguments(args, kPDFPasswordOptions, {"--json"});
    std::string path = arguments.requirePositional(0, "FILE");
    if (arguments.positional().size() > 1) usageError("unexpected argument " + arguments.positional()[1]);
    auto pdf = openPDFOrFail(path, arguments);

    bool complete = true;
    std::vector<MarqenPDFIndirectReference> pages = pdf->allPageReferences(true, &complete);
    // A document without pages is a file this reader could not make sense of, never an empty success.
    failIfReadFailed(*pdf, path);
    if (pages.empty()) failure(path + " has no pages that can be read");
    nlohmann::ordered_json boxes = nlohmann::ordered_json::array();
    for (size_t i = 0; i < pages.size(); ++i) {
        uint64_t pageNumber = i + 1;
        nlohmann::ordered_json box;
        box["page"] = pageNumber;
        box["mediaBox"] = rectangleJSON(*pdf, pdf->inheritedItemOfPage("MediaBox", pages[i], true));
        nlohmann::ordered_json crop = rectangleJSON(*pdf, pdf->inheritedItemOfPage("CropBox", pages[i], true));
        box["cropBox"] = crop.is_null() ? box["mediaBox"] : crop;
        auto rotate = pdf->inheritedItemOfPage("Rotate", pages[i], true);
        MarqenPDFObject rotation = rotate ? pdf->resolveIndirectReference(*rotate, true) : MarqenPDFObject();
        box["rotate"] = rotation.isNumber() ? rotation.integerValue() : 0;
        boxes.push_back(box);
    }
    nlohmann::ordered_json info;
    info["pages"] = pdf->numberOfPagesInOriginalPDF();
    info["xref"] = pdf->objectXrefStreamInfo() ? "stream" : "table";
    info["rich"] = pdf->isRichPDF();
    info["originalSize"] = pdf->originalPDFLength();
    info["nextObjectNumber"] = pdf->nextAvailableObjectNumber();
    info["hasDom"] = pdf->richPDFJSON().has_value();
    info["encrypted"] = encryptionJSON(*pdf);
    info["pageBoxes"] = boxes;
    failIfReadFailed(*pdf, path);

    if (arguments.has("--json")) {
        std::cout << info.dump(2) << '\n';
        return kExitSuccess;
    }
    std::cout << "pages: " << info["pages"] << '\n'
              << "cross-reference: " << info["xref"].get<std::string>() << '\n'
              << "annotated (rich): " << (pdf->isRichPDF() ? "yes" : "no") << '\n'
              << "original size: " << info["originalSize"] << " bytes\n"
              << "next object number: " << info["nextObjectNumber"] << '\n'
              << "embedded document: " << (pdf->richPDFJSON() ? "yes" : "no") << '\n';
    if (pdf->securityHandler())
        std::cout << "encrypted: " << info["encrypted"]["method"].get<std::string>() << ", "
                  << info["encrypted"]["keyBits"] << "-bit key, revision " << info["encrypted"]["r"]
                  << (pdf->allowsAnnotating() ? "" : " (annotating needs the owner password)") << '\n';
    if (!complete) std::cout << "page tree: could not be walked completely\n";
    for (const auto &box : boxes)
        std::cout << "page " << box["page"] << ": media box " << box["mediaBox"].dump() << ", crop box "
                  << box["cropBox"].dump() << ", rotate " << box["rotate"] << '\n';
    return kExitSuccess;
}

const MarqenCommandRegistration registration({
    "pdf-info",
    "show the pages, boxes and cross-reference form of a PDF",
    "usage: marqen pdf-info FILE [--json] [--password PW] [--owner-password PW]\n"
    "\n"
    "Reads FILE with the library's own PDF reader and prints the page count, the form of its last\n"
    "cross-reference section, whether it is an annotated (rich) PDF, the size of the untouched PDF,\n"
    "the next free object number and each page's media box, crop box and rotation.\n"
    "\n"
    "  --json   print one JSON object: {\"pages\", \"xref\": \"table\"|\"stream\", \"rich\", \"originalSize\",\n"
    "           \"nextObjectNumber\", \"hasDom\", \"encrypted\": false or {\"filter\", \"v\", \"r\", \"keyBits\",\n"
    "           \"method\", \"permissions\", \"ownerPassword\"}, \"pageBoxes\": [{\"page\", \"mediaBox\",\n"
    "           \"cropBox\", \"rotate\"}]}\n"
    "  --password PW, --owner-password PW   the passwords of an encrypted FILE\n",
    run,
});

}  // namespace
}  // namespace marqen::cli
