#pragma once
// Nodes on the clipboard as "com.brondale.marqen.json": a self-contained JSON text holding the nodes'
// dictionaries and the pixels of their bitmaps (PNG, base64), so that a paste works in another document
// and another process. Main thread (the nodes are the model's).
#include <memory>
#include <string>
#include <vector>

#include "../dom/element.h"
#include "../export.h"
#include "../foundation/error.h"

namespace marqen {

inline constexpr const char *kMarqenPasteboardType = "com.brondale.marqen.json";
inline constexpr const char *kMarqenClipboardErrorDomain = "MarqenClipboardErrorDomain";

// Larger payloads are refused when reading.
inline constexpr size_t kMarqenClipboardMaximumPayloadBytes = size_t(256) << 20;
inline constexpr size_t kMarqenClipboardMaximumNodes = 10000;

// The payload of the elements, in their order. Bitmaps without pixels are written without them.
MARQEN_EXPORT std::string MarqenClipboardPayloadForElements(const std::vector<std::shared_ptr<MarqenDOMElement>> &elements);

// Fresh copies of the payload's elements: new guids throughout (labels follow their owners), bitmaps with
// their pixels under new resource URIs. Entries that do not make an element, and bitmaps whose pixels are
// missing or do not decode, are logged and left out. False (with the error) when the text is not a
// payload at all or is too large.
MARQEN_EXPORT bool MarqenClipboardElementsFromPayload(const std::string &payload,
                                                      std::vector<std::shared_ptr<MarqenDOMElement>> *elements,
                                                      MarqenError *error = nullptr);

}  // namespace marqen
