#pragma once
// SHA-1 digests of byte buffers (used to fingerprint image data).
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace marqen {

using MarqenSHA1Digest = std::array<uint8_t, 20>;

MarqenSHA1Digest MarqenSHA1(const void *bytes, size_t length);
inline MarqenSHA1Digest MarqenSHA1(std::string_view bytes) { return MarqenSHA1(bytes.data(), bytes.size()); }

// Lower-case hexadecimal, 40 characters.
std::string MarqenSHA1Hex(const void *bytes, size_t length);
std::string MarqenDigestToHex(const MarqenSHA1Digest &digest);

// Incremental form for data that arrives in pieces.
class MarqenSHA1Context {
public:
    MarqenSHA1Context();
    ~MarqenSHA1Context();
    MarqenSHA1Context(const MarqenSHA1Context &) = delete;
    MarqenSHA1Context &operator=(const MarqenSHA1Context &) = delete;
    void update(const void *bytes, size_t length);
    MarqenSHA1Digest finish();  // the context starts over afterwards

private:
    void *context_;  // EVP_MD_CTX
};

}  // namespace marqen
