#include "foundation/uuid.h"

#include <cctype>
#include <random>

namespace marqen {

std::string marqen_stringWithNewUUID() {
    thread_local std::mt19937_64 engine{std::random_device{}()};
    unsigned char bytes[16];
    for (int i = 0; i < 16; i += 8) {
        uint64_t value = engine();
        for (int j = 0; j < 8; ++j) bytes[i + j] = static_cast<unsigned char>(value >> (8 * j));
    }
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);  // version 4
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
    static const char *digits = "0123456789ABCDEF";
    std::string text;
    text.reserve(36);
    for (int i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 15];
    }
    return text;
}

bool marqen_isUUIDString(const std::string &text) {
    if (text.size() != 36) return false;
    for (size_t i = 0; i < text.size(); ++i) {
        bool dash = i == 8 || i == 13 || i == 18 || i == 23;
        if (dash ? text[i] != '-' : !std::isxdigit(static_cast<unsigned char>(text[i]))) return false;
    }
    return true;
}

}  // namespace marqen
