#pragma once
// Base64 with the RFC 4648 alphabet and "=" padding.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace marqen {

// With separateLines, CR LF follows every 64 output characters (48 input bytes), never at the very end.
std::string NewBase64Encode(const void *bytes, size_t length, bool separateLines);

// Decodes the characters of the alphabet and skips everything else (whitespace, line breaks,
// padding). A final group of 2 or 3 characters gives 1 or 2 bytes; a final single character is dropped.
// A length of SIZE_MAX means that `text` is NUL-terminated.
std::vector<uint8_t> NewBase64Decode(const char *text, size_t length);
inline std::vector<uint8_t> NewBase64Decode(std::string_view text) { return NewBase64Decode(text.data(), text.size()); }

// The string's bytes decoded as above. A string holding non-ASCII characters has no ASCII form and
// decodes to no bytes.
std::vector<uint8_t> marqen_dataFromBase64String(const std::string &string);

}  // namespace marqen
