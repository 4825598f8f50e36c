#pragma once
// Measuring a text's layout through the platform text system.
//
// Threads: main thread, with the text nodes it measures.
#include <string>

#include "dom/text.h"

namespace marqen {

// The size of the laid-out string (every line, and every glyph's ink) with the given attributes,
// wrapped at wrapWidth (no wrapping when 0 or less). Unknown font names measure in the default font.
CGSize MarqenDOMTextMeasure(const std::string &string, const MarqenDOMTextAttributes &attributes, CGFloat wrapWidth);

}  // namespace marqen
