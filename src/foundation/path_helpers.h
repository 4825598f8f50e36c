#pragma once
// Small operations on MarqenBezierPath used by the line, arrow and shape code.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include "foundation/bezier_path.h"

namespace marqen {

// The point of the first move-to element; the zero point when there is none.
CGPoint MarqenCGPathGetLineStartPoint(const MarqenBezierPath &path);
// The point of the first line-to element; the zero point when there is none.
CGPoint MarqenCGPathGetLineEndPoint(const MarqenBezierPath &path);

void MarqenBezierPathApplyTransform(MarqenBezierPath &path, const CGAffineTransform &transform);
void MarqenBezierPathAppendBezierPath(MarqenBezierPath &path, const MarqenBezierPath &other);
// Starts the path at `point` when it has no current point yet.
void MarqenBezierPathAddLineToPoint(MarqenBezierPath &path, CGPoint point);
bool MarqenBezierPathUsesEvenOddFillRule(const MarqenBezierPath &path);
// A rounded rectangle with the same corner radius in x and y.
MarqenBezierPath MarqenBezierPathForRoundedRectangle(CGRect rect, CGFloat radius);

}  // namespace marqen
