#pragma once
// Threads: plain values and functions of their arguments; safe on any thread.

namespace marqen {

// True for code points of the Unicode letters, marks and numbers (general categories L, M and N).
bool marqen_isUnicodeAlphanumeric(char32_t codePoint);

}  // namespace marqen
