#include "interaction/preferences.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <system_error>

#include "foundation/atomic_file.h"
#include "foundation/log.h"
#include "foundation/notification_center.h"
#include "platform/key_file.h"

namespace marqen {

namespace {

constexpr const char *kGroup = "MarqenKit";
constexpr const char *kErrorDomain = "MarqenPreferencesErrorDomain";
constexpr size_t kMaximumFileBytes = 16 * 1024 * 1024;

bool refuseKey(const std::string &key, MarqenError *error) {
    return marqenFail(error, kErrorDomain, 1, "Unusable preference key \"" + key + "\"");
}

void announce(const MarqenPreferencesStore *store, const std::string &key) {
    NotificationCenter::defaultCenter().post(kMarqenPreferencesDidChangeNotification, store, {{"key", key}});
}

}  // namespace

bool MarqenPreferencesStore::isValidKey(const std::string &key) {
    if (key.empty() || key.size() > 256) return false;
    for (unsigned char c : key)
        if (!(std::isalnum(c) || c == '_' || c == '-' || c == '.')) return false;
    return true;
}

bool MarqenPreferencesStore::boolForKey(const std::string &key, bool defaultValue) const {
    auto value = stringForKey(key);
    if (value == "true") return true;
    if (value == "false") return false;
    return defaultValue;
}

bool MarqenPreferencesStore::setBool(const std::string &key, bool value, MarqenError *error) {
    return setString(key, value ? "true" : "false", error);
}

std::optional<std::string> MarqenMemoryPreferencesStore::stringForKey(const std::string &key) const {
    auto it = values_.find(key);
    return it == values_.end() ? std::nullopt : std::optional(it->second);
}

bool MarqenMemoryPreferencesStore::setString(const std::string &key, const std::string &value, MarqenError *error) {
    if (!isValidKey(key)) return refuseKey(key, error);
    values_[key] = value;
    announce(this, key);
    return true;
}

bool MarqenMemoryPreferencesStore::removeKey(const std::string &key, MarqenError *) {
    if (values_.erase(key)) announce(this, key);
    return true;
}

MarqenKeyFilePreferencesStore::MarqenKeyFilePreferencesStore(std::filesystem::path file) : path_(std::move(file)) {
    std::error_code code;
    if (!std::filesystem::exists(path_, code)) return;
    auto size = std::filesystem::file_size(path_, code);
    if (code || size > kMaximumFileBytes) {
        marqenLog("Preferences file " + path_.string() + " is not readable or too large; starting empty");
        return;
    }
    std::string text;
    if (FILE *file = std::fopen(path_.c_str(), "rb")) {
        text.resize(size);
        text.resize(std::fread(text.data(), 1, size, file));
        std::fclose(file);
    }
    std::string reason;
    auto entries = parseKeyFileGroup(text, kGroup, &reason);
    if (!entries) {
        marqenLog("Preferences file " + path_.string() + " does not read (" + reason + "); starting empty");
        return;
    }
    for (auto &[key, value] : *entries)
        if (isValidKey(key)) values_.emplace(key, std::move(value));
}

std::filesystem::path MarqenKeyFilePreferencesStore::defaultPath() {
    std::filesystem::path base;
    if (const char *config = std::getenv("XDG_CONFIG_HOME"); config && *config == '/')
        base = config;
    else if (const char *home = std::getenv("HOME"); home && *home)
        base = std::filesystem::path(home) / ".config";
    else
        base = std::filesystem::temp_directory_path();
    return base / "marqenkit" / "preferences.ini";
}

std::optional<std::string> MarqenKeyFilePreferencesStore::stringForKey(const std::string &key) const {
    auto it = values_.find(key);
    return it == values_.end() ? std::nullopt : std::optional(it->second);
}

bool MarqenKeyFilePreferencesStore::write(const std::map<std::string, std::string> &values, MarqenError *error) {
    std::error_code code;
    std::filesystem::create_directories(path_.parent_path(), code);
    if (code) return marqenFail(error, kErrorDomain, 2, "Cannot make " + path_.parent_path().string() + ": " + code.message());
    std::string reason;
    if (!writeFileAtomically(path_, keyFileText(kGroup, values), &reason))
        return marqenFail(error, kErrorDomain, 2, "Cannot write " + path_.string() + ": " + reason);
    return true;
}

bool MarqenKeyFilePreferencesStore::setString(const std::string &key, const std::string &value, MarqenError *error) {
    if (!isValidKey(key)) return refuseKey(key, error);
    // The key-file format keeps text only up to a zero byte; such a value would come back shortened.
    if (value.find('\0') != std::string::npos)
        return marqenFail(error, kErrorDomain, 3, "The value of \"" + key + "\" holds a zero byte");
    auto values = values_;
    values[key] = value;
    if (!write(values, error)) return false;  // the stored values stay as they were
    values_ = std::move(values);
    announce(this, key);
    return true;
}

bool MarqenKeyFilePreferencesStore::removeKey(const std::string &key, MarqenError *error) {
    if (!values_.count(key)) return true;
    auto values = values_;
    values.erase(key);
    if (!write(values, error)) return false;
    values_ = std::move(values);
    announce(this, key);
    return true;
}

MarqenPreferences &MarqenPreferences::shared() {
    static MarqenPreferences preferences(
        std::make_shared<MarqenKeyFilePreferencesStore>(MarqenKeyFilePreferencesStore::defaultPath()));
    return preferences;
}

MarqenPreferences::MarqenPreferences(std::shared_ptr<MarqenPreferencesStore> store) : store_(std::move(store)) {
    if (!store_) store_ = std::make_shared<MarqenMemoryPreferencesStore>();
}

void MarqenPreferences::setStore(std::shared_ptr<MarqenPreferencesStore> store) {
    store_ = store ? std::move(store) : std::make_shared<MarqenMemoryPreferencesStore>();
}

bool MarqenPreferences::arrowheadsAtBeginningOfShape() const {
    return store_->boolForKey(kMarqenPreferenceArrowheadsAtBeginningOfShape, false);
}
bool MarqenPreferences::expandableCanvas() const { return store_->boolForKey(kMarqenPreferenceExpandableCanvas, true); }
bool MarqenPreferences::typingCreatesTextAnnotation() const {
    // Off unless asked for: letters choose tools, as the editor has them.
    return store_->boolForKey(kMarqenPreferenceTypingCreatesTextAnnotation, false);
}
bool MarqenPreferences::setBool(const std::string &key, bool value, MarqenError *error) {
    return store_->setBool(key, value, error);
}

std::optional<std::string> MarqenPreferences::toolsModelArchive() const {
    return store_->stringForKey(kMarqenPreferenceToolsModelArchive);
}
bool MarqenPreferences::setToolsModelArchive(const std::string &archive, MarqenError *error) {
    return store_->setString(kMarqenPreferenceToolsModelArchive, archive, error);
}
std::optional<std::string> MarqenPreferences::persistentPropertyInfo() const {
    return store_->stringForKey(kMarqenPreferencePropertyInfo);
}
bool MarqenPreferences::setPersistentPropertyInfo(const std::string &data, MarqenError *error) {
    return store_->setString(kMarqenPreferencePropertyInfo, data, error);
}

}  // namespace marqen
