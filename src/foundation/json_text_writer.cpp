#include "foundation/json_text_writer.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace marqen {

namespace {

constexpr uint64_t kEveryByte = 0x0101010101010101ULL;
constexpr uint64_t kHighBits = 0x8080808080808080ULL;

// Whether any of the eight bytes is zero (exact: no false answers either way).
constexpr bool anyZeroByte(uint64_t word) { return ((word - kEveryByte) & ~word & kHighBits) != 0; }

// True when every byte is ASCII at or above the space, other than '"' and '\\': such a string is written as it
// is, between quotes, as the serializer writes it.
// Eight bytes at a time, as most strings written (identifiers, path data) are long and plain.
bool isPlain(std::string_view text) {
    size_t i = 0;
    for (; i + 8 <= text.size(); i += 8) {
        uint64_t word;
        std::memcpy(&word, text.data() + i, sizeof word);
        bool belowSpace = ((word - kEveryByte * 0x20) & ~word & kHighBits) != 0;
        if (belowSpace || (word & kHighBits) != 0 ||
            anyZeroByte(word ^ (kEveryByte * '"')) || anyZeroByte(word ^ (kEveryByte * '\\')))
            return false;
    }
    for (; i < text.size(); ++i) {
        auto c = static_cast<unsigned char>(text[i]);
        if (c < 0x20 || c >= 0x80 || c == '"' || c == '\\') return false;
    }
    return true;
}

}  // namespace

MarqenJSONTextWriter::MarqenJSONTextWriter(std::string &out, int indent)
    : out_(out),
      serializer_(nlohmann::detail::output_adapter<char, std::string>(out), ' ', MarqenJSON::error_handler_t::replace),
      pretty_(indent >= 0),
      step_(indent >= 0 ? static_cast<unsigned>(indent) : 0) {
    open_.reserve(16);
}

void MarqenJSONTextWriter::appendIndent(size_t depth) {
    if (pretty_) out_.append(depth * step_, ' ');
}

void MarqenJSONTextWriter::separate() {
    Container &container = open_.back();
    if (pretty_)
        out_ += container.any ? ",\n" : "\n";
    else if (container.any)
        out_ += ',';
    container.any = true;
    appendIndent(open_.size());
}

void MarqenJSONTextWriter::beforeValue() {
    if (!open_.empty() && open_.back().isArray) separate();
}

void MarqenJSONTextWriter::appendQuoted(std::string_view text) {
    if (isPlain(text)) {
        size_t at = out_.size();
        out_.resize(at + text.size() + 2);
        char *cursor = out_.data() + at;
        *cursor++ = '"';
        if (!text.empty()) std::memcpy(cursor, text.data(), text.size());
        cursor[text.size()] = '"';
        return;
    }
    // Escapes and bytes beyond ASCII (checked as UTF-8) are the serializer's.
    serializer_.dump(MarqenJSON(std::string(text)), false, false, 0);
}

void MarqenJSONTextWriter::key(std::string_view key) {
    if (open_.empty() || open_.back().isArray) return;
    separate();
    appendQuoted(key);
    out_ += pretty_ ? ": " : ":";
}

void MarqenJSONTextWriter::string(std::string_view value) {
    beforeValue();
    appendQuoted(value);
}

void MarqenJSONTextWriter::number(double value) {
    beforeValue();
    if (!std::isfinite(value)) {
        out_ += "null";
        return;
    }
    // The serializer's own shortest form, so that a number reads the same here as in a dump.
    std::array<char, 64> digits;
    char *end = nlohmann::detail::to_chars(digits.data(), digits.data() + digits.size(), value);
    out_.append(digits.data(), end);
}

void MarqenJSONTextWriter::integer(int64_t value) {
    beforeValue();
    std::array<char, 24> digits;
    auto written = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    out_.append(digits.data(), written.ptr);
}

void MarqenJSONTextWriter::unsignedInteger(uint64_t value) {
    beforeValue();
    std::array<char, 24> digits;
    auto written = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    out_.append(digits.data(), written.ptr);
}

void MarqenJSONTextWriter::value(const MarqenJSON &value) {
    beforeValue();
    serializer_.dump(value, pretty_, false, step_, static_cast<unsigned>(open_.size() * step_));
}

void MarqenJSONTextWriter::beginObject() {
    beforeValue();
    out_ += '{';
    open_.push_back({false, false});
}

void MarqenJSONTextWriter::beginArray() {
    beforeValue();
    out_ += '[';
    open_.push_back({true, false});
}

void MarqenJSONTextWriter::close(char bracket) {
    if (open_.empty()) return;
    bool any = open_.back().any;
    open_.pop_back();
    if (any && pretty_) {
        out_ += '\n';
        appendIndent(open_.size());
    }
    out_ += bracket;
}

void MarqenJSONTextWriter::endObject() { close('}'); }
void MarqenJSONTextWriter::endArray() { close(']'); }

}  // namespace marqen
