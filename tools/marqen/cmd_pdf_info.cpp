// marqen pdf-info: what the library's own PDF reader sees in a file.
#include <algorithm>
#include <array>
#include <charconv>
#include <iostream>
#include <optional>
#include <string_view>

#include <nlohmann/json.hpp>

#include "command.h"
#include "pdf_opening.h"

namespace marqen::cli {
namespace {

// A page's media box, crop box and rotation as shown: each box four resolved numbers, or nothing when the
// value is not a rectangle.
struct PageBoxes {
    std::optional<std::array<MarqenPDFObject, 4>> mediaBox;
    std::optional<std::array<MarqenPDFObject, 4>> cropBox;  // the media box when the page has none
    int64_t rotate = 0;
};

// A rectangle with every element resolved; nothing when the value is not four numbers.
std::optional<std::array<MarqenPDFObject, 4>> rectangle(MarqenPDF &pdf, const std::optional<MarqenPDFObject> &value) {
    if (!value) return std::nullopt;
    MarqenPDFObject resolved = pdf.resolveIndirectReference(*value, true);
    const MarqenPDFArray *numbers = resolved.asArray();
    if (!numbers || numbers->size() != 4) return std::nullopt;
    std::array<MarqenPDFObject, 4> result;
    for (size_t i = 0; i < 4; ++i) {
        result[i] = pdf.resolveIndirectReference((*numbers)[i], true);
        if (!result[i].isNumber()) return std::nullopt;
    }
    return result;
}

PageBoxes pageBoxes(MarqenPDF &pdf, const MarqenPDFIndirectReference &page, const MarqenPDFDictionary &dictionary) {
    static const std::vector<std::string_view> names = {"MediaBox", "CropBox", "Rotate"};
    std::optional<MarqenPDFObject> items[3];
    pdf.inheritedItemsOfPage(dictionary, page, names, items, true);
    PageBoxes boxes;
    boxes.mediaBox = rectangle(pdf, items[0]);
    boxes.cropBox = rectangle(pdf, items[1]);
    if (!boxes.cropBox) boxes.cropBox = boxes.mediaBox;
    MarqenPDFObject rotation = items[2] ? pdf.resolveIndirectReference(*items[2], true) : MarqenPDFObject();
    boxes.rotate = rotation.isNumber() ? rotation.integerValue() : 0;
    return boxes;
}

void appendInteger(std::string &out, int64_t value) {
    char digits[24];
    auto result = std::to_chars(digits, digits + sizeof digits, value);
    out.append(digits, result.ptr);
}

// Numbers written as the JSON library writes them, so that the output stays what it was when the whole
// document was one JSON value.
void appendNumber(std::string &out, const MarqenPDFObject &number) {
    if (number.isInteger()) appendInteger(out, number.integerValue());
    else out += nlohmann::ordered_json(number.doubleValue()).dump();
}

// A rectangle as a pretty-printed JSON value whose opening bracket is at the given indent; or, with
// indent < 0, on one line.
void appendRectangle(std::string &out, const std::optional<std::array<MarqenPDFObject, 4>> &box, int indent) {
    if (!box) {
        out += "null";
        return;
    }
    out += '[';
    for (size_t i = 0; i < 4; ++i) {
        if (i > 0) out += ',';
        if (indent >= 0) out.append("\n").append(size_t(indent) + 2, ' ');
        appendNumber(out, (*box)[i]);
    }
    if (indent >= 0) out.append("\n").append(size_t(indent), ' ');
    out += ']';
}

// One element of "pageBoxes", indented as the second level of the whole document.
void appendPageJSON(std::string &out, uint64_t pageNumber, const PageBoxes &boxes) {
    out += "    {\n      \"page\": ";
    appendInteger(out, int64_t(pageNumber));
    out += ",\n      \"mediaBox\": ";
    appendRectangle(out, boxes.mediaBox, 6);
    out += ",\n      \"cropBox\": ";
    appendRectangle(out, boxes.cropBox, 6);
    out += ",\n      \"rotate\": ";
    appendInteger(out, boxes.rotate);
    out += "\n    }";
}

void appendPageText(std::string &out, uint64_t pageNumber, const PageBoxes &boxes) {
    out += "page ";
    appendInteger(out, int64_t(pageNumber));
    out += ": media box ";
    appendRectangle(out, boxes.mediaBox, -1);
    out += ", crop box ";
    appendRectangle(out, boxes.cropBox, -1);
    out += ", rotate ";
    appendInteger(out, boxes.rotate);
    out += '\n';
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
    const bool json = arguments.has("--json");

    // Each page's boxes are written out as the walk meets the page, so that neither the pages nor a
    // JSON value of them are held. Nothing is printed before the whole file was read.
    std::string pageLines;
    // Room for about what the pages will take, as the page tree counts them; no more than the file's
    // length, whatever a damaged count says.
    const uint64_t bytesPerPage = json ? 240 : 80;
    const uint64_t countedPages = pdf->numberOfPagesInOriginalPDF();
    pageLines.reserve(size_t(std::min(countedPages, pdf->pdfLength() / bytesPerPage) * bytesPerPage));
    uint64_t pageCount = 0;
    bool complete = pdf->visitPages(true, [&](const MarqenPDFIndirectReference &page,
                                              const MarqenPDFDictionary &dictionary) {
        if (json && pageCount > 0) pageLines += ",\n";
        ++pageCount;
        PageBoxes boxes = pageBoxes(*pdf, page, dictionary);
        if (json) appendPageJSON(pageLines, pageCount, boxes);
        else appendPageText(pageLines, pageCount, boxes);
    });
    // A document without pages is a file this reader could not make sense of, never an empty success.
    failIfReadFailed(*pdf, path);
    if (pageCount == 0) failure(path + " has no pages that can be read");
    nlohmann::ordered_json info;
    info["pages"] = countedPages;
    info["xref"] = pdf->objectXrefStreamInfo() ? "stream" : "table";
    info["rich"] = pdf->isRichPDF();
    info["originalSize"] = pdf->originalPDFLength();
    info["nextObjectNumber"] = pdf->nextAvailableObjectNumber();
    info["hasDom"] = pdf->richPDFJSON().has_value();
    info["encrypted"] = encryptionJSON(*pdf);
    failIfReadFailed(*pdf, path);

    if (json) {
        // The document's fields as the JSON library lays them out, then the page boxes in place of the
        // empty list that closes them.
        info["pageBoxes"] = nlohmann::ordered_json::array();
        std::string head = info.dump(2);
        constexpr std::string_view kEmptyListEnd = "[]\n}";
        if (!std::string_view(head).ends_with(kEmptyListEnd)) failure("internal error: unexpected JSON layout");
        head.resize(head.size() - kEmptyListEnd.size());
        std::cout << head << "[\n" << pageLines << "\n  ]\n}\n";
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
    std::cout << pageLines;
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
