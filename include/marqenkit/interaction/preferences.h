#pragma once
// Where the editor keeps its preferences and the remembered tools and property values. The host may
// supply its own store; the default keeps a key file under the user's configuration folder
// ($XDG_CONFIG_HOME/marqenkit/preferences.ini, else ~/.config/marqenkit/preferences.ini). Main thread only.
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "../export.h"
#include "../foundation/error.h"

namespace marqen {

inline constexpr const char *kMarqenPreferenceArrowheadsAtBeginningOfShape = "preferenceArrowheadsAtBeginningOfShape";
inline constexpr const char *kMarqenPreferenceExpandableCanvas = "preferenceExpandableCanvas";
inline constexpr const char *kMarqenPreferenceTypingCreatesTextAnnotation = "preferenceTypingCreatesTextAnnotation";
// The tools model's archive and the properties' remembered values, each as JSON text.
inline constexpr const char *kMarqenPreferenceToolsModelArchive = "toolsModelArchive";
inline constexpr const char *kMarqenPreferencePropertyInfo = "persistentPropertyInfo";

// Posted (object: the store) after a value changed; the user info holds the key under "key".
inline constexpr const char *kMarqenPreferencesDidChangeNotification = "MarqenPreferencesDidChangeNotification";

// A flat string store. Keys are letters, digits, '_', '-' and '.'; other keys are refused.
class MARQEN_EXPORT MarqenPreferencesStore {
public:
    virtual ~MarqenPreferencesStore() = default;
    virtual std::optional<std::string> stringForKey(const std::string &key) const = 0;
    // False (with the error) when the key is refused or the value could not be kept.
    virtual bool setString(const std::string &key, const std::string &value, MarqenError *error = nullptr) = 0;
    virtual bool removeKey(const std::string &key, MarqenError *error = nullptr) = 0;

    // "true" and "false"; any other stored text reads as the default.
    bool boolForKey(const std::string &key, bool defaultValue) const;
    bool setBool(const std::string &key, bool value, MarqenError *error = nullptr);

    static bool isValidKey(const std::string &key);
};

// Keeps the values in memory only (tests, hosts without persistence).
class MARQEN_EXPORT MarqenMemoryPreferencesStore : public MarqenPreferencesStore {
public:
    std::optional<std::string> stringForKey(const std::string &key) const override;
    bool setString(const std::string &key, const std::string &value, MarqenError *error = nullptr) override;
    bool removeKey(const std::string &key, MarqenError *error = nullptr) override;

private:
    std::map<std::string, std::string> values_;
};

// A key file, read when the store is made and rewritten safely (beside the target, then renamed) on every
// change. An unreadable file is logged and treated as empty; it is replaced on the next change.
class MARQEN_EXPORT MarqenKeyFilePreferencesStore : public MarqenPreferencesStore {
public:
    explicit MarqenKeyFilePreferencesStore(std::filesystem::path file);
    static std::filesystem::path defaultPath();

    const std::filesystem::path &path() const { return path_; }
    std::optional<std::string> stringForKey(const std::string &key) const override;
    bool setString(const std::string &key, const std::string &value, MarqenError *error = nullptr) override;
    bool removeKey(const std::string &key, MarqenError *error = nullptr) override;

private:
    bool write(const std::map<std::string, std::string> &values, MarqenError *error);

    std::filesystem::path path_;
    std::map<std::string, std::string> values_;
};

// The editor's preferences over a store, with their defaults: arrowheads at the end of the shape, the
// canvas grows at its edges, typing with nothing selected starts a text.
class MARQEN_EXPORT MarqenPreferences {
public:
    // The process-wide preferences; until a host sets a store they use the default key file.
    static MarqenPreferences &shared();
    explicit MarqenPreferences(std::shared_ptr<MarqenPreferencesStore> store);

    MarqenPreferencesStore &store() const { return *store_; }
    void setStore(std::shared_ptr<MarqenPreferencesStore> store);

    bool arrowheadsAtBeginningOfShape() const;
    bool expandableCanvas() const;
    bool typingCreatesTextAnnotation() const;
    bool setBool(const std::string &key, bool value, MarqenError *error = nullptr);

    std::optional<std::string> toolsModelArchive() const;
    bool setToolsModelArchive(const std::string &archive, MarqenError *error = nullptr);
    std::optional<std::string> persistentPropertyInfo() const;
    bool setPersistentPropertyInfo(const std::string &data, MarqenError *error = nullptr);

private:
    std::shared_ptr<MarqenPreferencesStore> store_;
};

}  // namespace marqen
