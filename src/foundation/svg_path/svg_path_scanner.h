#pragma once
// The two lexical patterns of SVG path data as read here: command letters "[A-Za-z]" and numbers
// "[-+]?[0-9]*\.?[0-9]+" (no exponent part). Hand-written matchers with the same leftmost, greedy
// results, linear in the input and safe on any bytes.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <string_view>
#include <vector>

#include "foundation/geometry.h"

namespace marqen {

// Offsets of every ASCII letter in the text, in order.
std::vector<size_t> SVGCommandLetterOffsets(std::string_view text);

// Every number in the text, in order, each read in single precision and widened.
std::vector<CGFloat> SVGNumbersInString(std::string_view text);

// One number token (optional sign, digits with at most one point) read in single precision.
float SVGParseSinglePrecisionNumber(std::string_view token);

}  // namespace marqen
