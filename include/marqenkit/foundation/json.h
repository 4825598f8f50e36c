#pragma once
// The JSON value type used everywhere (keys keep the order in which they were written),
// and the lookups through which every reader treats a JSON null as an absent value.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "../export.h"

namespace marqen {

using MarqenJSON = nlohmann::ordered_json;

// The value for key, or null when the argument is not an object, the key is missing or its value is null.
MARQEN_EXPORT const MarqenJSON *marqen_objectForKey(const MarqenJSON &dictionary, std::string_view key);
// A dotted key path ("metadata.version"): each step through marqen_objectForKey.
MARQEN_EXPORT const MarqenJSON *marqen_valueForKeyPath(const MarqenJSON &dictionary, std::string_view keyPath);

// Typed lookups that read a wrong kind of value as absent.
MARQEN_EXPORT std::optional<std::string> marqen_stringForKey(const MarqenJSON &dictionary, std::string_view key);
MARQEN_EXPORT std::optional<double> marqen_numberForKey(const MarqenJSON &dictionary, std::string_view key);
MARQEN_EXPORT std::optional<bool> marqen_boolForKey(const MarqenJSON &dictionary, std::string_view key);
// The string for key without a copy; null where marqen_stringForKey gives nothing.
MARQEN_EXPORT const std::string *marqen_stringPointerForKey(const MarqenJSON &dictionary, std::string_view key);

// A number read as a double; false when the value is not a number (booleans are not numbers).
// Compact JSON text of a value. Strings that are not valid UTF-8 (read from a damaged file) are written with
// U+FFFD in place of the bad bytes rather than failing.
MARQEN_EXPORT std::string marqen_JSONText(const MarqenJSON &value);

MARQEN_EXPORT bool marqen_isNumber(const MarqenJSON &value);
MARQEN_EXPORT double marqen_doubleValue(const MarqenJSON &value);  // numbers as doubles, everything else 0

// What one parse may build. The parse takes time linear in the text and refuses nesting deeper than
// maximumDepth (so that hostile input cannot exhaust a stack further on) and more than maximumValues
// values (0: no limit) before it has built them.
struct MARQEN_EXPORT MarqenJSONParseLimits {
    size_t maximumDepth = 512;
    uint64_t maximumValues = 0;
};

// Parses text; on failure returns nullopt and fills *message with the parser's reason. Without limits,
// the default depth and the JSON values budget in force (foundation/resource_budget.h) apply.
MARQEN_EXPORT std::optional<MarqenJSON> marqen_parseJSON(const std::string &text, std::string *message = nullptr);
MARQEN_EXPORT std::optional<MarqenJSON> marqen_parseJSON(const std::string &text, const MarqenJSONParseLimits &limits,
                                                        std::string *message = nullptr);

}  // namespace marqen
