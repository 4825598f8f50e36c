#pragma once
// Node classes as values: each class's name, JSON type path and factory; and the resolution of
// a dictionary's "type" (and nested "extension" types) to a class.
//
// Threads: the class table is fixed at start-up and only read; factories make nodes, so call them on
// the main thread.
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "../export.h"
#include "../foundation/json.h"

namespace marqen {

class MarqenDOMNode;

struct MARQEN_EXPORT MarqenDOMNodeClass {
    std::string name;          // "MarqenDOMLayer"
    std::string jsonTypePath;  // "Layer"; empty for classes that no dictionary resolves to
    std::function<std::shared_ptr<MarqenDOMNode>()> make;
    // Older dictionaries describing this kind without naming it (arrows and lines): asked before resolution.
    std::function<bool(const MarqenJSON &)> willInitializeWithDictionary;
    // The base class's descriptor; null for the direct kinds of MarqenDOMNode.
    const MarqenDOMNodeClass &(*superclass)() = nullptr;
};

// Resolves dictionary["type"] (then its "extension" chain) through the fixed map of type paths;
// returns defaultClass when the type is absent, empty or unknown.
MARQEN_EXPORT const MarqenDOMNodeClass *MarqenDOMNodeResolveNodeClass(const MarqenJSON &dictionary,
                                                                      const MarqenDOMNodeClass *defaultClass,
                                                                      const std::string *parentPath);

// The classes that older dictionaries are offered to first, in order (the arrow, then the line).
MARQEN_EXPORT const std::vector<const MarqenDOMNodeClass *> &MarqenDOMNodeEarlyClasses();

}  // namespace marqen
