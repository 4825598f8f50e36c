#include "formats/pdf/pdf_warnings.h"

#include "foundation/log.h"

namespace marqen {

namespace {

thread_local std::vector<std::string> *currentSink = nullptr;

}  // namespace

void marqenPDFWarn(const std::string &message) {
    marqenLog(message);
    if (!currentSink) return;
    constexpr size_t limit = MarqenPDFWarningScope::kMaximumKeptWarnings;
    if (currentSink->size() < limit) {
        currentSink->push_back(message);
    } else if (currentSink->size() == limit) {
        currentSink->push_back("MarqenPDF: Further warnings were logged but not kept");
    }
}

MarqenPDFWarningScope::MarqenPDFWarningScope(std::vector<std::string> *sink) : previous_(currentSink) {
    currentSink = sink;
}

MarqenPDFWarningScope::~MarqenPDFWarningScope() { currentSink = previous_; }

}  // namespace marqen
