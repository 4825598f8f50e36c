#pragma once
// Reads the recorded strokes under tests/data/ink: a "width" line, then one "x y" sample per line.
#include <string>
#include <vector>

#include "foundation/geometry.h"

namespace marqen::test {

struct RecordedStroke {
    double width = 0;
    std::vector<CGPoint> samples;
};

RecordedStroke readRecordedStroke(const std::string &name);

// The stroke as the freehand element hands it to the fitter: the samples through the ink filter.
std::vector<CGPoint> filteredStroke(const RecordedStroke &stroke);

}  // namespace marqen::test
