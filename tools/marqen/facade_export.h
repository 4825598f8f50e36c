#pragma once
// The commands that go through the document facade (open, export, annotate, original): opening a file
// with the command's error conventions, and the export options they share.
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "command.h"
#include "core/core_document.h"
#include "formats/dom_json_file.h"

namespace marqen::cli {

// Value options and flags of an export: -o, --format, --summary-title, --author, --quality, --page,
// --watermark; --flat, --summary.
extern const std::vector<std::string> kExportValueOptions;
extern const std::vector<std::string> kExportFlags;
// The usage lines describing them, for the commands' --help.
extern const char *const kExportOptionsHelp;

// Copies the annotation- and text-layer elements of the content's pages onto the document's pages (a
// multi-page content by page number, a single document onto the first page), after what they hold.
// Fails the command (exit 1) naming `source` when a page number is not one of the document's pages.
// Returns the number of elements added.
size_t addAnnotations(const MarqenDOMJSONContent &content, CoreMarqenDocument &document, const std::string &source);

// Opens path through the facade; fails the command (exit 1) with "PATH: reason" when it cannot.
std::shared_ptr<CoreMarqenDocument> openDocumentOrFail(const std::string &path,
                                                       std::optional<MarqenExportFormat> *format = nullptr);

// Writes the document to the -o file in the format the options ask for (by --format, or by the output's
// extension: png, jpg, heic and pdf editable unless --flat; tif, gif, bmp and jp2 flat). Throws
// CommandError: usage (2) for bad options, failure (1) when writing fails. Returns the format written.
MarqenExportFormat exportDocument(CoreMarqenDocument &document, const Arguments &arguments);

}  // namespace marqen::cli
