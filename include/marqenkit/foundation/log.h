#pragma once
// The process-wide log through which the library reports non-fatal problems to its host.
#include <memory>
#include <mutex>
#include <string>

#include "../export.h"

namespace marqen {

class CoreMarqenLog;

class MARQEN_EXPORT CoreMarqenLogDelegate {
public:
    virtual ~CoreMarqenLogDelegate() = default;
    virtual void marqenLog(CoreMarqenLog &log, const std::string &message) = 0;
};

class MARQEN_EXPORT CoreMarqenLog {
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
MARQEN_EXPORT void marqenLog(const std::string &message);

}  // namespace marqen
