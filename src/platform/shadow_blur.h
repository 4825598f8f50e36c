#pragma once
// Gaussian blur of an 8-bit alpha mask, approximated by three successive box blurs per axis (the
// widths chosen so that the variance equals sigma²). Linear time whatever the radius.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <cstdint>

namespace marqen {

// Blurs width × height samples with `stride` bytes per row in place. The caller leaves a margin
// of MarqenShadowBlurReach(sigma) samples around the content: what would spread past the edges is lost.
void MarqenBlurAlphaMask(uint8_t *pixels, int width, int height, int stride, double sigma);

// How far, in samples, the blur spreads ink (the three box radii added up); 0 when it does nothing.
int MarqenShadowBlurReach(double sigma);

}  // namespace marqen
