#pragma once
// A forward scanner over attribute text that skips white space before each token, as the old writer's
// reader did. Numbers are read in the C locale. Any thread.
#include <optional>
#include <string_view>

namespace marqen {

class SvgImportScanner {
public:
    explicit SvgImportScanner(std::string_view text) : text_(text) {}

    bool atEnd();  // true when only white space is left
    bool scanString(std::string_view literal);
    std::optional<char> scanCharacter();
    // A decimal number with optional sign, fraction and exponent; none (nothing consumed) otherwise.
    std::optional<double> scanDouble();
    std::optional<long> scanInteger();

private:
    void skipWhiteSpace();

    std::string_view text_;
    size_t position_ = 0;
};

}  // namespace marqen
