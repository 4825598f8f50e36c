#pragma once
// Reading and writing one group of string entries in the desktop key-file format (GLib's GKeyFile), so
// that values with newlines, '=' or non-ASCII text come back as they went in. Any thread; no shared state.
#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace marqen {

// The entries of `group` in the text; nothing when the text is not a key file (reason filled).
std::optional<std::map<std::string, std::string>> parseKeyFileGroup(const std::string &text,
                                                                    const std::string &group,
                                                                    std::string *reason);
// The key-file text of one group.
std::string keyFileText(const std::string &group, const std::map<std::string, std::string> &entries);

}  // namespace marqen
