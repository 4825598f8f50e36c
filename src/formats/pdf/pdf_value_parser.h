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
    // The same over the first part of a longer text: *reachedEnd turns true when the parse looked at the
    // end of buffer (a token, a string, a container or the look for a reference's "R" ran into it), so
    // that the value may read differently over a longer part.
    static std::optional<MarqenPDFObject> makeObjectFromPartOfBuffer(std::string_view buffer, size_t offset,
                                                                     size_t *next, bool *reachedEnd);
};

}  // namespace marqen
