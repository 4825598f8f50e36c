// Feeds arbitrary bytes to the legacy .marqen import (as a file), to its path data reader and to its
// colour reader.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "dom/document.h"
#include "formats/legacy_svg_import.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::string text(reinterpret_cast<const char *>(data), size);
    marqen::svgImport_bezierPathFromSVGPathNodeDAttr(text);
    marqen::svgImport_colorFromString(text);

    static const std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("fuzz_legacy_svg_" + std::to_string(getpid()) + ".marqen");
    {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out.write(text.data(), static_cast<std::streamsize>(text.size()));
    }
    marqen::MarqenError error;
    auto document = marqen::MarqenLegacySVGConvertDocumentAtURL(path, &error);
    if (document) document->dictionaryRepresentation();
    std::filesystem::remove(path);
    return 0;
}
