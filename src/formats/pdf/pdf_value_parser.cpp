#include "formats/pdf/pdf_value_parser.h"

#include <iterator>
#include <limits>
#include <memory>
#include <vector>

#include "formats/pdf/pdf_lexer.h"
#include "formats/pdf/pdf_warnings.h"

namespace marqen {

using namespace pdf_lexer;

namespace {

int hexDigit(unsigned char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool isOctal(unsigned char c) { return c >= '0' && c <= '7'; }

// The elements and entries of the containers being read, as stacks: a container pushes its values above
// those of the containers around it and, once closed, moves them out into a value of exactly their
// number. Kept between parses on a thread, so that a container costs one allocation, not one per doubling.
struct PendingValues {
    // Stacks grown past this many values are given back once the parse that grew them ends.
    static constexpr size_t kKeptCapacity = 1024;

    std::vector<MarqenPDFObject> elements;
    std::vector<MarqenPDFDictionary::Entry> entries;
    bool inUse = false;
};

thread_local PendingValues threadPendingValues;

// One parse over one buffer. Every look at a position checks it against the end through has(), which
// notes when the parse ran into the end of the buffer.
struct Parse {
    std::string_view buffer;
    bool reachedEnd = false;
    PendingValues *pending = nullptr;

    explicit Parse(std::string_view text) : buffer(text) {
        // A parse started while another runs on this thread (from a log callback, say) keeps its own.
        if (!threadPendingValues.inUse) {
            pending = &threadPendingValues;
            pending->inUse = true;
        } else {
            ownPending = std::make_unique<PendingValues>();
            pending = ownPending.get();
        }
    }
    ~Parse() {
        if (ownPending) return;
        pending->elements.clear();
        pending->entries.clear();
        if (pending->elements.capacity() > PendingValues::kKeptCapacity) pending->elements = {};
        if (pending->entries.capacity() > PendingValues::kKeptCapacity) pending->entries = {};
        pending->inUse = false;
    }
    Parse(const Parse &) = delete;
    Parse &operator=(const Parse &) = delete;
    std::unique_ptr<PendingValues> ownPending;

    bool has(size_t position) {
        if (position < buffer.size()) return true;
        reachedEnd = true;
        return false;
    }
    std::string_view nextToken(size_t offset, size_t *next) {
        size_t end = 0;
        std::string_view text = tokenFromOffset(buffer, offset, &end);
        if (end >= buffer.size()) reachedEnd = true;
        if (next) *next = end;
        return text;
    }

    size_t skipComments(size_t offset) {
        for (;;) {
            offset = skipWhitespace(buffer, offset);
            if (!has(offset) || buffer[offset] != '%') return offset;
            while (has(offset) && !isLineEnd(static_cast<unsigned char>(buffer[offset]))) ++offset;
        }
    }

    std::optional<MarqenPDFObject> parseValue(size_t offset, size_t *next, int depth) {
        size_t scratch = 0;
        if (!next) next = &scratch;
        offset = skipComments(offset);
        size_t end = 0;
        std::string_view token = nextToken(offset, &end);
        *next = end;
        if (token.empty()) {
            marqenPDFWarn("MarqenPDF: Found invalid token in object area");
            return std::nullopt;
        }
        size_t start = end - token.size();
        if (token == "null") return MarqenPDFObject();
        if (token == "true") return MarqenPDFObject(true);
        if (token == "false") return MarqenPDFObject(false);
        if (token == "(") return literalString(start, next);
        if (token == "/") {
            size_t nameEnd = end;
            while (has(nameEnd) && !isTokenDelimiter(static_cast<unsigned char>(buffer[nameEnd]))) ++nameEnd;
            *next = nameEnd;
            if (nameEnd == end) {
                marqenPDFWarn("MarqenPDF: Could not make name from invalid token");
                return std::nullopt;
            }
            return MarqenPDFObject(MarqenPDFName::nameWithEncodedName(buffer.substr(end, nameEnd - end)));
        }
        if (token == "[") {
            if (depth >= MarqenPDFValueParser::kMaximumNestingDepth) {
                marqenPDFWarn("MarqenPDF: Objects nest deeper than " + std::to_string(MarqenPDFValueParser::kMaximumNestingDepth) + " levels");
                *next = buffer.size();
                reachedEnd = true;
                return std::nullopt;
            }
            return array(end, next, depth + 1);
        }
        if (token == "<") {
            if (has(end) && buffer[end] == '<') {
                if (depth >= MarqenPDFValueParser::kMaximumNestingDepth) {
                    marqenPDFWarn("MarqenPDF: Objects nest deeper than " + std::to_string(MarqenPDFValueParser::kMaximumNestingDepth) + " levels");
                    *next = buffer.size();
                    return std::nullopt;
                }
                return dictionary(end + 1, next, depth + 1);
            }
            return hexString(start, next);
        }
        if (isTokenNumeric(token)) {
            if (hasDecimalPoint(token)) return MarqenPDFObject(doubleFromToken(token));
            auto integer = integerFromToken(token);
            if (!integer) return MarqenPDFObject(doubleFromToken(token));  // too large for an integer
            if (*integer >= 1) {
                size_t afterGeneration = 0;
                std::string_view generation = nextToken(end, &afterGeneration);
                if (isTokenNumeric(generation) && !hasDecimalPoint(generation)) {
                    auto generationValue = integerFromToken(generation);
                    if (generationValue && *generationValue >= 0 &&
                        *generationValue <= std::numeric_limits<uint32_t>::max()) {
                        size_t afterR = 0;
                        if (nextToken(afterGeneration, &afterR) == "R") {
                            *next = afterR;
                            return MarqenPDFObject(
                                MarqenPDFIndirectReference{uint64_t(*integer), uint32_t(*generationValue)});
                        }
                    }
                }
            }
            return MarqenPDFObject(*integer);
        }
        marqenPDFWarn("MarqenPDF: Found invalid token in object area");
        return std::nullopt;
    }

    std::optional<MarqenPDFObject> literalString(size_t start, size_t *next) {
        std::string decoded;
        int depth = 0;
        bool reportedOctal = false, reportedEscape = false;  // each reported once a string
        size_t i = start + 1;
        while (has(i)) {
            unsigned char c = static_cast<unsigned char>(buffer[i]);
            if (c == '(') {
                ++depth;
                decoded += char(c);
                ++i;
            } else if (c == ')') {
                if (depth == 0) {
                    *next = i + 1;
                    return MarqenPDFObject(MarqenPDFString(std::string(buffer.substr(start, i + 1 - start)), decoded));
                }
                --depth;
                decoded += char(c);
                ++i;
            } else if (c == '\\') {
                if (!has(i + 1)) break;
                unsigned char e = static_cast<unsigned char>(buffer[i + 1]);
                i += 2;
                switch (e) {
                    case 'n': decoded += '\n'; break;
                    case 'r': decoded += '\r'; break;
                    case 't': decoded += '\t'; break;
                    case 'b': decoded += '\b'; break;
                    case 'f': decoded += '\f'; break;
                    case '\\': decoded += '\\'; break;
                    case '(': decoded += '('; break;
                    case ')': decoded += ')'; break;
                    case '\r':
                        if (has(i) && buffer[i] == '\n') ++i;
                        break;
                    case '\n': break;
                    default:
                        if (isOctal(e)) {
                            int value = e - '0';
                            int digits = 1;
                            while (digits < 3 && has(i) && isOctal(static_cast<unsigned char>(buffer[i]))) {
                                value = value * 8 + (buffer[i] - '0');
                                ++digits;
                                ++i;
                            }
                            if (digits < 3 && !reportedOctal)
                                marqenPDFWarn("MarqenPDF: Found string literal with invalid octal escape sequence");
                            reportedOctal = reportedOctal || digits < 3;
                            decoded += char(value & 0xFF);
                        } else {
                            if (!reportedEscape)
                                marqenPDFWarn("MarqenPDF: Found string literal with unknown backslash escape sequence");
                            reportedEscape = true;
                            decoded += char(e);
                        }
                }
            } else {
                decoded += char(c);
                ++i;
            }
        }
        *next = buffer.size();
        marqenPDFWarn("MarqenPDF: Unbounded string found");
        return std::nullopt;
    }

    std::optional<MarqenPDFObject> hexString(size_t start, size_t *next) {
        std::string decoded;
        int high = -1;
        bool reportedInvalidDigit = false;
        for (size_t i = start + 1; has(i); ++i) {
            unsigned char c = static_cast<unsigned char>(buffer[i]);
            if (c == '>') {
                if (high >= 0) decoded += char(high * 16);
                *next = i + 1;
                return MarqenPDFObject(MarqenPDFString(std::string(buffer.substr(start, i + 1 - start)), decoded));
            }
            if (isWhitespace(c)) continue;
            int value = hexDigit(c);
            if (value < 0) {
                // Once a string: a long run of junk must not flood the log.
                if (!reportedInvalidDigit) marqenPDFWarn("MarqenPDF: Found invalid hex digit inside hex string");
                reportedInvalidDigit = true;
                continue;
            }
            if (high < 0) {
                high = value;
            } else {
                decoded += char(high * 16 + value);
                high = -1;
            }
        }
        *next = buffer.size();
        marqenPDFWarn("MarqenPDF: Unbounded hex string found");
        return std::nullopt;
    }

    std::optional<MarqenPDFObject> array(size_t offset, size_t *next, int depth) {
        std::vector<MarqenPDFObject> &stack = pending->elements;
        const size_t base = stack.size();
        struct Unwind {  // the values of an array left unfinished are dropped from the stack
            std::vector<MarqenPDFObject> &stack;
            size_t base;
            ~Unwind() {
                if (stack.size() > base) stack.resize(base);
            }
        } unwind{stack, base};
        for (;;) {
            offset = skipComments(offset);
            if (!has(offset)) {
                *next = buffer.size();
                marqenPDFWarn("MarqenPDF: Unbounded array found");
                return std::nullopt;
            }
            if (buffer[offset] == ']') {
                *next = offset + 1;
                MarqenPDFArray elements(std::make_move_iterator(stack.begin() + std::ptrdiff_t(base)),
                                        std::make_move_iterator(stack.end()));
                return MarqenPDFObject(std::move(elements));
            }
            size_t after = offset;
            auto element = parseValue(offset, &after, depth);
            if (element) {
                stack.push_back(std::move(*element));
            } else {
                marqenPDFWarn("MarqenPDF: Could not add nil element to array");
            }
            offset = after > offset ? after : offset + 1;
        }
    }

    std::optional<MarqenPDFObject> dictionary(size_t offset, size_t *next, int depth) {
        std::vector<MarqenPDFDictionary::Entry> &stack = pending->entries;
        const size_t base = stack.size();
        struct Unwind {  // the entries of a dictionary left unfinished are dropped from the stack
            std::vector<MarqenPDFDictionary::Entry> &stack;
            size_t base;
            ~Unwind() {
                if (stack.size() > base) stack.resize(base);
            }
        } unwind{stack, base};
        auto atEnd = [&](size_t position) {
            return !has(position) || buffer[position] == '>';
        };
        for (;;) {
            offset = skipComments(offset);
            if (!has(offset)) {
                *next = buffer.size();
                marqenPDFWarn("MarqenPDF: Unbounded dictionary found");
                return std::nullopt;
            }
            if (buffer[offset] == '>') {
                if (has(offset + 1) && buffer[offset + 1] == '>') {
                    *next = offset + 2;
                } else {
                    *next = offset + 1;
                    marqenPDFWarn("MarqenPDF: Invalid termination of a dictionary");
                }
                // A key given again replaces the earlier value in its place.
                MarqenPDFDictionary entries;
                entries.reserve(stack.size() - base);
                for (size_t i = base; i < stack.size(); ++i)
                    entries.setObject(std::move(stack[i].second), std::move(stack[i].first));
                return MarqenPDFObject(std::move(entries));
            }
            size_t after = offset;
            auto key = parseValue(offset, &after, depth);
            offset = after > offset ? after : offset + 1;
            size_t valueStart = skipComments(offset);
            std::optional<MarqenPDFObject> value;
            if (!atEnd(valueStart)) {
                value = parseValue(valueStart, &after, depth);
                offset = after > valueStart ? after : valueStart + 1;
            }
            if (!key) {
                marqenPDFWarn("MarqenPDF: Could not use nil dictionary key");
            } else if (!key->asName()) {
                marqenPDFWarn("MarqenPDF: Could not use non-name dictionary key");
            } else if (!value) {
                marqenPDFWarn("MarqenPDF: Could not use nil dictionary value");
            } else {
                stack.emplace_back(*key->asName(), std::move(*value));
            }
        }
    }
};

}  // namespace

std::optional<MarqenPDFObject> MarqenPDFValueParser::makeObjectFromOffset(std::string_view buffer, size_t offset,
                                                                         size_t *next, int depth) {
    Parse parse(buffer);
    return parse.parseValue(offset, next, depth);
}

std::optional<MarqenPDFObject> MarqenPDFValueParser::makeObjectFromPartOfBuffer(std::string_view buffer,
                                                                               size_t offset, size_t *next,
                                                                               bool *reachedEnd) {
    Parse parse(buffer);
    std::optional<MarqenPDFObject> result = parse.parseValue(offset, next, 0);
    *reachedEnd = parse.reachedEnd;
    return result;
}

}  // namespace marqen
