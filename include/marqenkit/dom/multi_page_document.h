#pragma once
// A plain container of one document per PDF page.
//
// Threads: main thread only, like the documents it holds.
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "../export.h"
#include "document.h"

namespace marqen {

class MARQEN_EXPORT MarqenDOMMultiPageDocument {
public:
    MarqenDOMMultiPageDocument() = default;
    explicit MarqenDOMMultiPageDocument(std::vector<std::shared_ptr<MarqenDOMDocument>> pages)
        : pages_(std::move(pages)) {}

    // Fails (nothing returned, the reason logged) on the first entry that is not a readable page.
    static std::shared_ptr<MarqenDOMMultiPageDocument> fromDictionary(const MarqenJSON &dictionary);
    // {"type": "MultiPageDocument", "children": [each page's form]}.
    MarqenJSON dictionaryRepresentation() const;
    // The same form written through a JSON writer.
    void writeJSON(MarqenJSONWriter &writer) const;

    const std::vector<std::shared_ptr<MarqenDOMDocument>> &pages() const { return pages_; }
    void setPages(std::vector<std::shared_ptr<MarqenDOMDocument>> pages);
    // The page whose pageNumber equals number; pages without a number are indexed as page 0.
    std::shared_ptr<MarqenDOMDocument> pageForPageNumber(long number);

private:
    std::vector<std::shared_ptr<MarqenDOMDocument>> pages_;
    std::optional<std::map<long, std::shared_ptr<MarqenDOMDocument>>> pageIndex_;
};

}  // namespace marqen
