#include "platform/key_file.h"

#include <glib.h>

#include <memory>

namespace marqen {

namespace {
struct KeyFileFree {
    void operator()(GKeyFile *file) const { g_key_file_free(file); }
};
using KeyFilePtr = std::unique_ptr<GKeyFile, KeyFileFree>;
}  // namespace

std::optional<std::map<std::string, std::string>> parseKeyFileGroup(const std::string &text,
                                                                    const std::string &group,
                                                                    std::string *reason) {
    KeyFilePtr file(g_key_file_new());
    GError *error = nullptr;
    if (!g_key_file_load_from_data(file.get(), text.data(), text.size(), G_KEY_FILE_NONE, &error)) {
        if (reason) *reason = error ? error->message : "unreadable key file";
        g_clear_error(&error);
        return std::nullopt;
    }
    std::map<std::string, std::string> entries;
    gsize count = 0;
    gchar **keys = g_key_file_get_keys(file.get(), group.c_str(), &count, nullptr);
    for (gsize i = 0; keys && i < count; ++i) {
        // Values that are not valid UTF-8 cannot be unescaped; they are left out rather than half-read.
        if (gchar *value = g_key_file_get_string(file.get(), group.c_str(), keys[i], nullptr)) {
            entries[keys[i]] = value;
            g_free(value);
        }
    }
    g_strfreev(keys);
    return entries;
}

std::string keyFileText(const std::string &group, const std::map<std::string, std::string> &entries) {
    KeyFilePtr file(g_key_file_new());
    for (const auto &[key, value] : entries) g_key_file_set_string(file.get(), group.c_str(), key.c_str(), value.c_str());
    gsize length = 0;
    gchar *data = g_key_file_to_data(file.get(), &length, nullptr);
    std::string text(data ? data : "", length);
    g_free(data);
    return text;
}

}  // namespace marqen
