#include "foundation/error.h"

namespace marqen {

std::string MarqenError::localizedDescription() const {
    auto it = userInfo.find(kMarqenLocalizedDescriptionKey);
    if (it != userInfo.end() && it->is_string()) return it->get<std::string>();
    return {};
}

std::string MarqenError::description() const {
    std::string text = domain + " (" + std::to_string(code) + ")";
    std::string what = localizedDescription();
    if (!what.empty()) text += ": " + what;
    return text;
}

bool marqenFail(MarqenError *error, std::string domain, long code, const std::string &description) {
    if (error) {
        error->domain = std::move(domain);
        error->code = code;
        error->userInfo = nlohmann::ordered_json::object();
        if (!description.empty()) error->userInfo[kMarqenLocalizedDescriptionKey] = description;
    }
    return false;
}

}  // namespace marqen
