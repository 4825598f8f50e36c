#include "document_loading.h"

#include "command.h"
#include "dom/bitmap.h"
#include "formats/directory_resource_coordinator.h"

namespace marqen::cli {

MarqenDOMJSONContent loadDocumentFile(const std::string &path) {
    MarqenError error;
    auto content = MarqenReadDOMJSONFile(path, &error);
    if (!content) failure(error.localizedDescription());
    return *content;
}

std::shared_ptr<MarqenDOMDocumentResourceCoordinator> attachResources(const MarqenDOMJSONContent &content,
                                                                      const std::string &directory) {
    MarqenError error;
    auto coordinator = MarqenDirectoryResourceCoordinator::create(directory, &error);
    if (!coordinator) failure(error.localizedDescription());
    for (const auto &page : content.pages->pages()) {
        page->setResourceCoordinator(coordinator);
        page->waitForOperationsToFinish();
    }
    return coordinator;
}

std::vector<std::string> bitmapsWithoutImages(const MarqenDOMJSONContent &content) {
    std::vector<std::string> missing;
    for (const auto &page : content.pages->pages())
        for (const auto &bitmap : page->allBitmaps())
            if (!bitmap->image()) missing.push_back(bitmap->uri());
    return missing;
}

}  // namespace marqen::cli
