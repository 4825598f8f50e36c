#include "ink/stroke_fixture.h"

#include <sstream>
#include <stdexcept>

#include "ink/rite_point_filter.h"
#include "support/test_support.h"

namespace marqen::test {

RecordedStroke readRecordedStroke(const std::string &name) {
    std::istringstream in(readFile(sourceDir() / "tests/data/ink" / (name + ".stroke")));
    RecordedStroke stroke;
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream fields(line);
        if (line.rfind("width", 0) == 0) {
            std::string word;
            fields >> word >> stroke.width;
            continue;
        }
        CGPoint p;
        if (!(fields >> p.x >> p.y)) throw std::runtime_error("bad sample line in " + name + ": " + line);
        stroke.samples.push_back(p);
    }
    return stroke;
}

std::vector<CGPoint> filteredStroke(const RecordedStroke &stroke) {
    MarqenRitePointFilter filter;
    for (const CGPoint &sample : stroke.samples) filter.filterPoint(sample);
    return filter.filteredPoints();
}

}  // namespace marqen::test
