// MarqenComposition as the pages' resource coordinator: every load and store is answered from the
// bundle's resources directory, on a queue of its own, with completions on the main queue.
#include <set>

#include "dom/document.h"
#include "editing/composition.h"
#include "editing/composition_private.h"
#include "formats/composition_bundle.h"
#include "foundation/log.h"
#include "foundation/queues.h"

namespace marqen {

namespace fs = std::filesystem;

namespace {

void answerFailure(MarqenDOMDocumentResourceCoordinator::Completion completion, const std::string &uri,
                   long code, const std::string &message) {
    MarqenError error;
    marqenFail(&error, MarqenDOMDocumentResourceCoordinatorErrorDomain, code, message);
    MainQueue::shared().async([completion = std::move(completion), uri, error] { completion({}, uri, &error); });
}

}  // namespace

MarqenCompositionCodecDelegate::MarqenCompositionCodecDelegate(std::vector<std::string> uris)
    : uris_(uris.begin(), uris.end()) {}

std::optional<std::set<std::string>> MarqenCompositionCodecDelegate::compositionPNGCodecResourceURIsForBundle(
    MarqenCompositionPNGCodec &, const MarqenCompositionBundle &) {
    return uris_;
}

std::shared_ptr<MarqenDirectoryResourceCoordinator> MarqenComposition::Private::fileCoordinator(
    const MarqenCompositionBundle &bundle) {
    if (!files) {
        MarqenError error;
        files = MarqenDirectoryResourceCoordinator::create(bundle.resourcesURL(), &error);
        if (!files) marqenLog("MarqenComposition: the bundle's resources are out of reach: " + error.description());
    }
    return files;
}

void MarqenComposition::loadResourceWithURI(const std::string &uri, Completion completion) {
    auto files = bundle_ ? private_->fileCoordinator(*bundle_) : nullptr;
    if (!files) return answerFailure(std::move(completion), uri, MarqenResourceErrorNotFound, "The composition has no bundle");
    files->loadResourceWithURI(uri, std::move(completion));
}

void MarqenComposition::storeResourceWithURI(const std::string &uri, const MarqenImageRef &image, unsigned long profile,
                                             const MarqenJSON &imageProperties, Completion completion) {
    auto files = bundle_ ? private_->fileCoordinator(*bundle_) : nullptr;
    if (!files) return answerFailure(std::move(completion), uri, MarqenResourceErrorWriteFailed, "The composition has no bundle");
    // Pixels never change under a URI (every pixel edit stores under a fresh one), so a stored file is
    // already what the image would be written as: saving again re-encodes nothing.
    const bool stored = files->fileForURI(uri, true, nullptr).has_value();
    files->storeResourceWithURI(uri, stored ? nullptr : image, profile, imageProperties, std::move(completion));
}

void MarqenComposition::storeResourceWithURI(const std::string &uri, const fs::path &dataURL, Completion completion) {
    if (!bundle_) return answerFailure(std::move(completion), uri, MarqenResourceErrorWriteFailed, "The composition has no bundle");
    MarqenError error;
    if (!bundle_->writeDataFromURL(dataURL, uri, &error)) {
        MainQueue::shared().async([completion = std::move(completion), uri, error] { completion({}, uri, &error); });
        return;
    }
    auto file = bundle_->resourceURLForResourceURI(uri, nullptr).value_or(fs::path());
    MainQueue::shared().async([completion = std::move(completion), uri, file] { completion(file, uri, nullptr); });
}

std::vector<std::string> MarqenComposition::resourceURIsInUse() const {
    std::set<std::string> uris;
    for (const auto &document : documents_) {
        for (const auto &uri : document->resourceURIs()) {
            if (auto uuid = MarqenCompositionBundle::uuidFromURI(uri, nullptr)) uris.insert(MarqenCompositionBundle::URIFromUuid(*uuid));
        }
    }
    return {uris.begin(), uris.end()};
}

}  // namespace marqen
