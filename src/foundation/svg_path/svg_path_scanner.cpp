#include "foundation/svg_path/svg_path_scanner.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace marqen {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

size_t digitRunEnd(std::string_view text, size_t from) {
    while (from < text.size() && isDigit(text[from])) ++from;
    return from;
}

// Length of the number token starting exactly at `start`, or 0 when none starts there.
size_t numberLengthAt(std::string_view text, size_t start) {
    size_t i = start;
    if (text[i] == '-' || text[i] == '+') ++i;
    size_t digitsEnd = digitRunEnd(text, i);
    // "12.5" and ".5" take the point and its digits; "12." ends before the point.
    if (digitsEnd < text.size() && text[digitsEnd] == '.' && digitsEnd + 1 < text.size() &&
        isDigit(text[digitsEnd + 1]))
        return digitRunEnd(text, digitsEnd + 1) - start;
    return digitsEnd > i ? digitsEnd - start : 0;
}

}  // namespace

std::vector<size_t> SVGCommandLetterOffsets(std::string_view text) {
    std::vector<size_t> offsets;
    for (size_t i = 0; i < text.size(); ++i)
        if (isLetter(text[i])) offsets.push_back(i);
    return offsets;
}

std::vector<CGFloat> SVGNumbersInString(std::string_view text) {
    std::vector<CGFloat> numbers;
    size_t i = 0;
    while (i < text.size()) {
        size_t length = numberLengthAt(text, i);
        if (length == 0) {
            ++i;
            continue;
        }
        numbers.push_back(SVGParseSinglePrecisionNumber(text.substr(i, length)));
        i += length;
    }
    return numbers;
}

float SVGParseSinglePrecisionNumber(std::string_view token) {
    bool negative = false;
    if (!token.empty() && (token[0] == '-' || token[0] == '+')) {
        negative = token[0] == '-';
        token.remove_prefix(1);
    }
    const char *first = token.data(), *last = token.data() + token.size();
    float value = 0;
    auto result = std::from_chars(first, last, value);
    if (result.ec == std::errc::result_out_of_range) {
        double wide = 0;
        if (std::from_chars(first, last, wide).ec == std::errc::result_out_of_range) {
            // Longer than a double reaches: a non-zero whole part overflows, anything else underflows.
            size_t point = token.find('.');
            size_t firstNonZero = token.find_first_not_of('0');
            bool overflows = firstNonZero != std::string_view::npos && firstNonZero < std::min(point, token.size());
            value = overflows ? std::numeric_limits<float>::infinity() : 0.0f;
        } else {
            value = static_cast<float>(wide);
        }
    } else if (result.ec != std::errc()) {
        value = 0;
    }
    return negative ? -value : value;
}

}  // namespace marqen
