// marqen inspect: a summary of a document or multi-page document.
#include <iostream>
#include <map>

#include "command.h"
#include "document_loading.h"
#include "dom/bitmap.h"
#include "dom/stamp.h"
#include "dom/text.h"
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
    MarqenJSON texts = MarqenJSON::array();
    for (const auto &node : page.allTextElements()) {
        auto text = std::static_pointer_cast<MarqenDOMText>(node);
        texts.push_back({{"text", text->text() ? MarqenJSON(*text->text()) : MarqenJSON()},
                         {"style", NSStringFromMarqenDOMTextBlockStyle(text->textBlockStyle())},
                         {"bounds", NSDictionaryFromCGRect(text->contentBounds())}});
    }
    MarqenJSON stamps = MarqenJSON::array();
    for (const auto &node : page.allStampElements()) {
        auto stamp = std::static_pointer_cast<MarqenDOMStamp>(node);
        auto angle = stamp->tailAngleInDegrees();
        stamps.push_back({{"stampName", stamp->stampName() ? MarqenJSON(*stamp->stampName()) : MarqenJSON()},
                          {"tailAngleInDegrees", angle ? MarqenJSON(*angle) : MarqenJSON()},
                          {"frame", NSDictionaryFromCGRect(stamp->frame())}});
    }
    MarqenJSON bitmaps = MarqenJSON::array();
    for (const auto &bitmap : page.allBitmaps()) {
        auto image = bitmap->image();
        MarqenJSON entry{{"uri", bitmap->uri()},
                         {"frame", NSDictionaryFromCGRect(bitmap->frame())},
                         {"imageProfile", bitmap->imageProfile()},
                         {"loaded", image != nullptr}};
        if (image) {
            entry["pixelWidth"] = image->width();
            entry["pixelHeight"] = image->height();
            entry["opaque"] = bitmap->isOpaque();
        }
        bitmaps.push_back(std::move(entry));
    }
    auto title = page.title();
    auto pageNumber = page.pageNumber();
    return {{"frame", NSDictionaryFromCGRect(page.frame())},
            {"deviceScale", page.deviceScale()},
            {"title", title ? MarqenJSON(*title) : MarqenJSON()},
            {"pageNumber", pageNumber ? MarqenJSON(*pageNumber) : MarqenJSON()},
            {"layers", std::move(layers)},
            {"elements", std::move(elements)},
            {"texts", std::move(texts)},
            {"stamps", std::move(stamps)},
            {"bitmaps", std::move(bitmaps)}};
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
        for (const auto &text : page["texts"])
            std::cout << "  text (" << text["style"].get<std::string>() << "): " << text["text"].dump() << '\n';
        for (const auto &stamp : page["stamps"])
            std::cout << "  stamp " << (stamp["stampName"].is_null() ? "-" : stamp["stampName"].get<std::string>())
                      << (stamp["tailAngleInDegrees"].is_null() ? "" : ", tail " + stamp["tailAngleInDegrees"].dump())
                      << '\n';
        for (const auto &bitmap : page["bitmaps"]) {
            std::cout << "  bitmap " << bitmap["uri"].get<std::string>();
            if (bitmap["loaded"].get<bool>())
                std::cout << ": " << bitmap["pixelWidth"].get<int>() << "x" << bitmap["pixelHeight"].get<int>()
                          << (bitmap["opaque"].get<bool>() ? ", opaque" : ", with transparency");
            else
                std::cout << ": not loaded";
            std::cout << '\n';
        }
    }
}

int run(const std::vector<std::string> &args) {
    Arguments arguments(args, {"--resources"}, {"--json"});
    std::string path = arguments.requirePositional(0, "FILE.json");
    if (arguments.positional().size() > 1) usageError("unexpected argument " + arguments.positional()[1]);
    auto content = loadDocumentFile(path);
    std::shared_ptr<MarqenDOMDocumentResourceCoordinator> resources;
    if (arguments.has("--resources")) resources = attachResources(content, arguments.requireValue("--resources"));
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
    "usage: marqen inspect FILE.json [--json] [--resources DIR]\n\n"
    "Loads a DOM JSON file and prints its pages, layers and element counts.\n"
    "  --json   print one JSON object: {\"type\", \"pageCount\", \"pages\": [{\"frame\", \"deviceScale\",\n"
    "           \"title\", \"pageNumber\", \"layers\": [{\"layerId\", \"children\"}], \"elements\": {class: count},\n"
    "           \"texts\": [{\"text\", \"style\", \"bounds\"}], \"stamps\": [{\"stampName\", \"tailAngleInDegrees\", \"frame\"}],\n"
    "           \"bitmaps\": [{\"uri\", \"frame\", \"imageProfile\", \"loaded\", \"pixelWidth\", \"pixelHeight\", \"opaque\"}]}]}\n"
    "  --resources DIR   load the bitmaps' pixels from DIR (files named by the resource's lower-case UUID)\n"
    "Exit status: 0 success, 1 unreadable or invalid file, 2 bad usage.\n",
    run,
}};

}  // namespace
}  // namespace marqen::cli
