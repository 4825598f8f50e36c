#pragma once
// Dictionary encodings of points, sizes, rectangles and transforms, as every JSON format of the
// DOM stores them. The four readers deliberately differ in how they treat odd input.
#include <string>

#include "foundation/geometry.h"
#include "foundation/json.h"

namespace marqen {

MarqenJSON NSDictionaryFromCGPoint(CGPoint point);  // "x", "y"
MarqenJSON NSDictionaryFromCGSize(CGSize size);     // "width", "height"
MarqenJSON NSDictionaryFromCGRect(CGRect rect);     // "x", "y", "width", "height" of the normalised rectangle
MarqenJSON NSDictionaryFromCGAffineTransform(CGAffineTransform t);  // "a" … "d", "e" = tx, "f" = ty

// Also accepts a string such as "{12, 3.5}" (the last unsigned pair found; no match gives the zero point).
// A dictionary's missing key reads as 0.
CGPoint CGPointFromNSDictionary(const MarqenJSON &value);
// Not a dictionary: the zero rectangle; a null key reads as 0.
CGRect CGRectFromNSDictionary(const MarqenJSON &value);
// Keys read directly; a missing key reads as 0 (a transform without "a" and "d" is degenerate).
CGSize CGSizeFromDictionary(const MarqenJSON &value);
CGAffineTransform CGAffineTransformFromNSDictionary(const MarqenJSON &value);

CGFloat CGFloatFromString(const std::string &string);  // a non-numeric string gives 0
CGFloat CGFloatFromNumber(const MarqenJSON &number);
inline CGPoint CGPointFromCGSize(CGSize size) { return {size.width, size.height}; }
inline CGSize CGSizeFromCGPoint(CGPoint point) { return {point.x, point.y}; }

}  // namespace marqen
