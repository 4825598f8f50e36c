#include "foundation/notification_center.h"

#include <algorithm>

namespace marqen {

NotificationToken &NotificationToken::operator=(NotificationToken &&other) noexcept {
    if (this != &other) {
        reset();
        center_ = other.center_;
        entry_ = std::move(other.entry_);
        other.center_ = nullptr;
    }
    return *this;
}

NotificationToken::~NotificationToken() { reset(); }

void NotificationToken::reset() {
    if (center_ && entry_) center_->remove(entry_);
    center_ = nullptr;
    entry_.reset();
}

NotificationCenter &NotificationCenter::defaultCenter() {
    static NotificationCenter center;
    return center;
}

NotificationToken NotificationCenter::addObserver(const std::string &name, const void *object,
                                                  NotificationHandler handler) {
    auto entry = std::make_shared<NotificationToken::Entry>(NotificationToken::Entry{name, object, std::move(handler)});
    std::lock_guard lock(mutex_);
    entries_.push_back(entry);
    observerCount_.store(entries_.size(), std::memory_order_relaxed);
    return NotificationToken(this, entry);
}

void NotificationCenter::remove(const std::shared_ptr<NotificationToken::Entry> &entry) {
    std::lock_guard lock(mutex_);
    entry->removed = true;
    entries_.erase(std::remove(entries_.begin(), entries_.end(), entry), entries_.end());
    observerCount_.store(entries_.size(), std::memory_order_relaxed);
}

void NotificationCenter::post(const std::string &name, const void *object, NotificationUserInfo userInfo) {
    if (!hasAnyObservers()) return;
    post(Notification{name, object, std::move(userInfo)});
}

bool NotificationCenter::hasObservers(std::string_view name, const void *object) {
    if (!hasAnyObservers()) return false;
    std::lock_guard lock(mutex_);
    for (const auto &entry : entries_)
        if ((entry->name.empty() || entry->name == name) && (!entry->object || entry->object == object)) return true;
    return false;
}

void NotificationCenter::post(const Notification &notification) {
    if (!hasAnyObservers()) return;
    // Handlers run outside the lock on a snapshot, so they may add and remove observers and post again;
    // an observer removed during the post is not called afterwards.
    std::vector<std::shared_ptr<NotificationToken::Entry>> matching;
    {
        std::lock_guard lock(mutex_);
        for (const auto &entry : entries_)
            if ((entry->name.empty() || entry->name == notification.name) &&
                (!entry->object || entry->object == notification.object))
                matching.push_back(entry);
    }
    for (const auto &entry : matching) {
        {
            std::lock_guard lock(mutex_);
            if (entry->removed) continue;
        }
        entry->handler(notification);
    }
}

}  // namespace marqen
