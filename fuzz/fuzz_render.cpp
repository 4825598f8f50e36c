// Arbitrary bytes loaded as a DOM document and every page drawn into a small picture and a vector PDF:
// hostile coordinates, sizes, colours, fonts and stamp names must draw (or be refused) without harm.
#include <cstddef>
#include <cstdint>
#include <string>

#include "dom/multi_page_document.h"
#include "formats/dom_json_file.h"
#include "render/document_images.h"
#include "fuzz_budget.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    marqen::fuzz::useCommandLineBudget();
    std::string text(reinterpret_cast<const char *>(data), size);
    marqen::MarqenError error;
    auto content = marqen::MarqenReadDOMJSON(text, &error);
    if (!content) return 0;
    for (const auto &page : content->pages->pages()) {
        (void)page->contentBounds();
        (void)marqen::MarqenDOMDocumentCreateImageWithSize(page, marqen::MarqenRGBAColor{1, 1, 1, 1}, std::nullopt,
                                                           marqen::CGSizeMake(48, 36), &error);
        (void)marqen::MarqenDOMDocumentPDFRepresentation(page, false, &error);
    }
    return 0;
}
