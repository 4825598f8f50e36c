#pragma once
// An independent byte writer for rich-image tests: its own CRC-32 (bitwise, no zlib) and big-endian
// helpers, so that the layouts the library writes are checked against bytes built another way.
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace marqen::test {

inline uint32_t bitwiseCRC32(const std::string &bytes) {
    uint32_t crc = 0xFFFFFFFFu;
    for (unsigned char byte : bytes) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    return crc ^ 0xFFFFFFFFu;
}

inline std::string be32(uint32_t value) {
    return {char(value >> 24), char(value >> 16), char(value >> 8), char(value)};
}

inline uint32_t readBE32(const std::string &bytes, size_t offset) {
    return uint32_t(uint8_t(bytes[offset])) << 24 | uint32_t(uint8_t(bytes[offset + 1])) << 16 |
           uint32_t(uint8_t(bytes[offset + 2])) << 8 | uint32_t(uint8_t(bytes[offset + 3]));
}

// A chunk with its correct CRC, or with the given one.
inline std::string pngChunk(const std::string &type, const std::string &data) {
    return be32(uint32_t(data.size())) + type + data + be32(bitwiseCRC32(type + data));
}
inline std::string pngChunkWithCRC(const std::string &type, const std::string &data, uint32_t crc) {
    return be32(uint32_t(data.size())) + type + data + be32(crc);
}

inline const std::string kPNGSignature("\x89PNG\r\n\x1a\n", 8);
inline const std::string kIEND = pngChunk("IEND", "");

// 16 bytes of a UUID from its text form, in text order.
inline std::string uuidBytes(const std::string &text) {
    std::string bytes;
    std::string hex;
    for (char c : text)
        if (c != '-') hex += c;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) bytes += char(std::stoi(hex.substr(i, 2), nullptr, 16));
    return bytes;
}

// A JPEG-looking file of the given size: SOI, an APP0 "JFIF\0" segment, filler, EOI.
inline std::string fakeJPEG(size_t size = 200, const std::string &name = std::string("JFIF\0", 5)) {
    std::string bytes = std::string("\xFF\xD8\xFF\xE0\x00\x10", 6) + name;
    bytes.resize(size - 2, '\x11');
    return bytes + "\xFF\xD9";
}

// An ISO box: 32-bit size, type, payload.
inline std::string isoBox(const std::string &type, const std::string &payload) {
    return be32(uint32_t(8 + payload.size())) + type + payload;
}
inline std::string fakeHEIC() {
    return isoBox("ftyp", std::string("heic") + be32(0) + "mif1heic") + isoBox("meta", std::string(40, '\x01')) +
           isoBox("mdat", std::string(64, '\x02'));
}

inline const std::string kMarkerUUID("\x5B\xB2\x43\x93\x89\x69\x4D\x17\xA7\x8C\x5C\x95\xB2\x5B\x48\x2E", 16);

}  // namespace marqen::test
