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

void marqenLog(const std::string &message) { CoreMarqenLog::sharedCoreMarqenLog().logMessage(message); }

}  // namespace marqen
