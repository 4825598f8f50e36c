// Opens arbitrary bytes as a PDF, resolves every object number, decodes every stream, walks every page,
// merges the first page onto itself and serialises the update in memory (enciphered for encrypted files).
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "formats/pdf/pdf_file_io.h"
#include "formats/pdf/pdf_overlay.h"
#include "fuzz_budget.h"

using namespace marqen;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    marqen::fuzz::useCommandLineBudget();
    MarqenPDFOptions options;
    // Keeps inflate bombs within the fuzzer's memory; deep runs use the reader's own default.
    if (!marqen::fuzz::deepRun()) options.maximumDecodedStreamLength = size_t(16) << 20;
    // The encrypted seeds' owner password: the owner and then the user (empty) password paths both run.
    options.ownerPassword = "owner";
    // Exactly the input's bytes, nothing after them (as in a mapped file), so a read one past the end is caught.
    std::unique_ptr<char[]> bytes(new char[size]);
    std::memcpy(bytes.get(), data, size);
    std::shared_ptr<MarqenPDF> pdf =
        MarqenPDF::initWithBytes(std::make_shared<const MarqenPDFBytes>(std::move(bytes), size), options);
    if (!pdf) return 0;
    for (bool original : {true, false}) {
        for (uint64_t number = 0; number < pdf->objectTableSize(); ++number) {
            MarqenPDFObject value =
                pdf->resolveIndirectReference(MarqenPDFObject(MarqenPDFIndirectReference{number, 0}), original);
            if (const MarqenPDFStream *stream = value.asStream()) stream->stream();
            (void)MarqenPDF::encodedObject(value);
        }
        std::vector<MarqenPDFIndirectReference> pages = pdf->allPageReferences(original);
        uint64_t count = pdf->numberOfPagesFromOriginalPDF(original);
        // A hostile /Count can be huge; page lookups stay within what the tree really holds.
        for (uint64_t page = 1; page <= pages.size() + 1 && page <= count; ++page) {
            pdf->pageReferenceForPageNumber(page, original);
            pdf->inheritedItem("MediaBox", page, original);
        }
    }
    (void)pdf->originalXrefOffset();
    if (pdf->numberOfPagesInOriginalPDF() > 0) {
        MarqenPDFMigrator migrator(pdf, pdf->nextAvailableObjectNumber());
        MarqenPDFMigratorSourceMap sourceMap(pdf, pdf);
        if (MarqenPDFMergeAnnotationPage(*pdf, sourceMap, migrator, 0, nullptr))
            (void)pdf->appendObjects(migrator.migratedObjects(), pdf->originalTrailerInformation());
    }
    return 0;
}
