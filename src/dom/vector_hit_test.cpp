#include "dom/vector_hit_test.h"

#include <algorithm>
#include <cmath>

namespace marqen {

namespace {

// Liang–Barsky clipping: does the segment a→b meet the rectangle [x0, x1] × [y0, y1]?
bool segmentMeetsBox(CGPoint a, CGPoint b, CGFloat x0, CGFloat y0, CGFloat x1, CGFloat y1) {
    CGFloat t0 = 0, t1 = 1;
    const CGFloat dx = b.x - a.x, dy = b.y - a.y;
    const CGFloat p[4] = {-dx, dx, -dy, dy};
    const CGFloat q[4] = {a.x - x0, x1 - a.x, a.y - y0, y1 - a.y};
    for (int i = 0; i < 4; ++i) {
        if (p[i] == 0) {
            if (q[i] < 0) return false;  // parallel to this edge and outside it
            continue;
        }
        CGFloat t = q[i] / p[i];
        if (p[i] < 0)
            t0 = std::max(t0, t);
        else
            t1 = std::min(t1, t);
        if (t0 > t1) return false;
    }
    return true;
}

}  // namespace

bool MarqenDOMVectorPathIntersectsRect(const MarqenBezierPath &path, CGRect rect, bool filled) {
    if (CGRectIsEmpty(rect)) return false;
    rect = CGRectStandardize(rect);
    CGRect box = path.bounds();
    if (CGRectIsNull(box) || !CGRectIntersectsRect(box, rect)) return false;
    if (CGRectContainsRect(rect, box)) return true;
    const CGFloat x0 = CGRectGetMinX(rect) - 0.5, x1 = CGRectGetMaxX(rect) + 0.5;
    const CGFloat y0 = CGRectGetMinY(rect) - 0.5, y1 = CGRectGetMaxY(rect) + 0.5;
    for (const auto &polyline : path.flattened(0.1)) {
        if (polyline.size() == 1 && segmentMeetsBox(polyline[0], polyline[0], x0, y0, x1, y1)) return true;
        for (size_t i = 0; i + 1 < polyline.size(); ++i)
            if (segmentMeetsBox(polyline[i], polyline[i + 1], x0, y0, x1, y1)) return true;
    }
    if (!filled) return false;
    const CGPoint probes[5] = {{CGRectGetMidX(rect), CGRectGetMidY(rect)},
                               {CGRectGetMinX(rect), CGRectGetMinY(rect)},
                               {CGRectGetMaxX(rect), CGRectGetMinY(rect)},
                               {CGRectGetMaxX(rect), CGRectGetMaxY(rect)},
                               {CGRectGetMinX(rect), CGRectGetMaxY(rect)}};
    for (CGPoint probe : probes)
        if (path.containsPoint(probe, MarqenWindingRule::NonZero)) return true;
    return false;
}

}  // namespace marqen
