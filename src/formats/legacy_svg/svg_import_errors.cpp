#include "formats/legacy_svg_import.h"

namespace marqen {

namespace {
MarqenError makeError(long code, const char *description) {
    MarqenError error;
    error.domain = kMarqenCompositionSVGImportErrorDomain;
    error.code = code;
    error.userInfo = nlohmann::ordered_json::object();
    error.userInfo[kMarqenLocalizedDescriptionKey] = description;
    return error;
}
}  // namespace

MarqenError MarqenCompositionSVGImportError::unknownError() {
    return makeError(kMarqenCompositionSVGImportUnknownError, "MarqenKit Composition SVG Import Unknown error");
}

MarqenError MarqenCompositionSVGImportError::wrongFileFormat() {
    return makeError(kMarqenCompositionSVGImportWrongFileFormat, "Wrong file format error");
}

MarqenError MarqenCompositionSVGImportError::dataInconsistency() {
    return makeError(kMarqenCompositionSVGImportDataInconsistency, "Inconsistent data error");
}

}  // namespace marqen
