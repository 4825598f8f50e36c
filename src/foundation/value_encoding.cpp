#include "foundation/value_encoding.h"

#include <cstdlib>
#include <regex>

namespace marqen {

namespace {

double numberOrZero(const MarqenJSON &dictionary, const char *key) {
    if (!dictionary.is_object()) return 0;
    auto it = dictionary.find(key);
    if (it == dictionary.end()) return 0;
    return marqen_doubleValue(*it);
}

}  // namespace

MarqenJSON NSDictionaryFromCGPoint(CGPoint point) { return {{"x", point.x}, {"y", point.y}}; }

MarqenJSON NSDictionaryFromCGSize(CGSize size) { return {{"width", size.width}, {"height", size.height}}; }

MarqenJSON NSDictionaryFromCGRect(CGRect rect) {
    return {{"x", CGRectGetMinX(rect)},
            {"y", CGRectGetMinY(rect)},
            {"width", CGRectGetWidth(rect)},
            {"height", CGRectGetHeight(rect)}};
}

MarqenJSON NSDictionaryFromCGAffineTransform(CGAffineTransform t) {
    return {{"a", t.a}, {"b", t.b}, {"c", t.c}, {"d", t.d}, {"e", t.tx}, {"f", t.ty}};
}

CGPoint CGPointFromNSDictionary(const MarqenJSON &value) {
    if (value.is_string()) {
        static const std::regex pattern(R"([{]\s*(\d+(?:[.]\d+)?)\s*,\s*(\d+(?:[.]\d+)?)\s*[}])");
        const std::string &text = value.get_ref<const std::string &>();
        CGPoint point = CGPointZero;
        for (auto it = std::sregex_iterator(text.begin(), text.end(), pattern); it != std::sregex_iterator(); ++it)
            point = {std::strtod((*it)[1].str().c_str(), nullptr), std::strtod((*it)[2].str().c_str(), nullptr)};
        return point;
    }
    return {numberOrZero(value, "x"), numberOrZero(value, "y")};
}

CGRect CGRectFromNSDictionary(const MarqenJSON &value) {
    if (!value.is_object()) return CGRectZero;
    auto read = [&](const char *key) {
        const MarqenJSON *number = marqen_objectForKey(value, key);
        return number ? marqen_doubleValue(*number) : 0.0;
    };
    return CGRectMake(read("x"), read("y"), read("width"), read("height"));
}

CGSize CGSizeFromDictionary(const MarqenJSON &value) {
    return {numberOrZero(value, "width"), numberOrZero(value, "height")};
}

CGAffineTransform CGAffineTransformFromNSDictionary(const MarqenJSON &value) {
    return {numberOrZero(value, "a"), numberOrZero(value, "b"), numberOrZero(value, "c"),
            numberOrZero(value, "d"), numberOrZero(value, "e"), numberOrZero(value, "f")};
}

CGFloat CGFloatFromString(const std::string &string) { return std::strtod(string.c_str(), nullptr); }

CGFloat CGFloatFromNumber(const MarqenJSON &number) { return marqen_doubleValue(number); }

}  // namespace marqen
