#pragma once
// Named notifications posted synchronously on the calling thread. Observers hold a token;
// destroying the token unregisters the observer.
//
// Threads: the model posts on the main thread only, so observers of model notifications run there.
// Adding and removing observers is safe from any thread (a lock guards the list), and a post from
// another thread would run its observers on that thread: the library never does that.
#include <any>
#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "../export.h"

namespace marqen {

using NotificationUserInfo = std::map<std::string, std::any>;

struct MARQEN_EXPORT Notification {
    std::string name;
    const void *object = nullptr;  // the sender
    NotificationUserInfo userInfo;

    // The user-info value of the given type, or null when absent or of another type.
    template <typename T>
    const T *value(const std::string &key) const {
        auto it = userInfo.find(key);
        return it == userInfo.end() ? nullptr : std::any_cast<T>(&it->second);
    }
};

using NotificationHandler = std::function<void(const Notification &)>;

class NotificationCenter;

// Unregisters its observer when destroyed (or when reset()).
class MARQEN_EXPORT NotificationToken {
public:
    NotificationToken() = default;
    NotificationToken(NotificationToken &&) noexcept = default;
    NotificationToken &operator=(NotificationToken &&other) noexcept;
    NotificationToken(const NotificationToken &) = delete;
    NotificationToken &operator=(const NotificationToken &) = delete;
    ~NotificationToken();
    void reset();
    explicit operator bool() const { return static_cast<bool>(entry_); }

private:
    friend class NotificationCenter;
    struct Entry;
    NotificationToken(NotificationCenter *center, std::shared_ptr<Entry> entry) : center_(center), entry_(std::move(entry)) {}
    NotificationCenter *center_ = nullptr;
    std::shared_ptr<Entry> entry_;
};

class MARQEN_EXPORT NotificationCenter {
public:
    NotificationCenter() = default;
    static NotificationCenter &defaultCenter();

    // An empty name matches every name; a null object matches every sender.
    [[nodiscard]] NotificationToken addObserver(const std::string &name, const void *object, NotificationHandler handler);
    void post(const std::string &name, const void *object, NotificationUserInfo userInfo = {});
    // True when a post of this name from this sender would reach an observer, so that senders can skip
    // building costly user info nobody reads.
    bool hasObservers(std::string_view name, const void *object);
    // False when nobody observes anything here: senders then skip building the notification at all (a
    // document being read posts for every node it builds, with nobody listening yet).
    bool hasAnyObservers() const noexcept { return observerCount_.load(std::memory_order_relaxed) != 0; }
    void post(const Notification &notification);

private:
    friend class NotificationToken;
    void remove(const std::shared_ptr<NotificationToken::Entry> &entry);

    std::mutex mutex_;
    std::vector<std::shared_ptr<NotificationToken::Entry>> entries_;
    std::atomic<size_t> observerCount_{0};  // entries_.size(), written under mutex_
};

struct MARQEN_EXPORT NotificationToken::Entry {
    std::string name;
    const void *object;
    NotificationHandler handler;
    bool removed = false;
};

}  // namespace marqen
