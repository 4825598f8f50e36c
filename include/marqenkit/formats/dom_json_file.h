#pragma once
// Reading and writing DOM JSON files: a single document or a multi-page document.
//
// Threads: main thread (reading makes nodes; writing reads them).
#include <memory>
#include <optional>
#include <string>

#include "../export.h"
#include "../dom/document.h"
#include "../dom/multi_page_document.h"
#include "../foundation/error.h"

namespace marqen {

inline constexpr const char *MarqenDOMJSONFileErrorDomain = "MarqenDOMJSONFileErrorDomain";
enum MarqenDOMJSONFileError { kMarqenDOMJSONFileUnreadable = 1, kMarqenDOMJSONFileMalformed = 2, kMarqenDOMJSONFileUnwritable = 3 };

struct MARQEN_EXPORT MarqenDOMJSONContent {
    bool isMultiPage = false;
    // Always holds the pages: one for a single document.
    std::shared_ptr<MarqenDOMMultiPageDocument> pages;

    MarqenJSON dictionaryRepresentation() const;
    // The same as dictionaryRepresentation().dump(indent) with strings that are not UTF-8 written with
    // U+FFFD, written straight from the nodes without a second copy of the document as JSON values
    // (a negative indent: compact). Main thread. Throws what dictionaryRepresentation() throws.
    std::string JSONText(int indent = -1) const;
};

// Files larger than this are refused before they are read.
inline constexpr size_t kMarqenDOMJSONFileMaximumSize = 256u * 1024 * 1024;

MARQEN_EXPORT std::optional<MarqenDOMJSONContent> MarqenReadDOMJSONFile(const std::string &path, MarqenError *error);
MARQEN_EXPORT std::optional<MarqenDOMJSONContent> MarqenReadDOMJSON(const std::string &text, MarqenError *error);
// Writes safely: a temporary file beside the target, then renamed over it.
MARQEN_EXPORT bool MarqenWriteFileAtomically(const std::string &path, const std::string &bytes, MarqenError *error);
MARQEN_EXPORT bool MarqenReadWholeFile(const std::string &path, size_t maximumSize, std::string *bytes, MarqenError *error);

}  // namespace marqen
