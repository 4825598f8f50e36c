#pragma once
// Where work runs: the host's main queue (drained from its event loop, and by tests explicitly),
// serial operation queues that can be suspended and waited on, and a small shared thread pool.
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "../export.h"

namespace marqen {

using MarqenTask = std::function<void()>;

// A FIFO of work sent back "to the main thread".
class MARQEN_EXPORT MainQueue {
public:
    static MainQueue &shared();
    void async(MarqenTask task);
    // Runs queued work, including work queued while draining, until the queue is empty.
    // Returns the number of tasks run.
    size_t drain();
    // Drains, waiting up to timeoutSeconds for work to arrive until `done` returns true.
    bool drainUntil(const std::function<bool()> &done, double timeoutSeconds);
    size_t pendingCount() const;
    // Called after work is queued, on the queuing thread and outside the queue's lock, so that a host's
    // event loop can wake up and drain (the GTK layer wakes its GLib context). Empty: no call.
    void setWakeUpHandler(MarqenTask handler);

private:
    mutable std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<MarqenTask> tasks_;
    MarqenTask wakeUp_;
};

// A queue that runs one task at a time on its own thread, in order.
class MARQEN_EXPORT SerialQueue {
public:
    explicit SerialQueue(bool startSuspended = false);
    ~SerialQueue();  // finishes the queued work (resuming if suspended) before returning
    SerialQueue(const SerialQueue &) = delete;
    SerialQueue &operator=(const SerialQueue &) = delete;

    void addOperation(MarqenTask task);
    void suspend();
    void resume();
    bool isSuspended() const;
    // Blocks until every queued task has run. Waiting on a suspended queue with work queued resumes nothing:
    // callers resume first.
    void waitUntilAllOperationsAreFinished();
    bool isCurrentThread() const { return std::this_thread::get_id() == worker_.get_id(); }

private:
    void run();
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<MarqenTask> tasks_;
    bool suspended_ = false, stopping_ = false, busy_ = false;
    std::thread worker_;
};

// The global concurrent queue: a fixed pool of worker threads.
class MARQEN_EXPORT ThreadPool {
public:
    static ThreadPool &shared();
    explicit ThreadPool(unsigned threads);
    ~ThreadPool();
    void async(MarqenTask task);
    void waitIdle();

private:
    void run();
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<MarqenTask> tasks_;
    unsigned active_ = 0;
    bool stopping_ = false;
    std::vector<std::thread> workers_;
};

}  // namespace marqen
