#pragma once
// Gaussian blur of an 8-bit alpha mask, approximated by three successive box blurs per axis (the
// widths chosen so that the variance equals sigma²). Linear time whatever the radius.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <cstdint>

namespace marqen {

// Blurs width × height samples with `stride` bytes per row in place. The caller leaves a margin
// of about 3·sigma around the content: what would spread past the edges is lost.
void MarqenBlurAlphaMask(uint8_t *pixels, int width, int height, int stride, double sigma);

}  // namespace marqen
