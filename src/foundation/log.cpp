#include "foundation/log.h"

namespace marqen {

CoreMarqenLog &CoreMarqenLog::sharedCoreMarqenLog() {
    static CoreMarqenLog log;
    return log;
}

void CoreMarqenLog::setDelegate(CoreMarqenLogDelegate *delegate) {
    std::lock_guard lock(mutex_);
    delegate_ = delegate;
}

CoreMarqenLogDelegate *CoreMarqenLog::delegate() const {
    std::lock_guard lock(mutex_);
    return delegate_;
}

void CoreMarqenLog::logMessage(const std::string &message) {
    // Lines may come from background queues; the delegate is called under the lock so that
    // a delegate being removed never receives a line afterwards.
    std::lock_guard lock(mutex_);
    if (delegate_) delegate_->marqenLog(*this, message);
}

void CoreMarqenLog::logRepeatableMessage(const std::string &kind, const std::string &message) {
    std::lock_guard lock(mutex_);
    // Few kinds exist, so a scan is cheap; a flood of one kind finds it at once.
    for (auto &[seenKind, count] : repeatedKinds_) {
        if (seenKind == kind) {
            ++count;
            return;
        }
    }
    repeatedKinds_.emplace_back(kind, 0);
    if (delegate_) delegate_->marqenLog(*this, message);
}

void CoreMarqenLog::flushRepeatedMessages() {
    std::lock_guard lock(mutex_);
    for (const auto &[kind, count] : repeatedKinds_)
        if (count > 0 && delegate_) delegate_->marqenLog(*this, kind + " (" + std::to_string(count) + " more times)");
    repeatedKinds_.clear();
}

void marqenLogRepeatable(const std::string &kind, const std::string &message) {
    CoreMarqenLog::sharedCoreMarqenLog().logRepeatableMessage(kind, message);
}

void marqenLog(const std::string &message) { CoreMarqenLog::sharedCoreMarqenLog().logMessage(message); }

}  // namespace marqen
