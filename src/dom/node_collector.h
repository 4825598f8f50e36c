#pragma once
// Gathers nodes, and what they hold, from a subtree in visiting order (the node first, then its
// children depth first). The searches behind the document's collectors (allBitmaps, textStrings,
// resourceURIs, ...). Main thread, like the tree it walks.
#include <memory>
#include <string>
#include <vector>

#include "dom/node.h"

namespace marqen {

class MarqenDOMBitmap;

class MarqenDOMNodeCollector {
public:
    explicit MarqenDOMNodeCollector(const MarqenDOMNode &root) : root_(root) {}

    // The nodes whose class is the named one or derives from it.
    std::vector<MarqenDOMNodePtr> nodesOfClass(const std::string &className) const;
    std::vector<std::shared_ptr<MarqenDOMBitmap>> bitmaps() const;
    // The text of every text node that has one.
    std::vector<std::string> textStrings() const;
    // The URI of every bitmap that is not an adjustment.
    std::vector<std::string> resourceURIs() const;
    // True as soon as the walk meets a bitmap, a vector kind, a text or a stamp.
    bool hasVisibleElements() const;

private:
    // The walk itself does not change the tree; acceptVisitor only lacks a const form.
    MarqenDOMNode &root() const { return const_cast<MarqenDOMNode &>(root_); }

    const MarqenDOMNode &root_;
};

}  // namespace marqen
