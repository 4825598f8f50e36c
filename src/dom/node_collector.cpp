#include "dom/node_collector.h"

#include "dom/bitmap.h"
#include "dom/text.h"

namespace marqen {

std::vector<MarqenDOMNodePtr> MarqenDOMNodeCollector::nodesOfClass(const std::string &className) const {
    std::vector<MarqenDOMNodePtr> found;
    root().acceptVisitor([&](MarqenDOMNode &node) {
        if (node.isKindOfClass(className)) found.push_back(node.shared_from_this());
        return true;
    });
    return found;
}

std::vector<std::shared_ptr<MarqenDOMBitmap>> MarqenDOMNodeCollector::bitmaps() const {
    std::vector<std::shared_ptr<MarqenDOMBitmap>> bitmaps;
    for (const auto &node : nodesOfClass("MarqenDOMBitmap"))
        if (auto bitmap = std::dynamic_pointer_cast<MarqenDOMBitmap>(node)) bitmaps.push_back(bitmap);
    return bitmaps;
}

std::vector<std::string> MarqenDOMNodeCollector::textStrings() const {
    std::vector<std::string> strings;
    for (const auto &node : nodesOfClass("MarqenDOMText"))
        if (auto text = std::dynamic_pointer_cast<MarqenDOMText>(node); text && text->text())
            strings.push_back(*text->text());
    return strings;
}

std::vector<std::string> MarqenDOMNodeCollector::resourceURIs() const {
    std::vector<std::string> uris;
    for (const auto &bitmap : bitmaps())
        if (!bitmap->isAdjustment() && !bitmap->uri().empty()) uris.push_back(bitmap->uri());
    return uris;
}

bool MarqenDOMNodeCollector::hasVisibleElements() const {
    bool found = false;
    root().acceptVisitor([&](MarqenDOMNode &node) {
        if (found) return false;
        found = node.isKindOfClass("MarqenDOMBitmap") || node.isKindOfClass("MarqenDOMVector") ||
                node.isKindOfClass("MarqenDOMText") || node.isKindOfClass("MarqenDOMStamp");
        return !found;
    });
    return found;
}

}  // namespace marqen
