#pragma once
// Dictionary encodings of points, sizes, rectangles and transforms, as every JSON format of the
// DOM stores them. The four readers deliberately differ in how they treat odd input.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <string>

#include "../export.h"
#include "geometry.h"
#include "json.h"
#include "json_writer.h"

namespace marqen {

MARQEN_EXPORT MarqenJSON NSDictionaryFromCGPoint(CGPoint point);  // "x", "y"
MARQEN_EXPORT MarqenJSON NSDictionaryFromCGSize(CGSize size);     // "width", "height"
MARQEN_EXPORT MarqenJSON NSDictionaryFromCGRect(CGRect rect);     // "x", "y", "width", "height" of the normalised rectangle
MARQEN_EXPORT MarqenJSON NSDictionaryFromCGAffineTransform(CGAffineTransform t);  // "a" … "d", "e" = tx, "f" = ty
// The same objects written through a JSON writer (the encodings above are built from these).
MARQEN_EXPORT void MarqenWriteCGPoint(MarqenJSONWriter &writer, CGPoint point);
MARQEN_EXPORT void MarqenWriteCGSize(MarqenJSONWriter &writer, CGSize size);
MARQEN_EXPORT void MarqenWriteCGRect(MarqenJSONWriter &writer, CGRect rect);
MARQEN_EXPORT void MarqenWriteCGAffineTransform(MarqenJSONWriter &writer, CGAffineTransform t);

// Also accepts a string such as "{12, 3.5}" (the last unsigned pair found; no match gives the zero point).
// A dictionary's missing key reads as 0.
MARQEN_EXPORT CGPoint CGPointFromNSDictionary(const MarqenJSON &value);
// Not a dictionary: the zero rectangle; a null key reads as 0.
MARQEN_EXPORT CGRect CGRectFromNSDictionary(const MarqenJSON &value);
// Keys read directly; a missing key reads as 0 (a transform without "a" and "d" is degenerate).
MARQEN_EXPORT CGSize CGSizeFromDictionary(const MarqenJSON &value);
MARQEN_EXPORT CGAffineTransform CGAffineTransformFromNSDictionary(const MarqenJSON &value);

MARQEN_EXPORT CGFloat CGFloatFromString(const std::string &string);  // a non-numeric string gives 0
MARQEN_EXPORT CGFloat CGFloatFromNumber(const MarqenJSON &number);
inline CGPoint CGPointFromCGSize(CGSize size) { return {size.width, size.height}; }
inline CGSize CGSizeFromCGPoint(CGPoint point) { return {point.x, point.y}; }

}  // namespace marqen
