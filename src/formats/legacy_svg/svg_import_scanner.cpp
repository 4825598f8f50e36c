#include "formats/legacy_svg/svg_import_scanner.h"

#include <charconv>
#include <cstdlib>

namespace marqen {

namespace {
bool isWhiteSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v'; }
}  // namespace

void SvgImportScanner::skipWhiteSpace() {
    while (position_ < text_.size() && isWhiteSpace(text_[position_])) ++position_;
}

bool SvgImportScanner::atEnd() {
    skipWhiteSpace();
    return position_ >= text_.size();
}

bool SvgImportScanner::scanString(std::string_view literal) {
    skipWhiteSpace();
    if (text_.substr(position_, literal.size()) != literal) return false;
    position_ += literal.size();
    return true;
}

std::optional<char> SvgImportScanner::scanCharacter() {
    skipWhiteSpace();
    if (position_ >= text_.size()) return std::nullopt;
    return text_[position_++];
}

std::optional<double> SvgImportScanner::scanDouble() {
    skipWhiteSpace();
    size_t start = position_;
    // from_chars takes no leading "+"; the old writer never wrote one, but a reader may meet it.
    if (start < text_.size() && text_[start] == '+') ++start;
    double value = 0;
    const char *first = text_.data() + start;
    const char *last = text_.data() + text_.size();
    auto [end, ec] = std::from_chars(first, last, value, std::chars_format::general);
    if (ec != std::errc() || end == first) return std::nullopt;
    position_ = static_cast<size_t>(end - text_.data());
    return value;
}

std::optional<long> SvgImportScanner::scanInteger() {
    skipWhiteSpace();
    size_t start = position_;
    if (start < text_.size() && text_[start] == '+') ++start;
    long value = 0;
    const char *first = text_.data() + start;
    const char *last = text_.data() + text_.size();
    auto [end, ec] = std::from_chars(first, last, value);
    if (ec != std::errc() || end == first) return std::nullopt;
    position_ = static_cast<size_t>(end - text_.data());
    return value;
}

}  // namespace marqen
