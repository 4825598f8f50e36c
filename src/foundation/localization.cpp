#include "foundation/localization.h"

#include <fstream>
#include <map>
#include <mutex>
#include <sstream>
#include <system_error>

#include "foundation/json.h"
#include "foundation/log.h"
#include "foundation/resources_bundle.h"

namespace marqen {

namespace {

bool isPlainTableName(const std::string &table) {
    return !table.empty() && table.find('/') == std::string::npos && table.find('\0') == std::string::npos &&
           table != "." && table != "..";
}

}  // namespace

MarqenStringsTable MarqenStringsTable::load(const std::filesystem::path &file) {
    MarqenStringsTable table;
    std::error_code error;
    if (!std::filesystem::exists(file, error)) return table;
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream contents;
    if (!stream || !(contents << stream.rdbuf())) {
        marqenLog("Could not read the string table " + file.string());
        return table;
    }
    std::string message;
    std::optional<MarqenJSON> json = marqen_parseJSON(contents.str(), &message);
    if (!json) {
        marqenLog("The string table " + file.string() + " is not valid JSON: " + message);
        return table;
    }
    if (!json->is_object()) {
        marqenLog("The string table " + file.string() + " is not a JSON object");
        return table;
    }
    for (const auto &[key, value] : json->items()) {
        if (value.is_string())
            table.entries_[key] = value.get<std::string>();
        else
            marqenLog("The string table " + file.string() + " has a value that is not a string for key \"" + key + "\"");
    }
    return table;
}

std::optional<std::string> MarqenStringsTable::lookup(const std::string &key) const {
    auto it = entries_.find(key);
    if (it == entries_.end()) return std::nullopt;
    return it->second;
}

std::string MarqenLocalizedString(const std::string &key, const std::string &table) {
    if (!isPlainTableName(table)) return key;
    static std::mutex mutex;
    static std::map<std::string, MarqenStringsTable> tables;
    std::lock_guard lock(mutex);
    auto it = tables.find(table);
    if (it == tables.end())
        it = tables.emplace(table, MarqenStringsTable::load(marqenResourcesBundle() / (table + ".strings.json"))).first;
    return it->second.lookup(key).value_or(key);
}

}  // namespace marqen
