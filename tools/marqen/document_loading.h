#pragma once
// Loading a DOM JSON file for a command, with the command's error conventions.
#include <string>

#include "formats/dom_json_file.h"

namespace marqen::cli {

// Throws CommandError(1) with "FILE: reason" when the file cannot be read or is not a document.
MarqenDOMJSONContent loadDocumentFile(const std::string &path);

}  // namespace marqen::cli
