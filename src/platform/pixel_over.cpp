#include "platform/pixel_over.h"

#include <algorithm>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace marqen {

namespace {

// a·b/255, rounded as pixman rounds it.
inline uint32_t multiply(uint32_t a, uint32_t b) {
    const uint32_t t = a * b + 0x80;
    return (t + (t >> 8)) >> 8;
}

// Each channel of a pixel times m/255.
inline uint32_t scaled(uint32_t pixel, uint32_t m) {
    uint32_t result = 0;
    for (int shift = 0; shift < 32; shift += 8) result |= multiply((pixel >> shift) & 0xFF, m) << shift;
    return result;
}

// src OVER dst for one pixel: dst·(255 − src alpha)/255 + src, each channel saturating.
inline uint32_t over(uint32_t src, uint32_t dst) {
    const uint32_t inverse = 255 - (src >> 24);
    uint32_t result = 0;
    for (int shift = 0; shift < 32; shift += 8) {
        const uint32_t channel = multiply((dst >> shift) & 0xFF, inverse) + ((src >> shift) & 0xFF);
        result |= std::min(channel, 0xFFu) << shift;
    }
    return result;
}

inline void onePixel(uint32_t *dst, const uint8_t *mask, const uint32_t *ink, int i, uint32_t color) {
    const uint32_t m = mask ? mask[i] : 0, pixel = ink ? ink[i] : 0;
    if (!m && !pixel) return;
    uint32_t d = dst[i];
    if (m) d = over(scaled(color, m), d);
    if (pixel >> 24 == 0xFF) d = pixel;
    else if (pixel) d = over(pixel, d);
    dst[i] = d;
}

#if defined(__SSE2__)
// Four pixels at a time, their channels widened to 16 bits, two pixels per register: the products
// are pixman's (the high half of (a·b + 128)·257), and the sums saturate in the low byte of each lane.
inline __m128i multiply16(__m128i a, __m128i b) {
    const __m128i t = _mm_adds_epu16(_mm_mullo_epi16(a, b), _mm_set1_epi16(0x80));
    return _mm_mulhi_epu16(t, _mm_set1_epi16(0x0101));
}

inline __m128i alphas16(__m128i pixels) {
    return _mm_shufflehi_epi16(_mm_shufflelo_epi16(pixels, _MM_SHUFFLE(3, 3, 3, 3)), _MM_SHUFFLE(3, 3, 3, 3));
}

// src OVER dst for two widened pixels.
inline __m128i over16(__m128i src, __m128i dst) {
    const __m128i inverse = _mm_xor_si128(alphas16(src), _mm_set1_epi16(0xFF));
    return _mm_adds_epu8(src, multiply16(dst, inverse));
}
#endif

}  // namespace

void overShadowThenInk(uint32_t *dst, const uint8_t *mask, const uint32_t *ink, int count, uint32_t color) {
    if (!color) mask = nullptr;  // a colour of zero leaves every pixel as it is
    if (!mask && !ink) return;
    int i = 0;
#if defined(__SSE2__)
    const __m128i zero = _mm_setzero_si128();
    const __m128i color16 = _mm_unpacklo_epi8(_mm_set1_epi32(static_cast<int>(color)), zero);
    for (; i + 4 <= count; i += 4) {
        uint32_t m = 0;
        if (mask) std::memcpy(&m, mask + i, sizeof m);
        const __m128i pixels = ink ? _mm_loadu_si128(reinterpret_cast<const __m128i *>(ink + i)) : zero;
        const int zeroBytes = _mm_movemask_epi8(_mm_cmpeq_epi8(pixels, zero));
        if (!m && zeroBytes == 0xFFFF) continue;
        auto *out = reinterpret_cast<__m128i *>(dst + i);
        // Opaque ink hides whatever lies under it, the shadow too.
        if ((_mm_movemask_epi8(_mm_cmpeq_epi8(pixels, _mm_set1_epi32(-1))) & 0x8888) == 0x8888) {
            _mm_storeu_si128(out, pixels);
            continue;
        }
        const __m128i under = _mm_loadu_si128(out);
        __m128i low = _mm_unpacklo_epi8(under, zero), high = _mm_unpackhi_epi8(under, zero);
        if (m) {
            __m128i m16 = _mm_unpacklo_epi8(_mm_cvtsi32_si128(static_cast<int>(m)), zero);  // m0 m1 m2 m3
            m16 = _mm_unpacklo_epi16(m16, m16);                                                // m0 m0 m1 m1 …
            low = over16(multiply16(color16, _mm_unpacklo_epi32(m16, m16)), low);
            high = over16(multiply16(color16, _mm_unpackhi_epi32(m16, m16)), high);
        }
        if (zeroBytes != 0xFFFF) {
            low = over16(_mm_unpacklo_epi8(pixels, zero), low);
            high = over16(_mm_unpackhi_epi8(pixels, zero), high);
        }
        _mm_storeu_si128(out, _mm_packus_epi16(low, high));
    }
#endif
    for (; i < count; ++i) onePixel(dst, mask, ink, i, color);
}

}  // namespace marqen
