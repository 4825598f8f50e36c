// Walking the page tree and looking up inherited page attributes.
#include <algorithm>

#include "formats/pdf/pdf_file.h"
#include "formats/pdf/pdf_warnings.h"

namespace marqen {

namespace {

constexpr int kMaximumPageTreeDepth = 256;
constexpr uint64_t kWalkStopped = ~uint64_t(0);

}  // namespace

MarqenPDFObject MarqenPDF::pagesRoot(bool fromOriginalPDF, std::set<uint64_t> *visited) {
    const XrefTable &entries = table(fromOriginalPDF);
    if (entries.trailers.empty()) return MarqenPDFObject();
    const MarqenPDFObject *rootEntry = entries.trailers.front().objectForKey("Root");
    if (!rootEntry) return MarqenPDFObject();
    MarqenPDFObject root = resolveIndirectReference(*rootEntry, fromOriginalPDF);
    const MarqenPDFDictionary *catalog = root.asDictionary();
    const MarqenPDFObject *pagesEntry = catalog ? catalog->objectForKey("Pages") : nullptr;
    if (!pagesEntry) return MarqenPDFObject();
    if (visited && pagesEntry->asReference()) visited->insert(pagesEntry->asReference()->objectNumber);
    return resolveIndirectReference(*pagesEntry, fromOriginalPDF);
}

uint64_t MarqenPDF::numberOfPagesFromOriginalPDF(bool fromOriginalPDF) {
    MarqenPDFWarningScope scope(&warnings_);
    MarqenPDFObject pages = pagesRoot(fromOriginalPDF);
    const MarqenPDFDictionary *node = pages.asDictionary();
    const MarqenPDFObject *count = node ? node->objectForKey("Count") : nullptr;
    if (!count) return 0;
    MarqenPDFObject value = resolveIndirectReference(*count, fromOriginalPDF);
    return value.isNumber() && value.integerValue() > 0 ? uint64_t(value.integerValue()) : 0;
}

// Returns false when the walk has to stop (count then holds all ones).
bool MarqenPDF::walkPageTree(const MarqenPDFDictionary &node, uint64_t wanted, uint64_t &count,
                             std::optional<MarqenPDFIndirectReference> &found, std::set<uint64_t> &visited, int depth,
                             bool fromOriginalPDF, PageListing *listing, bool *countsAgree) {
    if (depth > kMaximumPageTreeDepth) {
        marqenPDFWarn("MarqenPDF: Page tree nests deeper than " + std::to_string(kMaximumPageTreeDepth) + " levels");
        count = kWalkStopped;
        return false;
    }
    if (!listing) {
        const MarqenPDFObject *countEntry = node.objectForKey("Count");
        MarqenPDFObject nodeCount = countEntry ? resolveIndirectReference(*countEntry, fromOriginalPDF)
                                               : MarqenPDFObject();
        if (nodeCount.isNumber() && nodeCount.integerValue() >= 0 &&
            count + uint64_t(nodeCount.integerValue()) < wanted) {
            count += uint64_t(nodeCount.integerValue());
            return true;
        }
    }
    const uint64_t listedBefore = listing ? listing->listed : 0;
    auto checkCount = [&] {
        if (!listing || !countsAgree) return;
        const MarqenPDFObject *countEntry = node.objectForKey("Count");
        MarqenPDFObject nodeCount = countEntry ? resolveIndirectReference(*countEntry, fromOriginalPDF)
                                               : MarqenPDFObject();
        if (nodeCount.isNumber() && nodeCount.integerValue() >= 0 &&
            uint64_t(nodeCount.integerValue()) != listing->listed - listedBefore)
            *countsAgree = false;
    };
    const MarqenPDFObject *kidsEntry = node.objectForKey("Kids");
    MarqenPDFObject kids = kidsEntry ? resolveIndirectReference(*kidsEntry, fromOriginalPDF) : MarqenPDFObject();
    const MarqenPDFArray *list = kids.asArray();
    if (!list) {
        checkCount();
        return true;
    }
    for (const MarqenPDFObject &kid : *list) {
        const MarqenPDFIndirectReference *reference = kid.asReference();
        const bool visiting = listing && listing->visit;
        const bool cachedBefore = visiting && reference && findCached(*reference, fromOriginalPDF, false);
        const size_t warningsBefore = warnings_.size();
        MarqenPDFObject resolved = reference ? resolveIndirectReference(kid, fromOriginalPDF) : MarqenPDFObject();
        // An object whose reading was repaired stays cached, so that its problems are reported once.
        const bool readCleanly = warnings_.size() == warningsBefore;
        const MarqenPDFDictionary *dictionary = resolved.asDictionary();
        const MarqenPDFObject *type = dictionary ? dictionary->objectForKey("Type") : nullptr;
        if (!reference || !type || !type->asName()) {
            count = kWalkStopped;
            return false;
        }
        if (type->isName("Pages")) {
            if (!visited.insert(reference->objectNumber).second) {
                marqenPDFWarn("MarqenPDF: Page tree contains a loop at object " + std::to_string(reference->objectNumber));
                count = kWalkStopped;
                return false;
            }
            if (!walkPageTree(*dictionary, wanted, count, found, visited, depth + 1, fromOriginalPDF, listing,
                              countsAgree))
                return false;
            if (found) return true;
        } else if (type->isName("Page")) {
            ++count;
            if (listing) {
                ++listing->listed;
                if (listing->pages) listing->pages->push_back(*reference);
                if (visiting) {
                    (*listing->visit)(*reference, *dictionary);
                    // A page met for the first time is let go; one listed again stays cached, so that a
                    // tree repeating a page parses it twice at most.
                    std::vector<bool> &letGo = listing->letGo;
                    if (!cachedBefore && readCleanly &&
                        reference->objectNumber < table(fromOriginalPDF).offsets.size()) {
                        if (letGo.size() <= reference->objectNumber)
                            letGo.resize(table(fromOriginalPDF).offsets.size(), false);
                        if (!letGo[reference->objectNumber]) {
                            letGo[reference->objectNumber] = true;
                            findCached(*reference, fromOriginalPDF, true);
                        }
                    }
                }
            } else if (count == wanted) {
                found = *reference;
                return true;
            }
        }
    }
    checkCount();
    return true;
}

void MarqenPDF::buildPageIndex(bool fromOriginalPDF) {
    PageIndex &index = pageIndex_[fromOriginalPDF ? 1 : 0];
    index.built = true;
    // The walk's problems are reported only when its list is used; otherwise lookups by number meet
    // their own.
    MarqenPDFWarningCapture capture;
    std::set<uint64_t> visited;
    MarqenPDFObject root = pagesRoot(fromOriginalPDF, &visited);
    const MarqenPDFDictionary *node = root.asDictionary();
    if (!node) return;
    uint64_t count = 0;
    std::optional<MarqenPDFIndirectReference> found;
    bool countsAgree = true;
    std::vector<MarqenPDFIndirectReference> pages;
    PageListing listing;
    listing.pages = &pages;
    if (!walkPageTree(*node, 0, count, found, visited, 0, fromOriginalPDF, &listing, &countsAgree) || !countsAgree)
        return;
    capture.replay();
    index.pages = std::move(pages);
    index.usable = true;
}

std::optional<MarqenPDFIndirectReference> MarqenPDF::pageReferenceForPageNumber(uint64_t pageNumber,
                                                                                bool fromOriginalPDF) {
    MarqenPDFWarningScope scope(&warnings_);
    if (pageNumber == 0) return std::nullopt;
    // Many lookups would each walk the tree from the first page: from the second one on, pages are
    // found in the list of one walk.
    PageIndex &index = pageIndex_[fromOriginalPDF ? 1 : 0];
    if (!index.built && ++index.lookups >= 2) buildPageIndex(fromOriginalPDF);
    if (index.usable)
        return pageNumber <= index.pages.size() ? std::optional(index.pages[size_t(pageNumber - 1)]) : std::nullopt;
    std::set<uint64_t> visited;
    MarqenPDFObject pages = pagesRoot(fromOriginalPDF, &visited);
    const MarqenPDFDictionary *node = pages.asDictionary();
    if (!node) return std::nullopt;
    uint64_t count = 0;
    std::optional<MarqenPDFIndirectReference> found;
    walkPageTree(*node, pageNumber, count, found, visited, 0, fromOriginalPDF, nullptr);
    return found;
}

std::vector<MarqenPDFIndirectReference> MarqenPDF::allPageReferences(bool fromOriginalPDF, bool *complete) {
    MarqenPDFWarningScope scope(&warnings_);
    std::vector<MarqenPDFIndirectReference> pages;
    std::set<uint64_t> visited;
    MarqenPDFObject root = pagesRoot(fromOriginalPDF, &visited);
    const MarqenPDFDictionary *node = root.asDictionary();
    bool finished = false;
    if (node) {
        uint64_t count = 0;
        std::optional<MarqenPDFIndirectReference> found;
        PageListing listing;
        listing.pages = &pages;
        finished = walkPageTree(*node, 0, count, found, visited, 0, fromOriginalPDF, &listing);
    }
    if (complete) *complete = finished;
    return pages;
}

bool MarqenPDF::visitPages(bool fromOriginalPDF, const PageVisitor &visit) {
    MarqenPDFWarningScope scope(&warnings_);
    std::set<uint64_t> visited;
    MarqenPDFObject root = pagesRoot(fromOriginalPDF, &visited);
    const MarqenPDFDictionary *node = root.asDictionary();
    if (!node) return false;
    uint64_t count = 0;
    std::optional<MarqenPDFIndirectReference> found;
    PageListing listing;
    listing.visit = &visit;
    return walkPageTree(*node, 0, count, found, visited, 0, fromOriginalPDF, &listing);
}

std::optional<MarqenPDFObject> MarqenPDF::inheritedItem(std::string_view name, uint64_t pageNumber,
                                                        bool fromOriginalPDF) {
    MarqenPDFWarningScope scope(&warnings_);
    std::optional<MarqenPDFIndirectReference> page = pageReferenceForPageNumber(pageNumber, fromOriginalPDF);
    if (!page) return std::nullopt;
    return inheritedItemOfPage(name, *page, fromOriginalPDF);
}

std::optional<MarqenPDFObject> MarqenPDF::inheritedItemOfPage(std::string_view name,
                                                              const MarqenPDFIndirectReference &page,
                                                              bool fromOriginalPDF) {
    MarqenPDFWarningScope scope(&warnings_);
    MarqenPDFObject node = resolveIndirectReference(MarqenPDFObject(page), fromOriginalPDF);
    const MarqenPDFDictionary *dictionary = node.asDictionary();
    if (!dictionary) return std::nullopt;
    std::optional<MarqenPDFObject> value;
    inheritedItemsOfPage(*dictionary, page, {name}, &value, fromOriginalPDF);
    return value;
}

void MarqenPDF::inheritedItemsOfPage(const MarqenPDFDictionary &dictionary, const MarqenPDFIndirectReference &page,
                                     const std::vector<std::string_view> &names,
                                     std::optional<MarqenPDFObject> *values, bool fromOriginalPDF) {
    MarqenPDFWarningScope scope(&warnings_);
    size_t missing = names.size();
    for (size_t i = 0; i < names.size(); ++i) values[i].reset();
    // The nodes climbed so far, for finding a loop: a short list, as chains are a few nodes long, and a
    // set once a hostile chain grows long.
    constexpr size_t kListedNodes = 32;
    std::vector<uint64_t> climbed{page.objectNumber};
    std::set<uint64_t> climbedMany;
    auto firstClimb = [&](uint64_t objectNumber) {
        if (climbed.size() < kListedNodes) {
            if (std::find(climbed.begin(), climbed.end(), objectNumber) != climbed.end()) return false;
            climbed.push_back(objectNumber);
            return true;
        }
        if (climbedMany.empty()) climbedMany.insert(climbed.begin(), climbed.end());
        return climbedMany.insert(objectNumber).second;
    };
    MarqenPDFObject ancestor;
    const MarqenPDFDictionary *node = &dictionary;
    while (node) {
        for (size_t i = 0; i < names.size(); ++i) {
            if (values[i]) continue;
            if (const MarqenPDFObject *value = node->objectForKey(names[i])) {
                values[i] = *value;
                --missing;
            }
        }
        if (missing == 0) return;
        const MarqenPDFObject *parent = node->objectForKey("Parent");
        if (!parent) return;
        if (const MarqenPDFIndirectReference *reference = parent->asReference()) {
            if (!firstClimb(reference->objectNumber)) {
                marqenPDFWarn("MarqenPDF: Parent chain contains a loop at object " +
                              std::to_string(reference->objectNumber));
                return;
            }
        }
        ancestor = resolveIndirectReference(*parent, fromOriginalPDF);
        node = ancestor.asDictionary();
    }
}

}  // namespace marqen
