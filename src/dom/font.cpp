#include "dom/font.h"

#include <cstring>
#include <functional>
#include <string_view>

namespace marqen {

void MarqenDOMFont::writeJSON(MarqenJSONWriter &writer) const {
    writer.beginObject();
    writer.stringMember("name", name_);
    writer.numberMember("size", size_);
    writer.endObject();
}

MarqenJSON MarqenDOMFont::dictionaryRepresentation() const {
    MarqenJSONBuilder builder;
    writeJSON(builder);
    return builder.take();
}

MarqenDOMFont MarqenDOMFont::fromDictionary(const MarqenJSON &dictionary) {
    auto name = marqen_stringForKey(dictionary, "name");
    auto size = marqen_numberForKey(dictionary, "size");
    return {name ? *name : defaultFontName(), size && *size > 0 ? *size : 36.0};
}

size_t MarqenDOMFont::hash() const {
    char bytes[sizeof(double)];
    std::memcpy(bytes, &size_, sizeof bytes);
    return std::hash<std::string>{}(name_) ^ std::hash<std::string_view>{}(std::string_view(bytes, sizeof bytes));
}

}  // namespace marqen
