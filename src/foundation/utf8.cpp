#include "foundation/utf8.h"

namespace marqen {

namespace {

bool isContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

bool isScalarValue(char32_t c) { return c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF); }

}  // namespace

std::u32string marqen_decodeUTF8(std::string_view text) {
    std::u32string result;
    result.reserve(text.size());
    size_t i = 0, n = text.size();
    while (i < n) {
        unsigned char lead = static_cast<unsigned char>(text[i]);
        size_t length;
        char32_t c, minimum;
        if (lead < 0x80) {
            result.push_back(lead);
            ++i;
            continue;
        } else if ((lead & 0xE0) == 0xC0) {
            length = 2, c = lead & 0x1F, minimum = 0x80;
        } else if ((lead & 0xF0) == 0xE0) {
            length = 3, c = lead & 0x0F, minimum = 0x800;
        } else if ((lead & 0xF8) == 0xF0) {
            length = 4, c = lead & 0x07, minimum = 0x10000;
        } else {
            result.push_back(kMarqenReplacementCharacter);
            ++i;
            continue;
        }
        size_t consumed = 1;
        while (consumed < length && i + consumed < n && isContinuation(static_cast<unsigned char>(text[i + consumed]))) {
            c = (c << 6) | (static_cast<unsigned char>(text[i + consumed]) & 0x3F);
            ++consumed;
        }
        // A short or malformed sequence is replaced as a whole; the next byte starts afresh.
        if (consumed < length || c < minimum || !isScalarValue(c)) c = kMarqenReplacementCharacter;
        result.push_back(c);
        i += consumed;
    }
    return result;
}

std::string marqen_encodeUTF8(std::u32string_view codePoints) {
    std::string result;
    result.reserve(codePoints.size());
    for (char32_t c : codePoints) {
        if (!isScalarValue(c)) c = kMarqenReplacementCharacter;
        if (c < 0x80) {
            result.push_back(static_cast<char>(c));
        } else if (c < 0x800) {
            result.push_back(static_cast<char>(0xC0 | (c >> 6)));
            result.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else if (c < 0x10000) {
            result.push_back(static_cast<char>(0xE0 | (c >> 12)));
            result.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            result.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else {
            result.push_back(static_cast<char>(0xF0 | (c >> 18)));
            result.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
            result.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            result.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        }
    }
    return result;
}

size_t marqen_UTF16Length(std::u32string_view codePoints) {
    size_t length = 0;
    for (char32_t c : codePoints) length += marqen_UTF16UnitCount(c);
    return length;
}

}  // namespace marqen
