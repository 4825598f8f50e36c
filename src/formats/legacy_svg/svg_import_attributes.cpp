#include "formats/legacy_svg/svg_import_attributes.h"

#include <cctype>
#include <cmath>
#include <string>

#include "formats/legacy_svg/svg_import_scanner.h"
#include "formats/legacy_svg_import.h"

namespace marqen {

std::optional<MarqenDOMColor> svgImport_colorFromString(const std::string &text) {
    SvgImportScanner scanner(text);
    if (!scanner.scanString("rgb(")) return std::nullopt;
    long components[3];
    for (int i = 0; i < 3; ++i) {
        if (i > 0 && !scanner.scanString(",")) return std::nullopt;
        auto component = scanner.scanInteger();
        if (!component || *component < 0 || *component > 255) return std::nullopt;
        components[i] = *component;
    }
    if (!scanner.scanString(")")) return std::nullopt;
    return MarqenDOMColor(static_cast<double>(components[0]), static_cast<double>(components[1]),
                          static_cast<double>(components[2]), 1.0);
}

std::optional<MarqenDOMColor> svgImport_colorFromElement(const pugi::xml_node &element, const char *attributeName) {
    pugi::xml_attribute attribute = element.attribute(attributeName);
    if (!attribute) return std::nullopt;
    return svgImport_colorFromString(attribute.value());
}

bool svgImport_getCGFloat(CGFloat *value, const pugi::xml_node &element, const char *attributeName) {
    pugi::xml_attribute attribute = element.attribute(attributeName);
    if (!attribute) return false;
    SvgImportScanner scanner(attribute.value());
    auto number = scanner.scanDouble();
    if (!number || !std::isfinite(*number) || !scanner.atEnd()) return false;
    *value = *number;
    return true;
}

bool svgImport_getBool(bool *value, const pugi::xml_node &element, const char *attributeName) {
    pugi::xml_attribute attribute = element.attribute(attributeName);
    if (!attribute) return false;
    std::string text;
    for (const char *c = attribute.value(); *c; ++c) {
        if (!std::isspace(static_cast<unsigned char>(*c))) text += static_cast<char>(std::tolower(static_cast<unsigned char>(*c)));
    }
    if (text == "true" || text == "yes" || text == "1") {
        *value = true;
        return true;
    }
    if (text == "false" || text == "no" || text == "0") {
        *value = false;
        return true;
    }
    return false;
}

MarqenDOMColor svgImport_outlineColorForTextColor(const MarqenDOMColor &color) {
    const float redWeight = 0.299f, greenWeight = 0.587f, blueWeight = 0.114f;
    double luminance = redWeight * color.red() / 255.0 + greenWeight * color.green() / 255.0 +
                       blueWeight * color.blue() / 255.0;
    if (luminance < 0.5) return MarqenDOMColor::whiteColor();
    return MarqenDOMColor(0, 0, 0, 1);
}

}  // namespace marqen
