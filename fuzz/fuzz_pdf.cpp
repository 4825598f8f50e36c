// Opens arbitrary bytes as a PDF, resolves every object number, decodes every stream, walks every page,
// merges the first page onto itself and serialises the update in memory (enciphered for encrypted files).
// The same bytes are also read in pieces from a file, as the command line reads, in blocks and first
// looks of a few bytes so that every value straddles them.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "formats/pdf/pdf_file_io.h"
#include "formats/pdf/pdf_overlay.h"
#include "fuzz_budget.h"

using namespace marqen;

namespace {

// Every page's boxes and rotation from the one walk that visits the pages, as pdf-info reads them.
void visitEveryPage(MarqenPDF &pdf, bool original) {
    static const std::vector<std::string_view> names = {"MediaBox", "CropBox", "Rotate"};
    pdf.visitPages(original, [&](const MarqenPDFIndirectReference &page, const MarqenPDFDictionary &dictionary) {
        std::optional<MarqenPDFObject> items[3];
        pdf.inheritedItemsOfPage(dictionary, page, names, items, original);
        for (const auto &item : items)
            if (item) (void)pdf.resolveIndirectReference(*item, original);
    });
}

void readInPieces(const uint8_t *data, size_t size, const MarqenPDFOptions &options) {
    int fd = ::memfd_create("fuzz_pdf", MFD_CLOEXEC);
    if (fd < 0) return;
    size_t written = 0;
    while (written < size) {
        ssize_t count = ::write(fd, data + written, size - written);
        if (count <= 0) break;
        written += size_t(count);
    }
    std::shared_ptr<MarqenPDFFileReader> reader;
    if (written == size) reader = MarqenPDFFileReader::open("/proc/self/fd/" + std::to_string(fd), nullptr, 61, 7);
    ::close(fd);  // the reader holds the file open itself
    if (!reader) return;
    std::shared_ptr<MarqenPDF> pdf = MarqenPDF::initWithReader(reader, options);
    if (!pdf) return;
    for (uint64_t number = 0; number < pdf->objectTableSize(); ++number) {
        MarqenPDFObject value = pdf->resolveIndirectReference(MarqenPDFObject(MarqenPDFIndirectReference{number, 0}), true);
        if (const MarqenPDFStream *stream = value.asStream()) stream->stream();
        (void)MarqenPDF::encodedObject(value);
    }
    std::vector<MarqenPDFIndirectReference> pages = pdf->allPageReferences(true);
    visitEveryPage(*pdf, true);
    for (uint64_t page : {uint64_t(1), uint64_t(2), uint64_t(pages.size())})
        if (page > 0 && page <= pdf->numberOfPagesInOriginalPDF()) pdf->pageReferenceForPageNumber(page, true);
    (void)pdf->originalXrefOffset();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    marqen::fuzz::useCommandLineBudget();
    // Deep runs read as the command line does, within its decode allowance; short runs keep inflate
    // bombs within a small fixed cap instead.
    MarqenPDFOptions options = marqen::fuzz::deepRun() ? MarqenPDFOptions::commandLineDefaults() : MarqenPDFOptions();
    if (!marqen::fuzz::deepRun()) options.maximumDecodedStreamLength = size_t(16) << 20;
    // The encrypted seeds' owner password: the owner and then the user (empty) password paths both run.
    options.ownerPassword = "owner";
    // Exactly the input's bytes, nothing after them (as in a mapped file), so a read one past the end is caught.
    std::unique_ptr<char[]> bytes(new char[size]);
    std::memcpy(bytes.get(), data, size);
    std::shared_ptr<MarqenPDF> pdf =
        MarqenPDF::initWithBytes(std::make_shared<const MarqenPDFBytes>(std::move(bytes), size), options);
    readInPieces(data, size, options);
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
        // Every page's inherited attributes from the one walk; lookups by number (a walk each) for the
        // first pages, the last and one past it, so that a tree of many pages costs a few walks, not one
        // per page. A hostile /Count can be huge: lookups stay within what the tree really holds.
        for (const MarqenPDFIndirectReference &page : pages) pdf->inheritedItemOfPage("MediaBox", page, original);
        visitEveryPage(*pdf, original);
        for (uint64_t page : {uint64_t(1), uint64_t(2), uint64_t(3), uint64_t(pages.size()), uint64_t(pages.size() + 1)}) {
            if (page == 0 || page > count) continue;
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
