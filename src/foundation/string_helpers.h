#pragma once
// Turning user text (document titles) into safe file names and URL path components. Both work on
// UTF-8 and count length in UTF-16 units, as the platform's strings do; malformed UTF-8 becomes U+FFFD.
// And ASCII case folding for identifiers (URIs, extensions, font names).
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <string>

namespace marqen {

// Every one of : / ? # [ ] @ ! $ & ' ( ) * + , ; = space ~ \ " < > | % . becomes "_" (the full stop
// too, so "a.png" becomes "a_png"); a result of 241 units or more is cut to its first 240, never
// inside a character.
std::string marqen_sanitizedFilename(const std::string &string);

// Keeps Unicode letters, marks and numbers and the characters $ - _ @ . & + ! * " ' ( ) , ; every other
// character becomes "-" (runs are not collapsed: two spaces give two hyphens).
std::string marqen_sanitizedTitleForURL(const std::string &string);

// A to Z become a to z; every other byte (UTF-8 included) stays, whatever the locale.
std::string marqen_asciiLowercase(std::string string);

}  // namespace marqen
