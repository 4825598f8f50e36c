#pragma once
// Rendering one page of a loaded document to a file, shared by the render and demo commands.
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "dom/document.h"
#include "formats/directory_resource_coordinator.h"
#include "formats/dom_json_file.h"

namespace marqen::cli {

struct RenderRequest {
    std::filesystem::path output;   // the extension picks the format
    std::optional<CGSize> size;     // default: the frame at the document's device scale
    std::optional<double> quality;  // 0..1, for the lossy formats
};

// The output format's name for an extension ("png", "jpeg", "heic", "tiff", "gif", "bmp", "jp2",
// "pdf"); throws a usage error for anything else.
std::string renderFormatForPath(const std::filesystem::path &path);

// Page `pageNumber` (from 1) of the content, with the page `pageNumber` of pdfPath as its background
// when one is given. Throws CommandError(1) for a missing page or a PDF that cannot be opened.
std::shared_ptr<MarqenDOMDocument> pageForRendering(const MarqenDOMJSONContent &content, int pageNumber,
                                                    const std::optional<std::string> &pdfPath);

// When the document is one picture without alpha with nothing over it, filling the output one picture
// pixel to one output pixel, writes the picture's own pixels straight from its resource file: rows stream
// from decoder to encoder with no drawing, and the file holds what renderDocumentToFile would write.
// Returns the pixel size written, or none (nothing written) when the document must be drawn; that
// includes every failure, which the drawing path then meets and reports in its own words.
std::optional<std::string> writePictureAlone(const std::shared_ptr<MarqenDOMDocument> &document,
                                             const MarqenDirectoryResourceCoordinator &resources,
                                             const RenderRequest &request);

// Renders and writes safely; throws CommandError(1) with the reason on failure. Returns the pixel
// size written ("W×H", or "vector" for a PDF).
std::string renderDocumentToFile(const std::shared_ptr<MarqenDOMDocument> &document, const RenderRequest &request);

}  // namespace marqen::cli
