#pragma once
// Tokens of the PDF syntax over any byte buffer.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace marqen::pdf_lexer {

// The PDF whitespace set: 0, 9, 10, 12, 13 and 32.
inline bool isWhitespace(unsigned char byte) {
    return byte == 0 || byte == 9 || byte == 10 || byte == 12 || byte == 13 || byte == 32;
}
inline bool isLineEnd(unsigned char byte) { return byte == 10 || byte == 13; }
// Bytes that end a token (form feed does not).
bool isTokenDelimiter(unsigned char byte);

size_t skipWhitespace(std::string_view buffer, size_t offset);
// The next token after whitespace; a delimiter at the start forms a one-byte token. *next is the end of
// the token. An empty token means the end of the buffer.
std::string_view tokenFromOffset(std::string_view buffer, size_t offset, size_t *next);

// A digit, "+", "-" or "." first; every later character a digit or "."; at most one ".".
bool isTokenNumeric(std::string_view token);
bool hasDecimalPoint(std::string_view token);
// An integer token's value (nothing when it does not fit in 64 bits or is not an integer token).
std::optional<int64_t> integerFromToken(std::string_view token);
double doubleFromToken(std::string_view token);

}  // namespace marqen::pdf_lexer
