#include "document_loading.h"

#include "command.h"
#include "dom/bitmap.h"

namespace marqen::cli {

MarqenDOMJSONContent loadDocumentFile(const std::string &path) {
    MarqenError error;
    auto content = MarqenReadDOMJSONFile(path, &error);
    if (!content) failure(error.localizedDescription());
    return *content;
}

std::shared_ptr<MarqenDirectoryResourceCoordinator> openResources(const std::string &directory) {
    MarqenError error;
    auto coordinator = MarqenDirectoryResourceCoordinator::create(directory, &error);
    if (!coordinator) failure(error.localizedDescription());
    return coordinator;
}

void attachResources(const std::vector<std::shared_ptr<MarqenDOMDocument>> &documents,
                     const std::shared_ptr<MarqenDOMDocumentResourceCoordinator> &coordinator) {
    for (const auto &document : documents) {
        document->setResourceCoordinator(coordinator);
        document->waitForOperationsToFinish();
    }
}

std::shared_ptr<MarqenDOMDocumentResourceCoordinator> attachResources(const MarqenDOMJSONContent &content,
                                                                      const std::string &directory) {
    auto coordinator = openResources(directory);
    attachResources(content.pages->pages(), coordinator);
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
