#pragma once
// Parses one PDF value (no stream, no indirect object header) from any byte buffer.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <cstddef>
#include <optional>
#include <string_view>

#include "formats/pdf/pdf_object.h"

namespace marqen {

class MarqenPDFValueParser {
public:
    // Arrays and dictionaries nested deeper than this are refused, so that hostile input cannot
    // exhaust the stack.
    static constexpr int kMaximumNestingDepth = 100;

    // The value whose first token starts at or after offset, or nothing (logged). *next receives the offset
    // after the value; after a failure it is past the offending token, so callers always make progress.
    static std::optional<MarqenPDFObject> makeObjectFromOffset(std::string_view buffer, size_t offset, size_t *next,
                                                               int depth = 0);

private:
    static std::optional<MarqenPDFObject> literalString(std::string_view buffer, size_t start, size_t *next);
    static std::optional<MarqenPDFObject> hexString(std::string_view buffer, size_t start, size_t *next);
    static std::optional<MarqenPDFObject> array(std::string_view buffer, size_t start, size_t *next, int depth);
    static std::optional<MarqenPDFObject> dictionary(std::string_view buffer, size_t start, size_t *next, int depth);
    static size_t skipComments(std::string_view buffer, size_t offset);
};

}  // namespace marqen
