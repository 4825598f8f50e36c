#pragma once
// UTF-8 conversion for string helpers that count characters the way the platform's strings do
// (in UTF-16 units).
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <cstddef>
#include <string>
#include <string_view>

namespace marqen {

inline constexpr char32_t kMarqenReplacementCharacter = 0xFFFD;

// Code points of `text`; each malformed byte sequence (overlong, surrogate, truncated, beyond U+10FFFF)
// becomes U+FFFD.
std::u32string marqen_decodeUTF8(std::string_view text);
// Code points that are not valid scalar values are written as U+FFFD.
std::string marqen_encodeUTF8(std::u32string_view codePoints);
// 2 for code points beyond the Basic Multilingual Plane, 1 otherwise.
inline size_t marqen_UTF16UnitCount(char32_t codePoint) { return codePoint > 0xFFFF ? 2 : 1; }
size_t marqen_UTF16Length(std::u32string_view codePoints);

}  // namespace marqen
