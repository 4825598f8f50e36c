// URI splitting and UUID matching for resource URIs.
#include "formats/resource_uri.h"

#include <cctype>
#include <regex>

#include "formats/composition_bundle.h"

namespace marqen {

namespace {
std::string percentDecoded(const std::string &text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size() && std::isxdigit(uint8_t(text[i + 1])) && std::isxdigit(uint8_t(text[i + 2]))) {
            out += char(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            out += text[i];
        }
    }
    return out;
}
}  // namespace

MarqenURIParts MarqenSplitURI(const std::string &uri) {
    MarqenURIParts parts;
    std::string rest = uri;
    // A scheme is a letter followed by letters, digits, "+", "-" or ".", ending at the first ":".
    size_t colon = uri.find(':');
    if (colon != std::string::npos && colon > 0 && std::isalpha(uint8_t(uri[0]))) {
        bool valid = true;
        for (size_t i = 0; i < colon; ++i) {
            char c = uri[i];
            valid = valid && (std::isalnum(uint8_t(c)) || c == '+' || c == '-' || c == '.');
        }
        if (valid) {
            parts.scheme = uri.substr(0, colon);
            rest = uri.substr(colon + 1);
        }
    }
    if (rest.rfind("//", 0) == 0) {
        size_t slash = rest.find('/', 2);
        rest = slash == std::string::npos ? std::string() : rest.substr(slash);
    }
    rest = rest.substr(0, rest.find_first_of("?#"));
    parts.path = percentDecoded(rest);
    return parts;
}

std::string MarqenTrimCharacters(const std::string &text, const std::string &characters) {
    size_t first = text.find_first_not_of(characters);
    if (first == std::string::npos) return {};
    size_t last = text.find_last_not_of(characters);
    return text.substr(first, last - first + 1);
}

size_t MarqenCountUUIDMatches(const std::string &text) {
    static const std::regex pattern(MarqenCompositionBundle::uuidRegularExpression(), std::regex::icase);
    return size_t(std::distance(std::sregex_iterator(text.begin(), text.end(), pattern), std::sregex_iterator()));
}

}  // namespace marqen
