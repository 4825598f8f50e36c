#pragma once
// Loading a DOM JSON file for a command, with the command's error conventions.
#include <memory>
#include <string>

#include "formats/dom_json_file.h"

namespace marqen::cli {

// Throws CommandError(1) with "FILE: reason" when the file cannot be read or is not a document.
MarqenDOMJSONContent loadDocumentFile(const std::string &path);

// Gives every page a coordinator for the resources directory, which loads the bitmaps' pixels.
// The documents hold it weakly: the caller keeps the returned coordinator while it uses them.
// Throws CommandError(1) when the directory does not exist.
std::shared_ptr<MarqenDOMDocumentResourceCoordinator> attachResources(const MarqenDOMJSONContent &content,
                                                                      const std::string &directory);

// The URIs of bitmaps that have no pixels (after attachResources: the resources that did not load).
std::vector<std::string> bitmapsWithoutImages(const MarqenDOMJSONContent &content);

}  // namespace marqen::cli
