#include "formats/pdf/pdf_summary_pages.h"

#include "foundation/log.h"

namespace marqen {

namespace {

bool fail(MarqenError *error, const std::string &message) {
    return marqenFail(error, MarqenPDF::kErrorDomain, -1, message);
}

MarqenPDFArray rectArray(CGRect rect) {
    return {MarqenPDFObject(rect.origin.x), MarqenPDFObject(rect.origin.y),
            MarqenPDFObject(rect.origin.x + rect.size.width), MarqenPDFObject(rect.origin.y + rect.size.height)};
}

MarqenPDFObject linkAnnotation(const MarqenPDFSummaryLink &link, const MarqenPDFIndirectReference &target) {
    MarqenPDFDictionary annotation;
    annotation.setObject(MarqenPDFObject::name("Annot"), "Type");
    annotation.setObject(MarqenPDFObject::name("Link"), "Subtype");
    annotation.setObject(MarqenPDFObject(rectArray(link.rect)), "Rect");
    annotation.setObject(MarqenPDFObject(MarqenPDFArray{MarqenPDFObject(0), MarqenPDFObject(0), MarqenPDFObject(0)}),
                         "Border");
    annotation.setObject(MarqenPDFObject(MarqenPDFArray{MarqenPDFObject(target), MarqenPDFObject::name("Fit")}), "Dest");
    return MarqenPDFObject(std::move(annotation));
}

}  // namespace

bool MarqenPDFPrependSummaryPages(MarqenPDF &summaryPDF, MarqenPDFMigratorSourceMap &sourceMap,
                                  MarqenPDFMigrator &migrator, const std::vector<MarqenPDFSummaryLink> &links,
                                  MarqenError *error) {
    MarqenPDF &target = *migrator.targetPDF();
    if (sourceMap.targetPDF().get() != &target || sourceMap.sourcePDF().get() != &summaryPDF) {
        return fail(error, "The source map does not belong to this migrator and summary PDF");
    }
    MarqenPDFDictionary trailer = target.originalTrailerInformation();
    const MarqenPDFObject *rootReference = trailer.objectForKey("Root");
    MarqenPDFObject catalog = rootReference ? target.resolveIndirectReference(*rootReference, true) : MarqenPDFObject();
    const MarqenPDFObject *pagesEntry = catalog.asDictionary() ? catalog.asDictionary()->objectForKey("Pages") : nullptr;
    const MarqenPDFIndirectReference *pagesReference = pagesEntry ? pagesEntry->asReference() : nullptr;
    if (!pagesReference) return fail(error, "The PDF has no page tree to put the summary in front of");
    MarqenPDFObject pagesNode = target.resolveIndirectReference(*pagesEntry, true);
    if (!pagesNode.asDictionary()) return fail(error, "The PDF's page tree cannot be read");
    const MarqenPDFObject *kidsEntry = pagesNode.asDictionary()->objectForKey("Kids");
    MarqenPDFObject kids = kidsEntry ? target.resolveIndirectReference(*kidsEntry, true) : MarqenPDFObject();
    if (!kids.asArray()) return fail(error, "The PDF's page tree has no kids");

    bool complete = true;
    std::vector<MarqenPDFIndirectReference> targetPages = target.allPageReferences(true, &complete);
    std::vector<MarqenPDFIndirectReference> summaryPages = summaryPDF.allPageReferences(false, &complete);
    if (summaryPages.empty() || !complete) return fail(error, "The summary PDF's pages cannot be read");

    MarqenPDFArray newKids;
    for (size_t index = 0; index < summaryPages.size(); ++index) {
        MarqenPDFObject page = summaryPDF.resolveIndirectReference(MarqenPDFObject(summaryPages[index]), false);
        if (!page.asDictionary()) return fail(error, "A summary page cannot be read");
        MarqenPDFDictionary copy = *page.asDictionary();
        copy.removeObjectForKey("Parent");
        copy.removeObjectForKey("Annots");
        // What the summary page would otherwise inherit from its own tree is set on it directly.
        for (const char *key : {"MediaBox", "Resources"}) {
            if (copy.objectForKey(key)) continue;
            auto inherited = summaryPDF.inheritedItemOfPage(key, summaryPages[index], false);
            if (inherited) copy.setObject(*inherited, key);
        }
        if (!copy.objectForKey("MediaBox")) return fail(error, "A summary page has no MediaBox");
        if (!copy.objectForKey("Resources")) copy.setObject(MarqenPDFObject(MarqenPDFDictionary()), "Resources");
        auto migrated = migrator.migrateObject(MarqenPDFObject(std::move(copy)), sourceMap);
        if (!migrated || !migrated->asDictionary()) return fail(error, "A summary page cannot be copied");
        MarqenPDFDictionary summaryPage = *migrated->asDictionary();
        summaryPage.setObject(MarqenPDFObject(*pagesReference), "Parent");
        // The target's root node may pass down a rotation or a crop box; the summary page wants neither.
        summaryPage.setObject(MarqenPDFObject(0), "Rotate");
        summaryPage.setObject(*summaryPage.objectForKey("MediaBox"), "CropBox");
        MarqenPDFArray annotations;
        for (const auto &link : links) {
            if (link.summaryPageIndex != index) continue;
            if (link.targetPageIndex >= targetPages.size()) {
                CoreMarqenLog::sharedCoreMarqenLog().logMessage("MarqenPDF: Summary link to missing page " +
                                                                std::to_string(link.targetPageIndex + 1) + " left out");
                continue;
            }
            annotations.push_back(linkAnnotation(link, targetPages[link.targetPageIndex]));
        }
        if (!annotations.empty()) summaryPage.setObject(MarqenPDFObject(std::move(annotations)), "Annots");
        MarqenPDFIndirectReference reference = migrator.nextAvailableMarqenPDFIndirectReference();
        migrator.addObject(MarqenPDFObject(std::move(summaryPage)), reference, "summary-page-" + std::to_string(index));
        newKids.push_back(MarqenPDFObject(reference));
    }

    for (const auto &kid : *kids.asArray()) newKids.push_back(kid);
    MarqenPDFDictionary root = *pagesNode.asDictionary();
    const MarqenPDFObject *countEntry = root.objectForKey("Count");
    MarqenPDFObject count = countEntry ? target.resolveIndirectReference(*countEntry, true) : MarqenPDFObject();
    int64_t pageCount = count.isInteger() && count.integerValue() >= 0 ? count.integerValue()
                                                                        : static_cast<int64_t>(targetPages.size());
    root.setObject(MarqenPDFObject(static_cast<int64_t>(pageCount + static_cast<int64_t>(summaryPages.size()))), "Count");
    root.setObject(MarqenPDFObject(std::move(newKids)), "Kids");
    migrator.addObject(MarqenPDFObject(std::move(root)), *pagesReference, "summary-page-tree");
    return true;
}

}  // namespace marqen
