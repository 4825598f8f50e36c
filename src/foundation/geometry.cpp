#include "foundation/geometry.h"

#include <algorithm>

namespace marqen {

CGRect CGRectStandardize(CGRect r) {
    if (CGRectIsNull(r)) return r;
    if (r.size.width < 0) {
        r.origin.x += r.size.width;
        r.size.width = -r.size.width;
    }
    if (r.size.height < 0) {
        r.origin.y += r.size.height;
        r.size.height = -r.size.height;
    }
    return r;
}

bool CGRectIsNull(CGRect r) { return std::isinf(r.origin.x) || std::isinf(r.origin.y); }
bool CGRectIsInfinite(CGRect r) { return r == CGRectInfinite; }
bool CGRectIsEmpty(CGRect r) { return CGRectIsNull(r) || r.size.width == 0 || r.size.height == 0; }

bool CGRectEqualToRect(CGRect r1, CGRect r2) {
    if (CGRectIsNull(r1) || CGRectIsNull(r2)) return CGRectIsNull(r1) && CGRectIsNull(r2);
    return CGRectStandardize(r1) == CGRectStandardize(r2);
}

CGFloat CGRectGetMinX(CGRect r) { return CGRectStandardize(r).origin.x; }
CGFloat CGRectGetMinY(CGRect r) { return CGRectStandardize(r).origin.y; }
CGFloat CGRectGetWidth(CGRect r) { return std::fabs(r.size.width); }
CGFloat CGRectGetHeight(CGRect r) { return std::fabs(r.size.height); }
CGFloat CGRectGetMaxX(CGRect r) { return CGRectGetMinX(r) + CGRectGetWidth(r); }
CGFloat CGRectGetMaxY(CGRect r) { return CGRectGetMinY(r) + CGRectGetHeight(r); }
CGFloat CGRectGetMidX(CGRect r) { return CGRectGetMinX(r) + CGRectGetWidth(r) / 2; }
CGFloat CGRectGetMidY(CGRect r) { return CGRectGetMinY(r) + CGRectGetHeight(r) / 2; }

CGRect CGRectUnion(CGRect r1, CGRect r2) {
    if (CGRectIsNull(r1)) return CGRectStandardize(r2);
    if (CGRectIsNull(r2)) return CGRectStandardize(r1);
    r1 = CGRectStandardize(r1);
    r2 = CGRectStandardize(r2);
    CGFloat minX = std::min(r1.origin.x, r2.origin.x);
    CGFloat minY = std::min(r1.origin.y, r2.origin.y);
    CGFloat maxX = std::max(r1.origin.x + r1.size.width, r2.origin.x + r2.size.width);
    CGFloat maxY = std::max(r1.origin.y + r1.size.height, r2.origin.y + r2.size.height);
    return CGRectMake(minX, minY, maxX - minX, maxY - minY);
}

CGRect CGRectIntersection(CGRect r1, CGRect r2) {
    if (CGRectIsNull(r1) || CGRectIsNull(r2)) return CGRectNull;
    r1 = CGRectStandardize(r1);
    r2 = CGRectStandardize(r2);
    CGFloat minX = std::max(r1.origin.x, r2.origin.x);
    CGFloat minY = std::max(r1.origin.y, r2.origin.y);
    CGFloat maxX = std::min(r1.origin.x + r1.size.width, r2.origin.x + r2.size.width);
    CGFloat maxY = std::min(r1.origin.y + r1.size.height, r2.origin.y + r2.size.height);
    if (maxX < minX || maxY < minY) return CGRectNull;
    return CGRectMake(minX, minY, maxX - minX, maxY - minY);
}

bool CGRectIntersectsRect(CGRect r1, CGRect r2) {
    if (CGRectIsNull(r1) || CGRectIsNull(r2)) return false;
    r1 = CGRectStandardize(r1);
    r2 = CGRectStandardize(r2);
    return r1.origin.x < r2.origin.x + r2.size.width && r2.origin.x < r1.origin.x + r1.size.width &&
           r1.origin.y < r2.origin.y + r2.size.height && r2.origin.y < r1.origin.y + r1.size.height;
}

bool CGRectContainsRect(CGRect r1, CGRect r2) {
    if (CGRectIsNull(r1) || CGRectIsNull(r2)) return false;
    r1 = CGRectStandardize(r1);
    r2 = CGRectStandardize(r2);
    return r2.origin.x >= r1.origin.x && r2.origin.y >= r1.origin.y &&
           r2.origin.x + r2.size.width <= r1.origin.x + r1.size.width &&
           r2.origin.y + r2.size.height <= r1.origin.y + r1.size.height;
}

bool CGRectContainsPoint(CGRect r, CGPoint p) {
    if (CGRectIsNull(r)) return false;
    r = CGRectStandardize(r);
    return p.x >= r.origin.x && p.x < r.origin.x + r.size.width && p.y >= r.origin.y &&
           p.y < r.origin.y + r.size.height;
}

CGRect CGRectInset(CGRect r, CGFloat dx, CGFloat dy) {
    if (CGRectIsNull(r)) return r;
    r = CGRectStandardize(r);
    r.origin.x += dx;
    r.origin.y += dy;
    r.size.width -= 2 * dx;
    r.size.height -= 2 * dy;
    if (r.size.width < 0 || r.size.height < 0) return CGRectNull;
    return r;
}

CGRect CGRectOffset(CGRect r, CGFloat dx, CGFloat dy) {
    if (CGRectIsNull(r)) return r;
    r = CGRectStandardize(r);
    r.origin.x += dx;
    r.origin.y += dy;
    return r;
}

CGRect CGRectIntegral(CGRect r) {
    if (CGRectIsNull(r) || CGRectIsInfinite(r)) return r;
    r = CGRectStandardize(r);
    CGFloat minX = std::floor(r.origin.x), minY = std::floor(r.origin.y);
    CGFloat maxX = std::ceil(r.origin.x + r.size.width), maxY = std::ceil(r.origin.y + r.size.height);
    return CGRectMake(minX, minY, maxX - minX, maxY - minY);
}

CGRect CGRectApplyAffineTransform(CGRect r, CGAffineTransform t) {
    if (CGRectIsNull(r) || CGRectIsInfinite(r)) return r;
    r = CGRectStandardize(r);
    CGPoint corners[4] = {r.origin,
                          {r.origin.x + r.size.width, r.origin.y},
                          {r.origin.x, r.origin.y + r.size.height},
                          {r.origin.x + r.size.width, r.origin.y + r.size.height}};
    CGFloat minX = INFINITY, minY = INFINITY, maxX = -INFINITY, maxY = -INFINITY;
    for (CGPoint corner : corners) {
        CGPoint p = CGPointApplyAffineTransform(corner, t);
        minX = std::min(minX, p.x);
        minY = std::min(minY, p.y);
        maxX = std::max(maxX, p.x);
        maxY = std::max(maxY, p.y);
    }
    return CGRectMake(minX, minY, maxX - minX, maxY - minY);
}

CGAffineTransform CGAffineTransformMakeTranslation(CGFloat tx, CGFloat ty) { return {1, 0, 0, 1, tx, ty}; }
CGAffineTransform CGAffineTransformMakeScale(CGFloat sx, CGFloat sy) { return {sx, 0, 0, sy, 0, 0}; }
CGAffineTransform CGAffineTransformMakeRotation(CGFloat angle) {
    CGFloat s = std::sin(angle), c = std::cos(angle);
    return {c, s, -s, c, 0, 0};
}

CGAffineTransform CGAffineTransformConcat(CGAffineTransform t1, CGAffineTransform t2) {
    return {t1.a * t2.a + t1.b * t2.c,
            t1.a * t2.b + t1.b * t2.d,
            t1.c * t2.a + t1.d * t2.c,
            t1.c * t2.b + t1.d * t2.d,
            t1.tx * t2.a + t1.ty * t2.c + t2.tx,
            t1.tx * t2.b + t1.ty * t2.d + t2.ty};
}

CGAffineTransform CGAffineTransformTranslate(CGAffineTransform t, CGFloat tx, CGFloat ty) {
    return CGAffineTransformConcat(CGAffineTransformMakeTranslation(tx, ty), t);
}
CGAffineTransform CGAffineTransformScale(CGAffineTransform t, CGFloat sx, CGFloat sy) {
    return CGAffineTransformConcat(CGAffineTransformMakeScale(sx, sy), t);
}
CGAffineTransform CGAffineTransformRotate(CGAffineTransform t, CGFloat angle) {
    return CGAffineTransformConcat(CGAffineTransformMakeRotation(angle), t);
}

CGAffineTransform CGAffineTransformInvert(CGAffineTransform t) {
    CGFloat det = t.a * t.d - t.b * t.c;
    if (det == 0 || !std::isfinite(det)) return t;
    return {t.d / det,
            -t.b / det,
            -t.c / det,
            t.a / det,
            (t.c * t.ty - t.d * t.tx) / det,
            (t.b * t.tx - t.a * t.ty) / det};
}

bool CGAffineTransformIsIdentity(CGAffineTransform t) { return t == CGAffineTransformIdentity; }

CGPoint CGPointApplyAffineTransform(CGPoint p, CGAffineTransform t) {
    return {t.a * p.x + t.c * p.y + t.tx, t.b * p.x + t.d * p.y + t.ty};
}

CGSize CGSizeApplyAffineTransform(CGSize s, CGAffineTransform t) {
    return {t.a * s.width + t.c * s.height, t.b * s.width + t.d * s.height};
}

}  // namespace marqen
