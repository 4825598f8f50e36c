#pragma once
// Reads SVG path data into a path: the letters m, l, h, v, c, s, q, t and z in either case, nothing else.
// Only the first set of numbers after a letter is used ("L0,0 5,5" draws one line). Bad commands are
// logged as "Error with SVG: ..." and skipped; reading never fails as a whole.
//
// Threads: safe on any thread; paths are parsed on background threads too (the shared command
// objects lock themselves).
#include <string_view>

#include "foundation/bezier_path.h"

namespace marqen {

// A new path holding the parsed commands.
MarqenBezierPath marqen_bezierPathWithSVGString(std::string_view svgString);

// Adds the parsed commands to an existing path and returns it; an empty string leaves it as it is.
MarqenBezierPath &addPathWithSVGString(std::string_view svgString, MarqenBezierPath &path);

// Performs one command's text (its letter and numbers) given the text of the command before it.
void processCommandString(std::string_view command, std::string_view prevCommand, MarqenBezierPath &path);

}  // namespace marqen
