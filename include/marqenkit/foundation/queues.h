#pragma once
// Where work runs: the host's main queue (drained from its event loop, and by tests explicitly),
// serial operation queues that can be suspended and waited on, and a small shared thread pool.
//
// Threads, one rule for the whole library: the model (nodes, documents, undo, notifications) lives
// on the main thread and is only touched there. Background work (resource loading and encoding,
// stroke fitting, opacity tests, page rendering) takes immutable inputs (images not changed after
// they were handed over, copies of JSON, file paths), never holds a model object (a weak reference
// may ride along, to be locked on the main thread only), and sends its result back through
// MainQueue, whose tasks run on the main thread. A synchronous wait on the main thread
// (MainQueue::waitUntil) keeps running the main queue while it waits, so results on their way back
// cannot deadlock it.
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "../export.h"

namespace marqen {

using MarqenTask = std::function<void()>;

// A FIFO of work sent back "to the main thread". Any thread may queue work; only the main thread
// drains it (the host from its event loop, tests explicitly). The shared queue is never destroyed,
// so work queued while the process exits is dropped, not run.
class MARQEN_EXPORT MainQueue {
public:
    static MainQueue &shared();
    // The main thread is the thread that initialised the library (the process's first thread).
    static bool isMainThread();

    void async(MarqenTask task);  // an empty task is ignored
    // Runs queued work, including work queued while draining, until the queue is empty.
    // Returns the number of tasks run. Main thread only.
    size_t drain();
    // Drains, waiting up to timeoutSeconds for work to arrive until `done` returns true. Main thread only.
    bool drainUntil(const std::function<bool()> &done, double timeoutSeconds);
    // Blocks until `done` returns true. On the main thread it drains the queue meanwhile (queued work may
    // then run inside the caller's call: callers keep no state that such work could invalidate); on
    // another thread it only waits, checking `done` after each task the main thread runs and whenever
    // work is queued. `done` must become true through queued work or another thread.
    void waitUntil(const std::function<bool()> &done);
    size_t pendingCount() const;
    // Called after work is queued, on the queuing thread and outside the queue's lock, so that a host's
    // event loop can wake up and drain (the GTK layer wakes its GLib context). Empty: no call.
    void setWakeUpHandler(MarqenTask handler);

private:
    MainQueue() = default;
    mutable std::mutex mutex_;
    std::condition_variable arrived_;  // work was queued, or a task finished
    std::deque<MarqenTask> tasks_;
    MarqenTask wakeUp_;
};

// A queue that runs one task at a time on its own thread, in order. Its tasks run off the main
// thread: they must not touch the model (see above).
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

// The global concurrent queue: a fixed pool of worker threads. Same rule as the serial queues.
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
