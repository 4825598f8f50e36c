#pragma once
// Points, sizes, rectangles and affine transforms with the semantics of the CoreGraphics
// value types: null and infinite rectangles, standardisation of negative sizes, and the
// row-vector transform convention (x' = a·x + c·y + tx, y' = b·x + d·y + ty).
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <cmath>
#include <limits>

#include "../export.h"

namespace marqen {

using CGFloat = double;

struct MARQEN_EXPORT CGPoint {
    CGFloat x = 0, y = 0;
    friend bool operator==(const CGPoint &, const CGPoint &) = default;
};

struct MARQEN_EXPORT CGSize {
    CGFloat width = 0, height = 0;
    friend bool operator==(const CGSize &, const CGSize &) = default;
};

struct MARQEN_EXPORT CGRect {
    CGPoint origin;
    CGSize size;
    friend bool operator==(const CGRect &, const CGRect &) = default;
};

struct MARQEN_EXPORT CGAffineTransform {
    CGFloat a = 1, b = 0, c = 0, d = 1, tx = 0, ty = 0;
    friend bool operator==(const CGAffineTransform &, const CGAffineTransform &) = default;
};

inline constexpr CGPoint CGPointZero{0, 0};
inline constexpr CGSize CGSizeZero{0, 0};
inline constexpr CGRect CGRectZero{{0, 0}, {0, 0}};
inline constexpr CGRect CGRectNull{{std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity()},
                                   {0, 0}};
inline constexpr CGRect CGRectInfinite{
    {-std::numeric_limits<double>::max() / 2, -std::numeric_limits<double>::max() / 2},
    {std::numeric_limits<double>::max(), std::numeric_limits<double>::max()}};
inline constexpr CGAffineTransform CGAffineTransformIdentity{1, 0, 0, 1, 0, 0};

inline constexpr CGPoint CGPointMake(CGFloat x, CGFloat y) { return {x, y}; }
inline constexpr CGSize CGSizeMake(CGFloat w, CGFloat h) { return {w, h}; }
inline constexpr CGRect CGRectMake(CGFloat x, CGFloat y, CGFloat w, CGFloat h) { return {{x, y}, {w, h}}; }
inline bool CGPointEqualToPoint(CGPoint p, CGPoint q) { return p == q; }
inline bool CGSizeEqualToSize(CGSize s, CGSize t) { return s == t; }

// Rectangles
MARQEN_EXPORT CGRect CGRectStandardize(CGRect r);
MARQEN_EXPORT bool CGRectIsNull(CGRect r);
MARQEN_EXPORT bool CGRectIsInfinite(CGRect r);
MARQEN_EXPORT bool CGRectIsEmpty(CGRect r);  // null, or zero width or height
MARQEN_EXPORT bool CGRectEqualToRect(CGRect r1, CGRect r2);  // compares standardised rectangles; two null rects are equal
MARQEN_EXPORT CGFloat CGRectGetMinX(CGRect r);
MARQEN_EXPORT CGFloat CGRectGetMidX(CGRect r);
MARQEN_EXPORT CGFloat CGRectGetMaxX(CGRect r);
MARQEN_EXPORT CGFloat CGRectGetMinY(CGRect r);
MARQEN_EXPORT CGFloat CGRectGetMidY(CGRect r);
MARQEN_EXPORT CGFloat CGRectGetMaxY(CGRect r);
MARQEN_EXPORT CGFloat CGRectGetWidth(CGRect r);   // absolute width
MARQEN_EXPORT CGFloat CGRectGetHeight(CGRect r);  // absolute height
MARQEN_EXPORT CGRect CGRectUnion(CGRect r1, CGRect r2);
MARQEN_EXPORT CGRect CGRectIntersection(CGRect r1, CGRect r2);  // CGRectNull when they do not meet
MARQEN_EXPORT bool CGRectIntersectsRect(CGRect r1, CGRect r2);
MARQEN_EXPORT bool CGRectContainsRect(CGRect r1, CGRect r2);
MARQEN_EXPORT bool CGRectContainsPoint(CGRect r, CGPoint p);  // half-open: the max edges are outside
MARQEN_EXPORT CGRect CGRectInset(CGRect r, CGFloat dx, CGFloat dy);
MARQEN_EXPORT CGRect CGRectOffset(CGRect r, CGFloat dx, CGFloat dy);
MARQEN_EXPORT CGRect CGRectIntegral(CGRect r);
MARQEN_EXPORT CGRect CGRectApplyAffineTransform(CGRect r, CGAffineTransform t);

// Transforms
inline constexpr CGAffineTransform CGAffineTransformMake(CGFloat a, CGFloat b, CGFloat c, CGFloat d, CGFloat tx,
                                                         CGFloat ty) {
    return {a, b, c, d, tx, ty};
}
MARQEN_EXPORT CGAffineTransform CGAffineTransformMakeTranslation(CGFloat tx, CGFloat ty);
MARQEN_EXPORT CGAffineTransform CGAffineTransformMakeScale(CGFloat sx, CGFloat sy);
MARQEN_EXPORT CGAffineTransform CGAffineTransformMakeRotation(CGFloat angle);
// t1 then t2.
MARQEN_EXPORT CGAffineTransform CGAffineTransformConcat(CGAffineTransform t1, CGAffineTransform t2);
// Each prepends the operation: the result applies the operation first, then t.
MARQEN_EXPORT CGAffineTransform CGAffineTransformTranslate(CGAffineTransform t, CGFloat tx, CGFloat ty);
MARQEN_EXPORT CGAffineTransform CGAffineTransformScale(CGAffineTransform t, CGFloat sx, CGFloat sy);
MARQEN_EXPORT CGAffineTransform CGAffineTransformRotate(CGAffineTransform t, CGFloat angle);
// A singular transform is returned unchanged.
MARQEN_EXPORT CGAffineTransform CGAffineTransformInvert(CGAffineTransform t);
MARQEN_EXPORT bool CGAffineTransformIsIdentity(CGAffineTransform t);
inline bool CGAffineTransformEqualToTransform(CGAffineTransform t1, CGAffineTransform t2) { return t1 == t2; }
MARQEN_EXPORT CGPoint CGPointApplyAffineTransform(CGPoint p, CGAffineTransform t);
MARQEN_EXPORT CGSize CGSizeApplyAffineTransform(CGSize s, CGAffineTransform t);

// Small point arithmetic used throughout the geometry code.
inline CGPoint operator+(CGPoint p, CGPoint q) { return {p.x + q.x, p.y + q.y}; }
inline CGPoint operator-(CGPoint p, CGPoint q) { return {p.x - q.x, p.y - q.y}; }
inline CGPoint operator*(CGPoint p, CGFloat s) { return {p.x * s, p.y * s}; }

}  // namespace marqen
