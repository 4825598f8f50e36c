#pragma once
// The process-wide log through which the library reports non-fatal problems to its host.
#include <memory>
#include <mutex>
#include <string>

namespace marqen {

class CoreMarqenLog;

class CoreMarqenLogDelegate {
public:
    virtual ~CoreMarqenLogDelegate() = default;
    virtual void marqenLog(CoreMarqenLog &log, const std::string &message) = 0;
};

class CoreMarqenLog {
public:
    static CoreMarqenLog &sharedCoreMarqenLog();

    // The delegate is not owned; set it to null before destroying it.
    void setDelegate(CoreMarqenLogDelegate *delegate);
    CoreMarqenLogDelegate *delegate() const;

    // Hands the line to the delegate; without a delegate nothing happens.
    void logMessage(const std::string &message);

private:
    CoreMarqenLog() = default;
    mutable std::mutex mutex_;
    CoreMarqenLogDelegate *delegate_ = nullptr;
};

// Shorthand for CoreMarqenLog::sharedCoreMarqenLog().logMessage(message).
void marqenLog(const std::string &message);

}  // namespace marqen
