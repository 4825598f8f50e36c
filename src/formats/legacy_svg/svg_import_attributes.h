#pragma once
// Reading the attributes of the old SVG writer's elements. Any thread (pure functions of the node).
#include <pugixml.hpp>

#include <optional>

#include "dom/color.h"
#include "foundation/geometry.h"

namespace marqen {

// The attribute's colour, when it exists and reads as "rgb(r,g,b)".
std::optional<MarqenDOMColor> svgImport_colorFromElement(const pugi::xml_node &element, const char *attributeName);

// True when the attribute exists and holds one finite decimal number (white space around it allowed);
// *value is set only then.
bool svgImport_getCGFloat(CGFloat *value, const pugi::xml_node &element, const char *attributeName);

// True when the attribute exists and reads as a boolean ("true"/"false", "yes"/"no", "1"/"0", any case);
// *value is set only then.
bool svgImport_getBool(bool *value, const pugi::xml_node &element, const char *attributeName);

}  // namespace marqen
