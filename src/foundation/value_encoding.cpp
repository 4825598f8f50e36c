#include "foundation/value_encoding.h"

#include <cstdlib>
#include <optional>
#include <string_view>

namespace marqen {

namespace {

double numberOrZero(const MarqenJSON &dictionary, const char *key) {
    if (!dictionary.is_object()) return 0;
    auto it = dictionary.find(key);
    if (it == dictionary.end()) return 0;
    return marqen_doubleValue(*it);
}

// The point strings "{12, 3.5}" follow the pattern [{]\s*(\d+(?:[.]\d+)?)\s*,\s*(\d+(?:[.]\d+)?)\s*[}].
// Scanned by hand rather than with std::regex, whose recursive matcher overflows the stack on long
// runs of digits. No backtracking can change a match (what follows a number is never a digit), and a
// match never holds another "{", so the last match is the one at the last "{" that matches.
bool isPatternSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Reads \d+(?:[.]\d+)? at `i`; the number's text, or nothing when there is no digit.
std::optional<std::string_view> scanNumber(std::string_view text, size_t &i) {
    size_t start = i;
    while (i < text.size() && isDigit(text[i])) ++i;
    if (i == start) return std::nullopt;
    if (i + 1 < text.size() && text[i] == '.' && isDigit(text[i + 1])) {
        i += 2;
        while (i < text.size() && isDigit(text[i])) ++i;
    }
    return text.substr(start, i - start);
}

void skipSpaces(std::string_view text, size_t &i) {
    while (i < text.size() && isPatternSpace(text[i])) ++i;
}

std::optional<CGPoint> matchPointAt(std::string_view text, size_t i) {
    ++i;  // the "{"
    skipSpaces(text, i);
    auto x = scanNumber(text, i);
    if (!x) return std::nullopt;
    skipSpaces(text, i);
    if (i >= text.size() || text[i] != ',') return std::nullopt;
    ++i;
    skipSpaces(text, i);
    auto y = scanNumber(text, i);
    if (!y) return std::nullopt;
    skipSpaces(text, i);
    if (i >= text.size() || text[i] != '}') return std::nullopt;
    return CGPoint{std::strtod(std::string(*x).c_str(), nullptr), std::strtod(std::string(*y).c_str(), nullptr)};
}

CGPoint pointFromString(std::string_view text) {
    for (size_t brace = text.rfind('{'); brace != std::string_view::npos; brace = text.rfind('{', brace - 1)) {
        if (auto point = matchPointAt(text, brace)) return *point;
        if (brace == 0) break;
    }
    return CGPointZero;
}

}  // namespace

void MarqenWriteCGPoint(MarqenJSONWriter &writer, CGPoint point) {
    writer.beginObject();
    writer.numberMember("x", point.x);
    writer.numberMember("y", point.y);
    writer.endObject();
}

void MarqenWriteCGSize(MarqenJSONWriter &writer, CGSize size) {
    writer.beginObject();
    writer.numberMember("width", size.width);
    writer.numberMember("height", size.height);
    writer.endObject();
}

void MarqenWriteCGRect(MarqenJSONWriter &writer, CGRect rect) {
    writer.beginObject();
    writer.numberMember("x", CGRectGetMinX(rect));
    writer.numberMember("y", CGRectGetMinY(rect));
    writer.numberMember("width", CGRectGetWidth(rect));
    writer.numberMember("height", CGRectGetHeight(rect));
    writer.endObject();
}

void MarqenWriteCGAffineTransform(MarqenJSONWriter &writer, CGAffineTransform t) {
    writer.beginObject();
    writer.numberMember("a", t.a);
    writer.numberMember("b", t.b);
    writer.numberMember("c", t.c);
    writer.numberMember("d", t.d);
    writer.numberMember("e", t.tx);
    writer.numberMember("f", t.ty);
    writer.endObject();
}

namespace {
template <typename Value>
MarqenJSON built(void (*write)(MarqenJSONWriter &, Value), Value value) {
    MarqenJSONBuilder builder;
    write(builder, value);
    return builder.take();
}
}  // namespace

MarqenJSON NSDictionaryFromCGPoint(CGPoint point) { return built(MarqenWriteCGPoint, point); }
MarqenJSON NSDictionaryFromCGSize(CGSize size) { return built(MarqenWriteCGSize, size); }
MarqenJSON NSDictionaryFromCGRect(CGRect rect) { return built(MarqenWriteCGRect, rect); }
MarqenJSON NSDictionaryFromCGAffineTransform(CGAffineTransform t) { return built(MarqenWriteCGAffineTransform, t); }

CGPoint CGPointFromNSDictionary(const MarqenJSON &value) {
    if (value.is_string()) return pointFromString(value.get_ref<const std::string &>());
    return {numberOrZero(value, "x"), numberOrZero(value, "y")};
}

CGRect CGRectFromNSDictionary(const MarqenJSON &value) {
    if (!value.is_object()) return CGRectZero;
    auto read = [&](const char *key) {
        const MarqenJSON *number = marqen_objectForKey(value, key);
        return number ? marqen_doubleValue(*number) : 0.0;
    };
    return CGRectMake(read("x"), read("y"), read("width"), read("height"));
}

CGSize CGSizeFromDictionary(const MarqenJSON &value) {
    return {numberOrZero(value, "width"), numberOrZero(value, "height")};
}

CGAffineTransform CGAffineTransformFromNSDictionary(const MarqenJSON &value) {
    return {numberOrZero(value, "a"), numberOrZero(value, "b"), numberOrZero(value, "c"),
            numberOrZero(value, "d"), numberOrZero(value, "e"), numberOrZero(value, "f")};
}

CGFloat CGFloatFromString(const std::string &string) { return std::strtod(string.c_str(), nullptr); }

CGFloat CGFloatFromNumber(const MarqenJSON &number) { return marqen_doubleValue(number); }

}  // namespace marqen
