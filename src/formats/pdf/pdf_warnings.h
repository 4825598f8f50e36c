#pragma once
// Problems met while reading or writing a PDF. Every line goes to the shared log; while a MarqenPDF is at
// work on this thread it also goes to that document's own list, so a host can show why a file was
// repaired or which objects were skipped. The list is per thread because a MarqenPDF is used by one
// thread at a time.
#include <string>
#include <vector>

namespace marqen {

// Logs the message and, inside a MarqenPDFWarningScope, adds it to the scope's list.
void marqenPDFWarn(const std::string &message);

// While alive, warnings of this thread are also added to *sink (nested scopes: the innermost wins).
// A list keeps at most kMaximumKeptWarnings lines, so a hostile file cannot grow it without bound.
class MarqenPDFWarningScope {
public:
    static constexpr size_t kMaximumKeptWarnings = 1000;

    explicit MarqenPDFWarningScope(std::vector<std::string> *sink);
    ~MarqenPDFWarningScope();
    MarqenPDFWarningScope(const MarqenPDFWarningScope &) = delete;
    MarqenPDFWarningScope &operator=(const MarqenPDFWarningScope &) = delete;

private:
    std::vector<std::string> *previous_;
};

}  // namespace marqen
