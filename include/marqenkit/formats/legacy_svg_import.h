#pragma once
// Import of the small SVG documents (extension "marqen") that older versions of the application wrote:
// one background image or flat colour, filled vector shapes and text blocks. Only what the old writer
// produced is understood; everything else in the file is ignored.
//
// Main thread (the document is created and populated there). The file is read once and never written.
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "../dom/color.h"
#include "../export.h"
#include "../foundation/bezier_path.h"
#include "../foundation/error.h"

namespace marqen {

class MarqenDOMDocument;

inline constexpr const char *kMarqenCompositionSVGImportErrorDomain = "Marqen Composition SVG Import Error";
// Parser failures of the XML itself come back in this domain, the code being the parser's status.
inline constexpr const char *kMarqenXMLParserErrorDomain = "MarqenXMLParserErrorDomain";

enum MarqenCompositionSVGImportErrorCode : long {
    kMarqenCompositionSVGImportUnknownError = 0,
    kMarqenCompositionSVGImportWrongFileFormat = 1,
    kMarqenCompositionSVGImportDataInconsistency = 2,
};

// The import's errors: the domain above, the code, and the description as the only user-info entry.
struct MARQEN_EXPORT MarqenCompositionSVGImportError {
    static MarqenError unknownError();
    static MarqenError wrongFileFormat();
    static MarqenError dataInconsistency();
};

// Largest file the import reads; a bigger one is refused before any byte is read.
inline constexpr uintmax_t kMarqenLegacySVGMaximumFileSize = 256ull * 1024 * 1024;

// Builds a document of scale 1 from the file: the background bitmap, vectors in the annotation layer and
// texts in the text layer. Null with *error (when given) on failure; nothing partial is returned.
MARQEN_EXPORT std::shared_ptr<MarqenDOMDocument> MarqenLegacySVGConvertDocumentAtURL(const std::filesystem::path &url,
                                                                                    MarqenError *error = nullptr);

// The old writer's path subset: groups of "M x y" followed by any number of "C x1 y1 x2 y2 x y", each
// group optionally ended by "z" (a separator: subpaths stay open). Empty text gives an empty path;
// anything else, or a number that is missing or not finite, gives none.
MARQEN_EXPORT std::optional<MarqenBezierPath> svgImport_bezierPathFromSVGPathNodeDAttr(const std::string &d);

// "rgb(r,g,b)" with integer components 0 to 255 (white space allowed between the parts); none otherwise.
MARQEN_EXPORT std::optional<MarqenDOMColor> svgImport_colorFromString(const std::string &text);

// White for dark text colours (weighted luminance below 0.5), black for light ones.
MARQEN_EXPORT MarqenDOMColor svgImport_outlineColorForTextColor(const MarqenDOMColor &color);

}  // namespace marqen
