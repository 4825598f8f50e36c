#include "formats/pdf/pdf_lexer.h"

#include <charconv>

namespace marqen::pdf_lexer {

bool isTokenDelimiter(unsigned char byte) {
    switch (byte) {
        case 0: case 9: case 10: case 13: case 32:
        case '%': case '(': case ')': case '/': case '<': case '>': case '[': case ']': case '{': case '}':
            return true;
        default:
            return false;
    }
}

size_t skipWhitespace(std::string_view buffer, size_t offset) {
    while (offset < buffer.size() && isWhitespace(static_cast<unsigned char>(buffer[offset]))) ++offset;
    return offset;
}

std::string_view tokenFromOffset(std::string_view buffer, size_t offset, size_t *next) {
    size_t start = skipWhitespace(buffer, offset);
    if (start >= buffer.size()) {
        if (next) *next = buffer.size();
        return {};
    }
    size_t end = start;
    if (isTokenDelimiter(static_cast<unsigned char>(buffer[start]))) {
        end = start + 1;
    } else {
        while (end < buffer.size() && !isTokenDelimiter(static_cast<unsigned char>(buffer[end]))) ++end;
    }
    if (next) *next = end;
    return buffer.substr(start, end - start);
}

bool isTokenNumeric(std::string_view token) {
    if (token.empty()) return false;
    char first = token[0];
    if (!((first >= '0' && first <= '9') || first == '+' || first == '-' || first == '.')) return false;
    int points = first == '.' ? 1 : 0;
    for (size_t i = 1; i < token.size(); ++i) {
        if (token[i] == '.') {
            ++points;
        } else if (token[i] < '0' || token[i] > '9') {
            return false;
        }
    }
    return points <= 1;
}

bool hasDecimalPoint(std::string_view token) { return token.find('.') != std::string_view::npos; }

std::optional<int64_t> integerFromToken(std::string_view token) {
    if (!token.empty() && token[0] == '+') token.remove_prefix(1);
    if (token.empty()) return 0;  // a lone sign reads as zero
    if (token == "-") return 0;
    int64_t value = 0;
    auto [end, error] = std::from_chars(token.data(), token.data() + token.size(), value);
    if (error != std::errc() || end != token.data() + token.size()) return std::nullopt;
    return value;
}

double doubleFromToken(std::string_view token) {
    bool negative = false;
    if (!token.empty() && (token[0] == '+' || token[0] == '-')) {
        negative = token[0] == '-';
        token.remove_prefix(1);
    }
    if (token.empty() || token == ".") return 0;
    double value = 0;
    std::from_chars(token.data(), token.data() + token.size(), value, std::chars_format::fixed);
    return negative ? -value : value;
}

}  // namespace marqen::pdf_lexer
