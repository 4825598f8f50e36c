// Feeds arbitrary bytes to the SVG path data reader and writes the result back out.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "foundation/svg_path/svg_path_parser.h"
#include "foundation/svg_path/svg_path_writer.h"
#include "fuzz_budget.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    marqen::fuzz::useCommandLineBudget();
    std::string_view text(reinterpret_cast<const char *>(data), size);
    marqen::MarqenBezierPath path = marqen::marqen_bezierPathWithSVGString(text);
    marqen::BezierToSvg::pathDataFromCGPath(path);
    return 0;
}
