#include "dom/color.h"

#include <cmath>
#include <cstdint>

namespace marqen {

namespace {

// Truncated toward zero and held on the 0 to 255 scale, so hostile values (negative, NaN, enormous)
// still write a component that reads back as a colour.
uint64_t writtenComponent(double value) {
    if (!(value > 0)) return 0;
    if (value >= 255) return 255;
    return static_cast<uint64_t>(std::trunc(value));
}

double readComponent(const MarqenJSON &dictionary, const char *key) {
    auto value = marqen_numberForKey(dictionary, key);
    return value ? *value : 0.0;
}

}  // namespace

MarqenDOMColor MarqenDOMColor::colorWithMarqenColor(double red, double green, double blue, double alpha) {
    return {red * 255, green * 255, blue * 255, alpha};
}

void MarqenDOMColor::writeJSON(MarqenJSONWriter &writer) const {
    writer.beginObject();
    writer.unsignedMember("red", writtenComponent(red_));
    writer.unsignedMember("green", writtenComponent(green_));
    writer.unsignedMember("blue", writtenComponent(blue_));
    writer.numberMember("alpha", std::isfinite(alpha_) ? alpha_ : 0.0);
    writer.endObject();
}

MarqenJSON MarqenDOMColor::dictionaryRepresentation() const {
    MarqenJSONBuilder builder;
    writeJSON(builder);
    return builder.take();
}

MarqenDOMColor MarqenDOMColor::fromDictionary(const MarqenJSON &dictionary) {
    return {readComponent(dictionary, "red"), readComponent(dictionary, "green"), readComponent(dictionary, "blue"),
            readComponent(dictionary, "alpha")};
}

}  // namespace marqen
