// Arbitrary bytes through the foundation's text readers: base64, point strings, UTF-8 and the
// file-name and URL-title helpers. Checks the invariants that callers rely on.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "foundation/base64.h"
#include "foundation/string_helpers.h"
#include "foundation/utf8.h"
#include "foundation/value_encoding.h"
#include "fuzz_budget.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    marqen::fuzz::useCommandLineBudget();
    std::string text(reinterpret_cast<const char *>(data), size);

    std::vector<uint8_t> decoded = marqen::NewBase64Decode(text);
    std::string encoded = marqen::NewBase64Encode(decoded.data(), decoded.size(), true);
    if (marqen::NewBase64Decode(encoded) != decoded) std::abort();
    if (marqen::NewBase64Decode(reinterpret_cast<const char *>(data), size) != decoded) std::abort();

    marqen::CGPointFromNSDictionary(marqen::MarqenJSON(text));

    std::u32string characters = marqen::marqen_decodeUTF8(text);
    if (marqen::marqen_decodeUTF8(marqen::marqen_encodeUTF8(characters)) != characters) std::abort();

    std::string filename = marqen::marqen_sanitizedFilename(text);
    if (filename.find('/') != std::string::npos || filename.find('.') != std::string::npos) std::abort();
    if (marqen::marqen_UTF16Length(marqen::marqen_decodeUTF8(filename)) > 240) std::abort();
    marqen::marqen_sanitizedTitleForURL(text);
    return 0;
}
