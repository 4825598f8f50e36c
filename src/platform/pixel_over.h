#pragma once
// OVER compositing of spans of premultiplied ARGB32 pixels (native 32-bit words, alpha in the top
// byte) with pixman's rounding, so that the bytes are those pixman, and so Cairo, gives for the same
// operations: each product a·b/255 is rounded as (t + (t >> 8)) >> 8 with t = a·b + 128, and each
// channel's sum saturates at 255.
//
// Threads: functions of their arguments; safe on any thread.
#include <cstdint>

namespace marqen {

// For each of `count` pixels, dst = ink OVER ((color IN mask) OVER dst): a solid premultiplied colour
// seen through an A8 mask, as pixman composites a solid source through an A8 mask, and then the ink
// over it — the bytes of those two composites one after the other, each pixel read and written once.
// A null mask or ink stands for zeros; zero mask bytes and ink pixels leave dst alone.
void overShadowThenInk(uint32_t *dst, const uint8_t *mask, const uint32_t *ink, int count, uint32_t color);

}  // namespace marqen
