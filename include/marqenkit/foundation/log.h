#pragma once
// The process-wide log through which the library reports non-fatal problems to its host.
//
// Threads: safe on any thread. Lines reach the delegate on the thread that logs them, under the log's
// lock: a delegate that touches an interface hops to its main thread itself, and never logs.
#include <memory>
#include <mutex>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

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

    // For problems hostile input can repeat millions of times. The first line of a kind goes to the
    // delegate at once; later lines of that kind are only counted until flushRepeatedMessages(), which
    // hands over one line per counted kind: "<kind> (N more times)". A host calls it when an operation
    // ends (the command line does so before it exits).
    void logRepeatableMessage(const std::string &kind, const std::string &message);
    void flushRepeatedMessages();

private:
    CoreMarqenLog() = default;
    mutable std::mutex mutex_;
    CoreMarqenLogDelegate *delegate_ = nullptr;
    // Kinds seen since the last flush, in the order first seen, with the lines counted but not delivered.
    std::vector<std::pair<std::string, uint64_t>> repeatedKinds_;
};

// Shorthand for CoreMarqenLog::sharedCoreMarqenLog().logMessage(message).
MARQEN_EXPORT void marqenLog(const std::string &message);
// Shorthand for CoreMarqenLog::sharedCoreMarqenLog().logRepeatableMessage(kind, message).
MARQEN_EXPORT void marqenLogRepeatable(const std::string &kind, const std::string &message);

}  // namespace marqen
