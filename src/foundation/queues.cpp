#include "foundation/queues.h"

#include <algorithm>
#include <chrono>

#include "foundation/log.h"

namespace marqen {

namespace {

// A task that throws must not take the queue's thread down with it.
void runGuarded(const MarqenTask &task) {
    try {
        task();
    } catch (const std::exception &error) {
        marqenLog(std::string("Uncaught exception in queued task: ") + error.what());
    } catch (...) {
        marqenLog("Uncaught exception in queued task");
    }
}

// Set during static initialisation, which runs on the process's first thread.
const std::thread::id kMainThread = std::this_thread::get_id();

}  // namespace

MainQueue &MainQueue::shared() {
    // Never destroyed: worker threads may still queue results while the process exits.
    static MainQueue *queue = new MainQueue;
    return *queue;
}

bool MainQueue::isMainThread() { return std::this_thread::get_id() == kMainThread; }

void MainQueue::async(MarqenTask task) {
    if (!task) return;
    MarqenTask wakeUp;
    {
        std::lock_guard lock(mutex_);
        tasks_.push_back(std::move(task));
        wakeUp = wakeUp_;
    }
    arrived_.notify_all();
    if (wakeUp) wakeUp();
}

void MainQueue::setWakeUpHandler(MarqenTask handler) {
    std::lock_guard lock(mutex_);
    wakeUp_ = std::move(handler);
}

size_t MainQueue::drain() {
    size_t count = 0;
    for (;;) {
        MarqenTask task;
        {
            std::lock_guard lock(mutex_);
            if (tasks_.empty()) return count;
            task = std::move(tasks_.front());
            tasks_.pop_front();
        }
        runGuarded(task);
        task = nullptr;  // what the task held goes on the main thread, before anyone is told
        ++count;
        arrived_.notify_all();
    }
}

bool MainQueue::drainUntil(const std::function<bool()> &done, double timeoutSeconds) {
    const auto deadline = std::chrono::steady_clock::now() +
                          std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                              std::chrono::duration<double>(timeoutSeconds));
    for (;;) {
        drain();
        if (done()) return true;
        const auto now = std::chrono::steady_clock::now();
        if (now >= deadline) return false;
        // Bounded, like waitUntil: `done` may also turn true through another thread alone.
        std::unique_lock lock(mutex_);
        arrived_.wait_until(lock, std::min<std::chrono::steady_clock::time_point>(deadline, now + std::chrono::milliseconds(50)),
                            [&] { return !tasks_.empty(); });
    }
}

void MainQueue::waitUntil(const std::function<bool()> &done) {
    if (isMainThread()) {
        for (;;) {
            drain();
            if (done()) return;
            // Work that makes `done` true usually arrives as a task; a bounded wait also notices a
            // state changed by another thread alone.
            std::unique_lock lock(mutex_);
            arrived_.wait_for(lock, std::chrono::milliseconds(50), [&] { return !tasks_.empty(); });
        }
    }
    std::unique_lock lock(mutex_);
    // Woken by every queued task and every finished one; `done` is checked without the queue's lock.
    for (;;) {
        lock.unlock();
        if (done()) return;
        lock.lock();
        arrived_.wait_for(lock, std::chrono::milliseconds(50));
    }
}

size_t MainQueue::pendingCount() const {
    std::lock_guard lock(mutex_);
    return tasks_.size();
}

SerialQueue::SerialQueue(bool startSuspended) : suspended_(startSuspended), worker_([this] { run(); }) {}

SerialQueue::~SerialQueue() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
        suspended_ = false;
    }
    changed_.notify_all();
    worker_.join();
}

void SerialQueue::addOperation(MarqenTask task) {
    {
        std::lock_guard lock(mutex_);
        tasks_.push_back(std::move(task));
    }
    changed_.notify_all();
}

void SerialQueue::suspend() {
    std::lock_guard lock(mutex_);
    suspended_ = true;
}

void SerialQueue::resume() {
    {
        std::lock_guard lock(mutex_);
        suspended_ = false;
    }
    changed_.notify_all();
}

bool SerialQueue::isSuspended() const {
    std::lock_guard lock(mutex_);
    return suspended_;
}

void SerialQueue::waitUntilAllOperationsAreFinished() {
    if (isCurrentThread()) return;  // a task waiting on its own queue would never wake
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return (tasks_.empty() && !busy_) || (suspended_ && !busy_); });
}

void SerialQueue::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [&] { return stopping_ || (!suspended_ && !tasks_.empty()); });
        if (tasks_.empty() || (suspended_ && !stopping_)) {
            if (stopping_) return;
            continue;
        }
        MarqenTask task = std::move(tasks_.front());
        tasks_.pop_front();
        busy_ = true;
        lock.unlock();
        runGuarded(task);
        lock.lock();
        busy_ = false;
        changed_.notify_all();
    }
}

ThreadPool &ThreadPool::shared() {
    static ThreadPool pool(std::max(2u, std::thread::hardware_concurrency()));
    return pool;
}

ThreadPool::ThreadPool(unsigned threads) {
    for (unsigned i = 0; i < threads; ++i) workers_.emplace_back([this] { run(); });
}

ThreadPool::~ThreadPool() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_all();
    for (auto &worker : workers_) worker.join();
}

void ThreadPool::async(MarqenTask task) {
    {
        std::lock_guard lock(mutex_);
        tasks_.push_back(std::move(task));
    }
    changed_.notify_all();
}

void ThreadPool::waitIdle() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return tasks_.empty() && active_ == 0; });
}

void ThreadPool::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [&] { return stopping_ || !tasks_.empty(); });
        if (tasks_.empty()) return;  // stopping with nothing left
        MarqenTask task = std::move(tasks_.front());
        tasks_.pop_front();
        ++active_;
        lock.unlock();
        runGuarded(task);
        lock.lock();
        --active_;
        changed_.notify_all();
    }
}

}  // namespace marqen
