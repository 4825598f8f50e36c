#pragma once
// The text enumerations and their string forms in the JSON of a text node.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <string>

#include "../export.h"

namespace marqen {

// Stored as full unsigned integers: a text read without these keys keeps out-of-range "unset" values.
enum MarqenDOMTextAlignment : unsigned long {
    MarqenDOMTextAlignmentLeft = 0,
    MarqenDOMTextAlignmentCenter = 1,
    MarqenDOMTextAlignmentRight = 2,
};

enum MarqenDOMTextDirection : unsigned long {
    MarqenDOMTextDirectionLeftToRight = 0,
    MarqenDOMTextDirectionRightToLeft = 1,
    MarqenDOMTextDirectionTopDown = 2,
    MarqenDOMTextDirectionBottomUp = 3,
};

enum MarqenDOMTextBlockStyle : unsigned long {
    MarqenDOMTextBlockStyleBubble = 0,
    MarqenDOMTextBlockStyleParagraph = 1,
    MarqenDOMTextBlockStyleLabel = 2,
};

// Values outside the named ones are written as the first name ("left", "leftToRight", "bubbleText").
MARQEN_EXPORT std::string NSStringFromMarqenDOMTextAlignment(MarqenDOMTextAlignment alignment);
MARQEN_EXPORT std::string NSStringFromMarqenDOMTextDirection(MarqenDOMTextDirection direction);
MARQEN_EXPORT std::string NSStringFromMarqenDOMTextBlockStyle(MarqenDOMTextBlockStyle style);

// Unknown strings read as 0. Older long identifiers are accepted too.
MARQEN_EXPORT MarqenDOMTextAlignment MarqenDOMTextAlignmentFromNSString(const std::string &string);
MARQEN_EXPORT MarqenDOMTextDirection MarqenDOMTextDirectionFromNSString(const std::string &string);
MARQEN_EXPORT MarqenDOMTextBlockStyle MarqenDOMTextBlockStyleFromNSString(const std::string &string);

}  // namespace marqen
