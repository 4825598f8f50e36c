#pragma once
// Errors reported through optional out parameters: a domain, a code and a user-info object.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <nlohmann/json.hpp>
#include <string>

#include "../export.h"

namespace marqen {

struct MARQEN_EXPORT MarqenError {
    std::string domain;
    long code = 0;
    nlohmann::ordered_json userInfo = nlohmann::ordered_json::object();

    // The "NSLocalizedDescription" entry of the user info, or an empty string.
    std::string localizedDescription() const;
    std::string description() const;  // "domain (code): description"
};

inline constexpr const char *kMarqenLocalizedDescriptionKey = "NSLocalizedDescription";
inline constexpr const char *kMarqenLocalizedRecoverySuggestionKey = "NSLocalizedRecoverySuggestion";

// Fills *error (when error is not null) and returns false, so failing paths read `return marqenFail(...)`.
MARQEN_EXPORT bool marqenFail(MarqenError *error, std::string domain, long code, const std::string &description);

}  // namespace marqen
