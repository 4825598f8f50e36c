// Arbitrary bytes loaded as a DOM document: parse, build, write back.
#include <cstddef>
#include <cstdint>
#include <string>

#include "formats/dom_json_file.h"
#include "foundation/log.h"
#include "fuzz_budget.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    marqen::fuzz::useCommandLineBudget();
    std::string text(reinterpret_cast<const char *>(data), size);
    marqen::MarqenError error;
    auto content = marqen::MarqenReadDOMJSON(text, &error);
    if (content) {
        try {
            auto written = content->dictionaryRepresentation().dump(-1, ' ', false,
                                                                     marqen::MarqenJSON::error_handler_t::replace);
            auto again = marqen::MarqenReadDOMJSON(written, &error);
            (void)again;
        } catch (const std::logic_error &) {
            // A documented refusal (for example an unsupported coordinate system) is not a fault.
        }
    }
    return 0;
}
