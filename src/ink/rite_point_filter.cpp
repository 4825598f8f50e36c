#include "ink/rite_point_filter.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>

namespace marqen {

namespace {

// Double to 32-bit integer, rounding toward zero. Values out of range saturate and NaN gives 0,
// so that hostile coordinates stay defined.
int32_t trunc32(double value) {
    if (std::isnan(value)) return 0;
    if (value >= 2147483647.0) return std::numeric_limits<int32_t>::max();
    if (value <= -2147483648.0) return std::numeric_limits<int32_t>::min();
    return static_cast<int32_t>(value);
}

// 32-bit two's-complement addition and subtraction (wrapping, as the fixed-point hardware would).
int32_t add32(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
int32_t sub32(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

struct Samples {
    int32_t s[3];
};

// Three fixed-point samples from the smoothed previous sample `p1`, the previous input `p2` and the new
// input `p`: one a third of the way from p1 to p2, then two that move a third of the way toward the
// points at one and two thirds from p2 to p.
Samples smoothedSamples(double p1, double p2, double p) {
    Samples out;
    double step = p - p2;
    out.s[0] = trunc32(p1 + (p2 - p1) / 3);
    out.s[1] = add32(out.s[0], sub32(trunc32(p2 + step / 3), out.s[0]) / 3);
    out.s[2] = add32(out.s[1], sub32(trunc32(p2 + (step + step) / 3), out.s[1]) / 3);
    return out;
}

// Fixed point back to input units: add 4, divide by 9 toward zero.
int32_t fromFixedPoint(int32_t value) { return add32(value, 4) / 9; }

}  // namespace

std::vector<CGPoint> MarqenRitePointFilter::filterPoint(CGPoint point) {
    double X = 9 * point.x, Y = 9 * point.y;
    std::vector<CGPoint> emitted;
    if (filteredPoints_.empty()) {
        x1pt_ = x2pt_ = x3pt_ = X;
        y1pt_ = y2pt_ = y3pt_ = Y;
        xLast_ = trunc32(point.x);
        yLast_ = trunc32(point.y);
        emitted.push_back({xLast_, yLast_});
        filteredPoints_.push_back(emitted.back());
        return emitted;
    }
    Samples a = smoothedSamples(x1pt_, x2pt_, X);
    Samples b = smoothedSamples(y1pt_, y2pt_, Y);
    x1pt_ = a.s[2];
    x2pt_ = x3pt_ = X;
    y1pt_ = b.s[2];
    y2pt_ = y3pt_ = Y;
    for (int i = 0; i < 3; ++i) {
        int32_t P = fromFixedPoint(a.s[i]), Q = fromFixedPoint(b.s[i]);
        int64_t dx = trunc32(P - xLast_), dy = trunc32(Q - yLast_);
        if (std::llabs(dx) + std::llabs(dy) < 2) continue;
        xLast_ = P;
        yLast_ = Q;
        emitted.push_back({xLast_, yLast_});
        filteredPoints_.push_back(emitted.back());
    }
    return emitted;
}

}  // namespace marqen
