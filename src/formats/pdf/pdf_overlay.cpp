#include "formats/pdf/pdf_overlay.h"

#include "formats/pdf/pdf_warnings.h"

namespace marqen {

namespace {

bool fail(MarqenError *error, const std::string &message) {
    marqenPDFWarn("MarqenPDF: " + message);
    return marqenFail(error, MarqenPDF::kErrorDomain, -1, message);
}

// The decoded page content: one stream, or the streams of an array joined by line ends.
std::optional<std::string> pageContent(MarqenPDF &pdf, const MarqenPDFDictionary &page) {
    const MarqenPDFObject *entry = page.objectForKey("Contents");
    if (!entry) return std::string();
    MarqenPDFObject contents = pdf.resolveIndirectReference(*entry, true);
    if (const MarqenPDFStream *stream = contents.asStream()) {
        const std::string *decoded = stream->stream();
        return decoded ? std::optional<std::string>(*decoded) : std::nullopt;
    }
    if (const MarqenPDFArray *parts = contents.asArray()) {
        std::string joined;
        for (const MarqenPDFObject &part : *parts) {
            MarqenPDFObject resolved = pdf.resolveIndirectReference(part, true);
            const MarqenPDFStream *stream = resolved.asStream();
            const std::string *decoded = stream ? stream->stream() : nullptr;
            if (!decoded) return std::nullopt;
            // An array may name one large stream many times: the joined content keeps to the stream limit.
            if (joined.size() + decoded->size() + 1 > pdf.maximumDecodedStreamLength()) {
                marqenPDFWarn("MarqenPDF: Page content exceeds the size limit of " +
                          std::to_string(pdf.maximumDecodedStreamLength()) + " bytes");
                return std::nullopt;
            }
            joined += *decoded;
            joined += '\n';
        }
        return joined;
    }
    return std::string();
}

// A rectangle with every element resolved to a number.
std::optional<MarqenPDFObject> resolvedRectangle(MarqenPDF &pdf, const std::optional<MarqenPDFObject> &value) {
    if (!value) return std::nullopt;
    MarqenPDFObject rectangle = pdf.resolveIndirectReference(*value, true);
    const MarqenPDFArray *numbers = rectangle.asArray();
    if (!numbers || numbers->size() != 4) return std::nullopt;
    MarqenPDFArray resolved;
    for (const MarqenPDFObject &number : *numbers) {
        MarqenPDFObject element = pdf.resolveIndirectReference(number, true);
        if (!element.isNumber()) return std::nullopt;
        resolved.push_back(element);
    }
    return MarqenPDFObject(std::move(resolved));
}

}  // namespace

bool MarqenPDFMergeAnnotationPage(MarqenPDF &annotatedPDF, MarqenPDFMigratorSourceMap &sourceMap,
                                  MarqenPDFMigrator &migrator, uint64_t pageIndex, MarqenError *error) {
    MarqenPDF &target = *migrator.targetPDF();
    if (sourceMap.targetPDF() != migrator.targetPDF() || sourceMap.sourcePDF().get() != &annotatedPDF)
        return fail(error, "The source map does not belong to this migrator and annotation PDF");

    // The annotation page: its content, resources and media box.
    std::optional<MarqenPDFIndirectReference> annotatedReference = annotatedPDF.pageReferenceForPageNumber(1, true);
    MarqenPDFObject annotatedPage = annotatedReference
                                        ? annotatedPDF.resolveIndirectReference(MarqenPDFObject(*annotatedReference), true)
                                        : MarqenPDFObject();
    if (!annotatedPage.asDictionary()) return fail(error, "The annotation PDF has no first page");
    std::optional<std::string> content = pageContent(annotatedPDF, *annotatedPage.asDictionary());
    if (!content) return fail(error, "The content of the annotation page cannot be decoded");
    std::optional<MarqenPDFObject> bbox = resolvedRectangle(annotatedPDF, annotatedPDF.inheritedItem("MediaBox", 1, true));
    if (!bbox) return fail(error, "The annotation page has no valid MediaBox");
    MarqenPDFObject annotatedResources = annotatedPDF.resolveIndirectReference(
        annotatedPDF.inheritedItem("Resources", 1, true).value_or(MarqenPDFObject()), true);
    MarqenPDFObject resources = annotatedResources.asDictionary()
                                    ? migrator.migrateObject(annotatedResources, sourceMap).value_or(MarqenPDFObject())
                                    : MarqenPDFObject(MarqenPDFDictionary());

    MarqenPDFDictionary formInfo;
    formInfo.setObject(resources, "Resources");
    formInfo.setObject(MarqenPDFObject::name("XObject"), "Type");
    formInfo.setObject(MarqenPDFObject::name("Form"), "Subtype");
    formInfo.setObject(*bbox, "BBox");
    MarqenPDFStream plainForm(std::move(formInfo), std::move(*content));
    std::shared_ptr<const MarqenPDFStream> form = plainForm.streamCompressedWithFlate();
    if (!form) return fail(error, "The annotation content could not be compressed");

    // The target page, read from the untouched PDF.
    std::optional<MarqenPDFIndirectReference> pageReference = target.pageReferenceForPageNumber(pageIndex + 1, true);
    MarqenPDFObject pageObject = pageReference ? target.resolveIndirectReference(MarqenPDFObject(*pageReference), true)
                                               : MarqenPDFObject();
    if (!pageObject.asDictionary())
        return fail(error, "Page " + std::to_string(pageIndex + 1) + " cannot be found in the PDF");

    MarqenPDFIndirectReference formReference = migrator.nextAvailableMarqenPDFIndirectReference();
    MarqenPDFIndirectReference closingReference = migrator.nextAvailableMarqenPDFIndirectReference();
    MarqenPDFIndirectReference openingReference = migrator.nextAvailableMarqenPDFIndirectReference();

    MarqenPDFDictionary page = *pageObject.asDictionary();
    // Contents: the untouched streams fenced by the opening and closing streams. A contents array is
    // copied onto the page rather than stored again under its own number, because other pages may share it.
    MarqenPDFArray contents;
    const MarqenPDFObject *contentsEntry = page.objectForKey("Contents");
    MarqenPDFObject resolvedContents = contentsEntry ? target.resolveIndirectReference(*contentsEntry, true)
                                                     : MarqenPDFObject();
    contents.push_back(MarqenPDFObject(openingReference));
    if (const MarqenPDFArray *existing = resolvedContents.asArray()) {
        contents.insert(contents.end(), existing->begin(), existing->end());
    } else if (contentsEntry && !resolvedContents.isNull()) {
        contents.push_back(*contentsEntry);
    }
    contents.push_back(MarqenPDFObject(closingReference));
    page.setObject(MarqenPDFObject(std::move(contents)), "Contents");

    // Resources: the page's own, or the inherited ones when it has none (so that the untouched content
    // still finds its fonts), with the Form XObject added under /MarqenXObject. The /XObject dictionary
    // is copied inline for the same reason as the contents array.
    std::optional<MarqenPDFObject> resourcesEntry = page.objectForKey("Resources")
                                                        ? std::optional<MarqenPDFObject>(*page.objectForKey("Resources"))
                                                        : target.inheritedItem("Resources", pageIndex + 1, true);
    MarqenPDFObject pageResources = resourcesEntry ? target.resolveIndirectReference(*resourcesEntry, true)
                                                   : MarqenPDFObject();
    MarqenPDFDictionary newResources = pageResources.asDictionary() ? *pageResources.asDictionary()
                                                                    : MarqenPDFDictionary();
    const MarqenPDFObject *xobjectEntry = newResources.objectForKey("XObject");
    MarqenPDFObject xobjects = xobjectEntry ? target.resolveIndirectReference(*xobjectEntry, true) : MarqenPDFObject();
    MarqenPDFDictionary newXObjects = xobjects.asDictionary() ? *xobjects.asDictionary() : MarqenPDFDictionary();
    newXObjects.setObject(MarqenPDFObject(formReference), "MarqenXObject");
    newResources.setObject(MarqenPDFObject(std::move(newXObjects)), "XObject");
    MarqenPDFIndirectReference resourcesReference = migrator.nextAvailableMarqenPDFIndirectReference();
    page.setObject(MarqenPDFObject(resourcesReference), "Resources");

    migrator.addObject(MarqenPDFObject(std::move(newResources)), resourcesReference);
    migrator.addObject(MarqenPDFObject(form), formReference);
    migrator.addObject(MarqenPDFObject(std::make_shared<const MarqenPDFStream>(MarqenPDFDictionary(),
                                                                               std::string("Q /MarqenXObject Do"))),
                       closingReference);
    migrator.addObject(MarqenPDFObject(std::make_shared<const MarqenPDFStream>(MarqenPDFDictionary(), std::string("q"))),
                       openingReference);
    migrator.addObject(MarqenPDFObject(std::move(page)), *pageReference, std::to_string(pageIndex + 1));
    return true;
}

bool mergeAnnotationsWithOriginal(const std::shared_ptr<MarqenPDF> &original, const std::string &annotatedPDFURL,
                                  MarqenPDFMigrator &migrator, uint64_t pageIndex, MarqenError *error) {
    if (original != migrator.targetPDF()) return fail(error, "The migrator does not write into this PDF");
    std::shared_ptr<MarqenPDF> annotated = MarqenPDF::initWithContentsOfURL(annotatedPDFURL);
    if (!annotated) return fail(error, "The annotation PDF cannot be opened");
    MarqenPDFMigratorSourceMap sourceMap(annotated, original);
    return MarqenPDFMergeAnnotationPage(*annotated, sourceMap, migrator, pageIndex, error);
}

}  // namespace marqen
