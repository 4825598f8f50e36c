#include "foundation/base64.h"

#include <array>
#include <cstring>

namespace marqen {

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr size_t kInputBytesPerLine = 48;  // 64 output characters
constexpr uint8_t kNotInAlphabet = 0xFF;

constexpr std::array<uint8_t, 256> makeDecodingTable() {
    std::array<uint8_t, 256> table{};
    for (auto &entry : table) entry = kNotInAlphabet;
    for (uint8_t i = 0; i < 64; ++i) table[static_cast<unsigned char>(kAlphabet[i])] = i;
    return table;
}

constexpr std::array<uint8_t, 256> kDecodingTable = makeDecodingTable();

}  // namespace

std::string NewBase64Encode(const void *bytes, size_t length, bool separateLines) {
    const auto *input = static_cast<const uint8_t *>(bytes);
    if (!input) length = 0;
    std::string output;
    size_t groups = (length + 2) / 3;
    output.reserve(groups * 4 + (separateLines ? (length / kInputBytesPerLine) * 2 : 0));
    for (size_t i = 0; i < length; i += 3) {
        if (separateLines && i > 0 && i % kInputBytesPerLine == 0) output += "\r\n";
        size_t remaining = length - i;
        uint32_t chunk = uint32_t(input[i]) << 16;
        if (remaining > 1) chunk |= uint32_t(input[i + 1]) << 8;
        if (remaining > 2) chunk |= input[i + 2];
        output += kAlphabet[(chunk >> 18) & 63];
        output += kAlphabet[(chunk >> 12) & 63];
        output += remaining > 1 ? kAlphabet[(chunk >> 6) & 63] : '=';
        output += remaining > 2 ? kAlphabet[chunk & 63] : '=';
    }
    return output;
}

std::vector<uint8_t> NewBase64Decode(const char *text, size_t length) {
    std::vector<uint8_t> output;
    if (!text) return output;
    if (length == SIZE_MAX) length = std::strlen(text);
    output.reserve(length / 4 * 3 + 2);
    uint32_t accumulated = 0;
    int count = 0;
    for (size_t i = 0; i < length; ++i) {
        uint8_t value = kDecodingTable[static_cast<unsigned char>(text[i])];
        if (value == kNotInAlphabet) continue;
        accumulated = (accumulated << 6) | value;
        if (++count == 4) {
            output.push_back(uint8_t(accumulated >> 16));
            output.push_back(uint8_t(accumulated >> 8));
            output.push_back(uint8_t(accumulated));
            accumulated = 0;
            count = 0;
        }
    }
    // A trailing group of 2 or 3 characters carries 1 or 2 whole bytes; a single character carries none.
    if (count == 2) {
        output.push_back(uint8_t(accumulated >> 4));
    } else if (count == 3) {
        output.push_back(uint8_t(accumulated >> 10));
        output.push_back(uint8_t(accumulated >> 2));
    }
    return output;
}

std::vector<uint8_t> marqen_dataFromBase64String(const std::string &string) {
    for (unsigned char c : string)
        if (c >= 0x80) return {};
    return NewBase64Decode(string.data(), string.size());
}

}  // namespace marqen
