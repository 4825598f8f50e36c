#include "dom/multi_page_document.h"

#include <cmath>

#include "foundation/json.h"
#include "foundation/log.h"

namespace marqen {

namespace {

// The dictionary as text for a log line, cut short so a huge page cannot flood the log.
std::string describe(const MarqenJSON &value) {
    std::string text = marqen_JSONText(value);
    constexpr size_t kLimit = 200;
    if (text.size() > kLimit) text = text.substr(0, kLimit) + "…";
    return text;
}

}  // namespace

std::shared_ptr<MarqenDOMMultiPageDocument> MarqenDOMMultiPageDocument::fromDictionary(const MarqenJSON &dictionary) {
    auto result = std::make_shared<MarqenDOMMultiPageDocument>();
    const MarqenJSON *children = marqen_objectForKey(dictionary, "children");
    if (!children || !children->is_array()) return result;
    for (const auto &entry : *children) {
        if (!entry.is_object()) {
            marqenLog("Encountered page dictionary but got: " + describe(entry));
            return nullptr;
        }
        auto page = MarqenDOMDocument::fromDictionary(entry);
        if (!page) {
            marqenLog("Unable to build Page object from: " + describe(entry));
            return nullptr;
        }
        result->pages_.push_back(std::move(page));
    }
    return result;
}

MarqenJSON MarqenDOMMultiPageDocument::dictionaryRepresentation() const {
    MarqenJSONBuilder builder;
    writeJSON(builder);
    return builder.take();
}

void MarqenDOMMultiPageDocument::writeJSON(MarqenJSONWriter &writer) const {
    writer.beginObject();
    writer.stringMember("type", "MultiPageDocument");
    writer.key("children");
    writer.beginArray();
    for (const auto &page : pages_)
        if (!page->writeJSON(writer)) writer.value(nullptr);
    writer.endArray();
    writer.endObject();
}

void MarqenDOMMultiPageDocument::setPages(std::vector<std::shared_ptr<MarqenDOMDocument>> pages) {
    pages_ = std::move(pages);
    pageIndex_.reset();
}

std::shared_ptr<MarqenDOMDocument> MarqenDOMMultiPageDocument::pageForPageNumber(long number) {
    if (!pageIndex_) {
        pageIndex_.emplace();
        for (const auto &page : pages_) {
            long key = 0;
            if (auto pageNumber = page->pageNumber(); pageNumber && std::fabs(*pageNumber) < 9e18)
                key = static_cast<long>(*pageNumber);
            else
                marqenLog("Warning: the current page has no page number!");
            (*pageIndex_)[key] = page;
        }
    }
    auto found = pageIndex_->find(number);
    return found == pageIndex_->end() ? nullptr : found->second;
}

}  // namespace marqen
