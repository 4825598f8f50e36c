// marqen inspect: a summary of a document or multi-page document.
#include <iostream>
#include <map>

#include "command.h"
#include "document_loading.h"
#include "foundation/value_encoding.h"

namespace marqen::cli {
namespace {

MarqenJSON pageSummary(MarqenDOMDocument &page) {
    MarqenJSON layers = MarqenJSON::array();
    for (const auto &child : page.children())
        if (auto layer = std::dynamic_pointer_cast<MarqenDOMLayer>(child))
            layers.push_back({{"layerId", layer->layerId()}, {"children", layer->childCount()}});
    std::map<std::string, int> counts;
    page.acceptVisitor([&](MarqenDOMNode &node) {
        if (&node != &page) ++counts[node.className()];
        return true;
    });
    MarqenJSON elements = MarqenJSON::object();
    for (const auto &[name, count] : counts) elements[name] = count;
    auto title = page.title();
    auto pageNumber = page.pageNumber();
    return {{"frame", NSDictionaryFromCGRect(page.frame())},
            {"deviceScale", page.deviceScale()},
            {"title", title ? MarqenJSON(*title) : MarqenJSON()},
            {"pageNumber", pageNumber ? MarqenJSON(*pageNumber) : MarqenJSON()},
            {"layers", std::move(layers)},
            {"elements", std::move(elements)}};
}

std::string formatNumber(const MarqenJSON &value) {
    if (value.is_null()) return "-";
    double number = value.get<double>();
    if (number == static_cast<long long>(number)) return std::to_string(static_cast<long long>(number));
    return value.dump();
}

void printText(const MarqenJSON &summary) {
    std::cout << summary["type"].get<std::string>() << ", " << summary["pageCount"].get<size_t>() << " page"
              << (summary["pageCount"].get<size_t>() == 1 ? "" : "s") << '\n';
    size_t index = 1;
    for (const auto &page : summary["pages"]) {
        const auto &frame = page["frame"];
        std::cout << "page " << index++ << ": frame " << formatNumber(frame["x"]) << "," << formatNumber(frame["y"])
                  << " " << formatNumber(frame["width"]) << "x" << formatNumber(frame["height"]) << ", device scale "
                  << formatNumber(page["deviceScale"]);
        if (!page["pageNumber"].is_null()) std::cout << ", page number " << formatNumber(page["pageNumber"]);
        if (!page["title"].is_null()) std::cout << ", title " << page["title"].dump();
        std::cout << '\n';
        for (const auto &layer : page["layers"])
            std::cout << "  layer " << layer["layerId"].get<std::string>() << ": " << layer["children"].get<size_t>()
                      << " children\n";
        for (const auto &[name, count] : page["elements"].items())
            std::cout << "  " << name << ": " << count.get<int>() << '\n';
    }
}

int run(const std::vector<std::string> &args) {
    Arguments arguments(args, {}, {"--json"});
    std::string path = arguments.requirePositional(0, "FILE.json");
    if (arguments.positional().size() > 1) usageError("unexpected argument " + arguments.positional()[1]);
    auto content = loadDocumentFile(path);
    MarqenJSON pages = MarqenJSON::array();
    for (const auto &page : content.pages->pages()) pages.push_back(pageSummary(*page));
    MarqenJSON summary{{"type", content.isMultiPage ? "MultiPageDocument" : "Document"},
                       {"pageCount", content.pages->pages().size()},
                       {"pages", std::move(pages)}};
    if (arguments.has("--json"))
        std::cout << summary.dump() << '\n';
    else
        printText(summary);
    return kExitSuccess;
}

const MarqenCommandRegistration registration{{
    "inspect",
    "summarise a document or multi-page document",
    "usage: marqen inspect FILE.json [--json]\n\n"
    "Loads a DOM JSON file and prints its pages, layers and element counts.\n"
    "  --json   print one JSON object: {\"type\", \"pageCount\", \"pages\": [{\"frame\", \"deviceScale\",\n"
    "           \"title\", \"pageNumber\", \"layers\": [{\"layerId\", \"children\"}], \"elements\": {class: count}}]}\n"
    "Exit status: 0 success, 1 unreadable or invalid file, 2 bad usage.\n",
    run,
}};

}  // namespace
}  // namespace marqen::cli
