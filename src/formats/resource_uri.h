#pragma once
// Splitting URI strings the way a URL class does, for the bundle's resource URIs.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <optional>
#include <string>

namespace marqen {

struct MarqenURIParts {
    std::optional<std::string> scheme;  // as written; absent when the string has none
    std::string path;                   // percent escapes decoded
};

// scheme ":" ["//" authority] path ["?" query] ["#" fragment]
MarqenURIParts MarqenSplitURI(const std::string &uri);
// Removes the given characters from both ends.
std::string MarqenTrimCharacters(const std::string &text, const std::string &characters);
// Non-overlapping case-insensitive matches of the UUID pattern in text.
size_t MarqenCountUUIDMatches(const std::string &text);

}  // namespace marqen
