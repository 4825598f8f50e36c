#pragma once
// Lookup of user-visible strings (undo action names, stamp labels) by their English text.
//
// Threads: safe on any thread (the tables load once, under a lock).
#include <filesystem>
#include <optional>
#include <string>
#include <unordered_map>

namespace marqen {

// The table that the model's own strings come from.
inline constexpr const char *kMarqenLocalizationTable = "MarqenKit";

// One string table: a JSON object mapping keys to translated strings, stored as
// <resources>/<table>.strings.json.
class MarqenStringsTable {
public:
    MarqenStringsTable() = default;
    // A missing file gives an empty table; an unreadable or malformed one is logged and gives an empty table.
    static MarqenStringsTable load(const std::filesystem::path &file);

    std::optional<std::string> lookup(const std::string &key) const;
    size_t count() const { return entries_.size(); }

private:
    std::unordered_map<std::string, std::string> entries_;
};

// The entry for key in the named table of the resources directory, or the key itself when the
// table has none. Tables are read once and cached.
std::string MarqenLocalizedString(const std::string &key, const std::string &table = kMarqenLocalizationTable);

}  // namespace marqen
