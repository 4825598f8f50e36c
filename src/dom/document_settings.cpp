#include "dom/document_settings.h"

#include <mutex>

namespace marqen {

namespace {

struct GuardedSettings {
    std::mutex mutex;
    MarqenDOMDocumentSettings settings;
};

GuardedSettings &guardedSettings() {
    static GuardedSettings guarded;
    return guarded;
}

}  // namespace

MarqenDOMDocumentSettings MarqenDOMDocumentSettings::current() {
    auto &guarded = guardedSettings();
    std::lock_guard lock(guarded.mutex);
    return guarded.settings;
}

void MarqenDOMDocumentSettings::setCurrent(const MarqenDOMDocumentSettings &settings) {
    auto &guarded = guardedSettings();
    std::lock_guard lock(guarded.mutex);
    guarded.settings = settings;
}

}  // namespace marqen
