#include "foundation/json.h"

namespace marqen {

const MarqenJSON *marqen_objectForKey(const MarqenJSON &dictionary, std::string_view key) {
    if (!dictionary.is_object()) return nullptr;
    // Objects keep their members in written order and hold each key once: a scan finds it.
    for (const auto &member : dictionary.get_ref<const MarqenJSON::object_t &>())
        if (member.first == key) return member.second.is_null() ? nullptr : &member.second;
    return nullptr;
}

const MarqenJSON *marqen_valueForKeyPath(const MarqenJSON &dictionary, std::string_view keyPath) {
    const MarqenJSON *current = &dictionary;
    size_t start = 0;
    while (current) {
        size_t dot = keyPath.find('.', start);
        current = marqen_objectForKey(*current, keyPath.substr(start, dot == std::string::npos ? dot : dot - start));
        if (dot == std::string::npos) break;
        start = dot + 1;
    }
    return current;
}

const std::string *marqen_stringPointerForKey(const MarqenJSON &dictionary, std::string_view key) {
    const MarqenJSON *value = marqen_objectForKey(dictionary, key);
    if (!value || !value->is_string()) return nullptr;
    return &value->get_ref<const std::string &>();
}

std::optional<std::string> marqen_stringForKey(const MarqenJSON &dictionary, std::string_view key) {
    if (const std::string *text = marqen_stringPointerForKey(dictionary, key)) return *text;
    return std::nullopt;
}

bool marqen_isNumber(const MarqenJSON &value) { return value.is_number(); }

double marqen_doubleValue(const MarqenJSON &value) {
    if (value.is_number_float()) return value.get<double>();
    if (value.is_number_unsigned()) return static_cast<double>(value.get<uint64_t>());
    if (value.is_number_integer()) return static_cast<double>(value.get<int64_t>());
    return 0;
}

std::optional<double> marqen_numberForKey(const MarqenJSON &dictionary, std::string_view key) {
    const MarqenJSON *value = marqen_objectForKey(dictionary, key);
    if (!value || !value->is_number()) return std::nullopt;
    return marqen_doubleValue(*value);
}

std::optional<bool> marqen_boolForKey(const MarqenJSON &dictionary, std::string_view key) {
    const MarqenJSON *value = marqen_objectForKey(dictionary, key);
    if (!value) return std::nullopt;
    if (value->is_boolean()) return value->get<bool>();
    if (value->is_number()) return marqen_doubleValue(*value) != 0;
    return std::nullopt;
}

std::string marqen_JSONText(const MarqenJSON &value) {
    return value.dump(-1, ' ', false, MarqenJSON::error_handler_t::replace);
}

}  // namespace marqen
