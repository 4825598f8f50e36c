#include "foundation/string_helpers.h"

#include <string_view>

#include "foundation/unicode_alphanumerics.h"
#include "foundation/utf8.h"

namespace marqen {

namespace {

constexpr std::u32string_view kFilenameSeparators = U":/?#[]@!$&'()*+,;= ~\\\"<>|%.";
constexpr std::u32string_view kURLTitlePunctuation = U"$-_@.&+!*\"'(),";
constexpr size_t kMaximumFilenameLength = 240;

}  // namespace

std::string marqen_sanitizedFilename(const std::string &string) {
    std::u32string characters = marqen_decodeUTF8(string);
    for (char32_t &c : characters)
        if (kFilenameSeparators.find(c) != std::u32string_view::npos) c = U'_';
    if (marqen_UTF16Length(characters) > kMaximumFilenameLength) {
        size_t units = 0, kept = 0;
        // A character whose second unit would fall beyond the limit is left out whole.
        while (kept < characters.size() && units + marqen_UTF16UnitCount(characters[kept]) <= kMaximumFilenameLength)
            units += marqen_UTF16UnitCount(characters[kept++]);
        characters.resize(kept);
    }
    return marqen_encodeUTF8(characters);
}

std::string marqen_sanitizedTitleForURL(const std::string &string) {
    std::u32string characters = marqen_decodeUTF8(string);
    for (char32_t &c : characters)
        if (!marqen_isUnicodeAlphanumeric(c) && kURLTitlePunctuation.find(c) == std::u32string_view::npos) c = U'-';
    return marqen_encodeUTF8(characters);
}

std::string marqen_asciiLowercase(std::string string) {
    for (char &c : string)
        if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
    return string;
}

}  // namespace marqen
