#pragma once
// Loading a DOM JSON file for a command, with the command's error conventions.
#include <memory>
#include <string>
#include <vector>

#include "formats/directory_resource_coordinator.h"
#include "formats/dom_json_file.h"

namespace marqen::cli {

// Throws CommandError(1) with "FILE: reason" when the file cannot be read or is not a document.
MarqenDOMJSONContent loadDocumentFile(const std::string &path);

// A coordinator for the resources directory. Throws CommandError(1) when the directory does not exist.
std::shared_ptr<MarqenDirectoryResourceCoordinator> openResources(const std::string &directory);
// Gives each document the coordinator, which loads the bitmaps' pixels, and waits for them. The documents
// hold it weakly: the caller keeps it while it uses them.
void attachResources(const std::vector<std::shared_ptr<MarqenDOMDocument>> &documents,
                     const std::shared_ptr<MarqenDOMDocumentResourceCoordinator> &coordinator);
// Both, for every page; returns the coordinator to keep.
std::shared_ptr<MarqenDOMDocumentResourceCoordinator> attachResources(const MarqenDOMJSONContent &content,
                                                                      const std::string &directory);

// The URIs of bitmaps that have no pixels (after attachResources: the resources that did not load).
std::vector<std::string> bitmapsWithoutImages(const MarqenDOMJSONContent &content);

}  // namespace marqen::cli
