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
// The same, also inside a MarqenPDFWarningCapture: for problems that a repeated look does not meet again.
void marqenPDFWarnNow(const std::string &message);

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

// While alive, warnings of this thread are held back instead of logged: a look at part of a file that may
// have to be repeated on a longer part reports its problems only once it is known to be the final look.
// replay() sends them on in the order met. Runs of one message are held as one entry with a count; past
// kMaximumHeldRuns entries the capture stops holding and says so (the caller then looks again at the
// whole rest of the file, without a capture).
class MarqenPDFWarningCapture {
public:
    static constexpr size_t kMaximumHeldRuns = 4096;

    MarqenPDFWarningCapture();
    ~MarqenPDFWarningCapture();
    MarqenPDFWarningCapture(const MarqenPDFWarningCapture &) = delete;
    MarqenPDFWarningCapture &operator=(const MarqenPDFWarningCapture &) = delete;

    bool overflowed() const { return overflowed_; }
    // Ends the capture and warns every held message.
    void replay();

private:
    friend void marqenPDFWarn(const std::string &message);
    void hold(const std::string &message);
    void end();

    MarqenPDFWarningCapture *previous_;
    bool active_ = true;
    bool overflowed_ = false;
    std::vector<std::pair<std::string, size_t>> runs_;
};

}  // namespace marqen
