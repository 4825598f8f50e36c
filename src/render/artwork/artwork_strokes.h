#pragma once
// Small drawing shorthands shared by the interface artwork (stamps, tool icons, glyphs, cursors):
// circles, polylines, and filling or stroking a path in one colour with round ends.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <initializer_list>

#include "foundation/bezier_path.h"
#include "platform/graphics.h"

namespace marqen::artwork {

constexpr MarqenRGBAColor rgb(int r, int g, int b, CGFloat a = 1) { return {r / 255.0, g / 255.0, b / 255.0, a}; }

MarqenBezierPath circle(CGPoint centre, CGFloat radius);
MarqenBezierPath polyline(std::initializer_list<CGPoint> points, bool closed = false);
void fill(MarqenGraphicsContext &context, const MarqenBezierPath &path, const MarqenRGBAColor &color);
// Round caps and joins.
void stroke(MarqenGraphicsContext &context, const MarqenBezierPath &path, const MarqenRGBAColor &color, CGFloat width);

}  // namespace marqen::artwork
