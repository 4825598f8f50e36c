#pragma once
// A resource coordinator that behaves like a slow real one: each request is answered from a
// directory by a worker thread of its own after a delay, and the completion comes back through the
// main queue. Tests use it to make sure nothing relies on completions that run inline or on the
// calling thread.
#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "dom/resource_coordinator.h"
#include "formats/directory_resource_coordinator.h"

namespace marqen::test {

class DelayedResourceCoordinator : public MarqenDOMDocumentResourceCoordinator {
public:
    explicit DelayedResourceCoordinator(const std::filesystem::path &directory,
                                        std::chrono::milliseconds delay = std::chrono::milliseconds(15));
    ~DelayedResourceCoordinator() override;  // waits for the workers; completions not yet drained are dropped

    void loadResourceWithURI(const std::string &uri, Completion completion) override;
    void storeResourceWithURI(const std::string &uri, const MarqenImageRef &image, unsigned long profile,
                              const MarqenJSON &imageProperties, Completion completion) override;

    // The delay of the requests made from now on.
    void setDelay(std::chrono::milliseconds delay) { delay_ = delay; }
    int loads() const { return loads_; }
    int stores() const { return stores_; }
    // Requests whose file work ran on the main thread (none should).
    int workOnMainThread() const { return workOnMainThread_; }
    // The next store fails with MarqenResourceErrorWriteFailed, without touching the directory.
    void failNextStore() { failNextStore_ = true; }
    const MarqenDirectoryResourceCoordinator &files() const { return *files_; }

private:
    void answerLater(std::function<void()> work);  // on a new worker thread, after the current delay

    std::shared_ptr<MarqenDirectoryResourceCoordinator> files_;
    std::chrono::milliseconds delay_;
    std::atomic<int> loads_{0}, stores_{0}, workOnMainThread_{0};
    bool failNextStore_ = false;
    std::mutex workersMutex_;
    std::vector<std::thread> workers_;
};

}  // namespace marqen::test
