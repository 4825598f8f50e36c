#include "support/delayed_resource_coordinator.h"

#include <stdexcept>

#include "foundation/queues.h"

namespace marqen::test {

DelayedResourceCoordinator::DelayedResourceCoordinator(const std::filesystem::path &directory,
                                                       std::chrono::milliseconds delay)
    : files_(MarqenDirectoryResourceCoordinator::create(directory)), delay_(delay) {
    if (!files_) throw std::invalid_argument("not a directory: " + directory.string());
}

DelayedResourceCoordinator::~DelayedResourceCoordinator() {
    std::lock_guard lock(workersMutex_);
    for (auto &worker : workers_) worker.join();
}

void DelayedResourceCoordinator::answerLater(std::function<void()> work) {
    std::lock_guard lock(workersMutex_);
    workers_.emplace_back([this, delay = delay_, work = std::move(work)] {
        std::this_thread::sleep_for(delay);
        if (MainQueue::isMainThread()) ++workOnMainThread_;
        work();
    });
}

void DelayedResourceCoordinator::loadResourceWithURI(const std::string &uri, Completion completion) {
    ++loads_;
    answerLater([files = files_, uri, completion = std::move(completion)]() mutable {
        MarqenError error;
        auto file = files->loadFile(uri, &error);
        std::optional<MarqenError> failure;
        if (!file) failure = error;
        MainQueue::shared().async([completion = std::move(completion), file = file.value_or(std::filesystem::path()), uri, failure] {
            completion(file, uri, failure ? &*failure : nullptr);
        });
    });
}

void DelayedResourceCoordinator::storeResourceWithURI(const std::string &uri, const MarqenImageRef &image,
                                                      unsigned long profile, const MarqenJSON &imageProperties,
                                                      Completion completion) {
    ++stores_;
    const bool fails = failNextStore_;
    failNextStore_ = false;
    answerLater([files = files_, uri, image, profile, imageProperties, fails, completion = std::move(completion)]() mutable {
        MarqenError error;
        std::optional<std::filesystem::path> file;
        if (fails)
            marqenFail(&error, MarqenDOMDocumentResourceCoordinatorErrorDomain, MarqenResourceErrorWriteFailed,
                       "Unable to store " + uri + ": the disk is full");
        else
            file = files->storeFile(uri, image.get(), profile, imageProperties, &error);
        std::optional<MarqenError> failure;
        if (!file) failure = error;
        MainQueue::shared().async([completion = std::move(completion), file = file.value_or(std::filesystem::path()), uri, failure] {
            completion(file, uri, failure ? &*failure : nullptr);
        });
    });
}

}  // namespace marqen::test
