#pragma once
// Points, sizes, rectangles and affine transforms with the semantics of the CoreGraphics
// value types: null and infinite rectangles, standardisation of negative sizes, and the
// row-vector transform convention (x' = a·x + c·y + tx, y' = b·x + d·y + ty).
#include <cmath>
#include <limits>

namespace marqen {

using CGFloat = double;

struct CGPoint {
    CGFloat x = 0, y = 0;
    friend bool operator==(const CGPoint &, const CGPoint &) = default;
};

struct CGSize {
    CGFloat width = 0, height = 0;
    friend bool operator==(const CGSize &, const CGSize &) = default;
};

struct CGRect {
    CGPoint origin;
    CGSize size;
    friend bool operator==(const CGRect &, const CGRect &) = default;
};

struct CGAffineTransform {
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
CGRect CGRectStandardize(CGRect r);
bool CGRectIsNull(CGRect r);
bool CGRectIsInfinite(CGRect r);
bool CGRectIsEmpty(CGRect r);  // null, or zero width or height
bool CGRectEqualToRect(CGRect r1, CGRect r2);  // compares standardised rectangles; two null rects are equal
CGFloat CGRectGetMinX(CGRect r);
CGFloat CGRectGetMidX(CGRect r);
CGFloat CGRectGetMaxX(CGRect r);
CGFloat CGRectGetMinY(CGRect r);
CGFloat CGRectGetMidY(CGRect r);
CGFloat CGRectGetMaxY(CGRect r);
CGFloat CGRectGetWidth(CGRect r);   // absolute width
CGFloat CGRectGetHeight(CGRect r);  // absolute height
CGRect CGRectUnion(CGRect r1, CGRect r2);
CGRect CGRectIntersection(CGRect r1, CGRect r2);  // CGRectNull when they do not meet
bool CGRectIntersectsRect(CGRect r1, CGRect r2);
bool CGRectContainsRect(CGRect r1, CGRect r2);
bool CGRectContainsPoint(CGRect r, CGPoint p);  // half-open: the max edges are outside
CGRect CGRectInset(CGRect r, CGFloat dx, CGFloat dy);
CGRect CGRectOffset(CGRect r, CGFloat dx, CGFloat dy);
CGRect CGRectIntegral(CGRect r);
CGRect CGRectApplyAffineTransform(CGRect r, CGAffineTransform t);

// Transforms
inline constexpr CGAffineTransform CGAffineTransformMake(CGFloat a, CGFloat b, CGFloat c, CGFloat d, CGFloat tx,
                                                         CGFloat ty) {
    return {a, b, c, d, tx, ty};
}
CGAffineTransform CGAffineTransformMakeTranslation(CGFloat tx, CGFloat ty);
CGAffineTransform CGAffineTransformMakeScale(CGFloat sx, CGFloat sy);
CGAffineTransform CGAffineTransformMakeRotation(CGFloat angle);
// t1 then t2.
CGAffineTransform CGAffineTransformConcat(CGAffineTransform t1, CGAffineTransform t2);
// Each prepends the operation: the result applies the operation first, then t.
CGAffineTransform CGAffineTransformTranslate(CGAffineTransform t, CGFloat tx, CGFloat ty);
CGAffineTransform CGAffineTransformScale(CGAffineTransform t, CGFloat sx, CGFloat sy);
CGAffineTransform CGAffineTransformRotate(CGAffineTransform t, CGFloat angle);
// A singular transform is returned unchanged.
CGAffineTransform CGAffineTransformInvert(CGAffineTransform t);
bool CGAffineTransformIsIdentity(CGAffineTransform t);
inline bool CGAffineTransformEqualToTransform(CGAffineTransform t1, CGAffineTransform t2) { return t1 == t2; }
CGPoint CGPointApplyAffineTransform(CGPoint p, CGAffineTransform t);
CGSize CGSizeApplyAffineTransform(CGSize s, CGAffineTransform t);

// Small point arithmetic used throughout the geometry code.
inline CGPoint operator+(CGPoint p, CGPoint q) { return {p.x + q.x, p.y + q.y}; }
inline CGPoint operator-(CGPoint p, CGPoint q) { return {p.x - q.x, p.y - q.y}; }
inline CGPoint operator*(CGPoint p, CGFloat s) { return {p.x * s, p.y * s}; }

}  // namespace marqen
