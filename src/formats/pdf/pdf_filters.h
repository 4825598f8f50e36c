#pragma once
// Stream filters: decoding the filters a stream names, and Flate compression of new streams.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <optional>
#include <string>
#include <string_view>

#include "formats/pdf/pdf_object.h"

namespace marqen {

// Undoes the stream's /Filter chain with its /DecodeParms; nothing when a filter cannot be undone
// or the result would exceed maximumLength bytes.
std::optional<std::string> MarqenPDFDecodeStreamData(std::string_view rawData, const MarqenPDFDictionary &streamInfo,
                                                     size_t maximumLength);

std::optional<std::string> MarqenPDFDecodeFlate(std::string_view data, size_t maximumLength);
std::optional<std::string> MarqenPDFDecodeASCIIHex(std::string_view data);
// Undoes PNG prediction (None and Up rows) as named by the decode parameters (which may be null).
std::optional<std::string> MarqenPDFReversePrediction(std::string data, const MarqenPDFDictionary *params);

// Compresses with zlib at the default level; nothing on a zlib failure.
std::optional<std::string> MarqenPDFEncodeFlate(std::string_view data);

}  // namespace marqen
