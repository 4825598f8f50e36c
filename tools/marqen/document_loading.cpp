#include "document_loading.h"

#include "command.h"

namespace marqen::cli {

MarqenDOMJSONContent loadDocumentFile(const std::string &path) {
    MarqenError error;
    auto content = MarqenReadDOMJSONFile(path, &error);
    if (!content) failure(error.localizedDescription());
    return *content;
}

}  // namespace marqen::cli
