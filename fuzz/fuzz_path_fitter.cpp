// Fits arbitrary single-precision points (any bit pattern, NaN and infinities included) with line
// widths from tiny to absurd; the fit must finish without faults.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "ink/path_fitter.h"
#include "fuzz_budget.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    marqen::fuzz::useCommandLineBudget();
    if (size < 1) return 0;
    static const float kWidths[] = {0.0f, 0.5f, 3.0f, 12.0f, 1e6f, -2.0f,
                                    std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()};
    float width = kWidths[data[0] % (sizeof kWidths / sizeof kWidths[0])];
    size_t count = (size - 1) / (2 * sizeof(float));
    if (count == 0) return 0;
    std::vector<float> pts(count * 2);
    std::memcpy(pts.data(), data + 1, count * 2 * sizeof(float));
    marqen::MarqenPathFitter fitter(pts.data(), static_cast<int32_t>(count), width);
    fitter.path();
    return 0;
}
