#include "formats/pdf/pdf_warnings.h"

#include "foundation/log.h"

namespace marqen {

namespace {

thread_local std::vector<std::string> *currentSink = nullptr;
thread_local MarqenPDFWarningCapture *currentCapture = nullptr;

}  // namespace

void marqenPDFWarn(const std::string &message) {
    if (currentCapture) {
        currentCapture->hold(message);
        return;
    }
    marqenLog(message);
    if (!currentSink) return;
    constexpr size_t limit = MarqenPDFWarningScope::kMaximumKeptWarnings;
    if (currentSink->size() < limit) {
        currentSink->push_back(message);
    } else if (currentSink->size() == limit) {
        currentSink->push_back("MarqenPDF: Further warnings were logged but not kept");
    }
}

void marqenPDFWarnNow(const std::string &message) {
    MarqenPDFWarningCapture *capture = currentCapture;
    currentCapture = nullptr;
    marqenPDFWarn(message);
    currentCapture = capture;
}

MarqenPDFWarningScope::MarqenPDFWarningScope(std::vector<std::string> *sink) : previous_(currentSink) {
    currentSink = sink;
}

MarqenPDFWarningScope::~MarqenPDFWarningScope() { currentSink = previous_; }

MarqenPDFWarningCapture::MarqenPDFWarningCapture() : previous_(currentCapture) { currentCapture = this; }

MarqenPDFWarningCapture::~MarqenPDFWarningCapture() { end(); }

void MarqenPDFWarningCapture::end() {
    if (!active_) return;
    active_ = false;
    currentCapture = previous_;
}

void MarqenPDFWarningCapture::hold(const std::string &message) {
    if (!runs_.empty() && runs_.back().first == message) {
        ++runs_.back().second;
    } else if (runs_.size() < kMaximumHeldRuns) {
        runs_.emplace_back(message, 1);
    } else {
        overflowed_ = true;
    }
}

void MarqenPDFWarningCapture::replay() {
    end();
    for (const auto &[message, count] : runs_)
        for (size_t i = 0; i < count; ++i) marqenPDFWarn(message);
    runs_.clear();
}

}  // namespace marqen
