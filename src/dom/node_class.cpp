#include "dom/node_class.h"

#include <map>

#include "dom/arrow.h"
#include "dom/bitmap.h"
#include "dom/document.h"
#include "dom/ellipse.h"
#include "dom/layer.h"
#include "dom/line.h"
#include "dom/rectangle.h"
#include "dom/stamp.h"
#include "dom/text.h"

namespace marqen {

namespace {

// Every class a dictionary can name, by type path. Older identifiers map to the class they meant.
std::map<std::string, const MarqenDOMNodeClass *> buildTypeMap() {
    std::map<std::string, const MarqenDOMNodeClass *> map;
    for (const MarqenDOMNodeClass *cls :
         {&MarqenDOMDocument::classDescriptor(), &MarqenDOMLayer::classDescriptor(), &MarqenDOMVector::classDescriptor(),
          &MarqenDOMArrow::classDescriptor(), &MarqenDOMLine::classDescriptor(), &MarqenDOMPolygon::classDescriptor(),
          &MarqenDOMRectangle::classDescriptor(), &MarqenDOMEllipse::classDescriptor()})
        map[cls->jsonTypePath] = cls;
    map["com.brondale.marqen.element.type.layer"] = &MarqenDOMLayer::classDescriptor();
    for (const MarqenDOMNodeClass *cls : {&MarqenDOMBitmap::classDescriptor(), &MarqenDOMStamp::classDescriptor(),
                                          &MarqenDOMText::classDescriptor()})
        map[cls->jsonTypePath] = cls;
    map["com.brondale.marqen.element.type.bitmap"] = &MarqenDOMBitmap::classDescriptor();
    map["com.brondale.marqen.element.type.text"] = &MarqenDOMText::classDescriptor();
    map["com.brondale.marqen.element.type.vector"] = &MarqenDOMVector::classDescriptor();
    return map;
}

const std::map<std::string, const MarqenDOMNodeClass *> &typeMap() {
    static const auto map = buildTypeMap();
    return map;
}

}  // namespace

const MarqenDOMNodeClass *MarqenDOMNodeResolveNodeClass(const MarqenJSON &dictionary,
                                                        const MarqenDOMNodeClass *defaultClass,
                                                        const std::string *parentPath) {
    // Iterative so that a hostile chain of "extension" dictionaries cannot exhaust the stack.
    const MarqenJSON *current = &dictionary;
    std::string path = parentPath ? *parentPath : "";
    bool hasParent = parentPath != nullptr;
    for (;;) {
        const std::string *type = marqen_stringPointerForKey(*current, "type");
        if (!type || type->empty()) return defaultClass;
        std::string key = hasParent ? path + "." + *type : *type;
        auto found = typeMap().find(key);
        if (found == typeMap().end()) return defaultClass;
        defaultClass = found->second;
        const MarqenJSON *extension = marqen_objectForKey(*current, "extension");
        if (!extension) return defaultClass;
        current = extension;
        path = key;
        hasParent = true;
    }
}

const std::vector<const MarqenDOMNodeClass *> &MarqenDOMNodeEarlyClasses() {
    static const std::vector<const MarqenDOMNodeClass *> classes{&MarqenDOMArrow::classDescriptor(),
                                                                 &MarqenDOMLine::classDescriptor()};
    return classes;
}

}  // namespace marqen
