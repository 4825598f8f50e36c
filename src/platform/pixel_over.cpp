#include "platform/pixel_over.h"

#include <algorithm>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#include "platform/cpu_features.h"
// Processors with AVX2 take eight pixels at a time.
#if defined(MARQEN_AVX2_PATHS)
#include <immintrin.h>
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

namespace {

#if defined(__SSE2__)
// Four pixels: the shadow (when Shadowed) and then the ink (when Inked) over them. Pixels without
// either are not read: their target lines need not be fetched.
template <bool Shadowed, bool Inked>
inline void fourPixels(uint32_t *dst, const uint8_t *mask, const uint32_t *ink, __m128i color16) {
    const __m128i zero = _mm_setzero_si128();
    uint32_t m = 0;
    if (Shadowed) std::memcpy(&m, mask, sizeof m);
    const __m128i pixels = Inked ? _mm_loadu_si128(reinterpret_cast<const __m128i *>(ink)) : zero;
    if (Inked) {
        if (!m && _mm_movemask_epi8(_mm_cmpeq_epi8(pixels, zero)) == 0xFFFF) return;
    } else if (!m) {
        return;
    }
    auto *out = reinterpret_cast<__m128i *>(dst);
    // Opaque ink hides whatever lies under it, the shadow too.
    if (Inked && (_mm_movemask_epi8(_mm_cmpeq_epi8(pixels, _mm_set1_epi32(-1))) & 0x8888) == 0x8888) {
        _mm_storeu_si128(out, pixels);
        return;
    }
    const __m128i under = _mm_loadu_si128(out);
    __m128i low = _mm_unpacklo_epi8(under, zero), high = _mm_unpackhi_epi8(under, zero);
    // A mask or ink of zero changes nothing in the sums below (x·255/255 is x exactly): no branches.
    if (Shadowed) {
        __m128i m16 = _mm_unpacklo_epi8(_mm_cvtsi32_si128(static_cast<int>(m)), zero);  // m0 m1 m2 m3
        m16 = _mm_unpacklo_epi16(m16, m16);                                                // m0 m0 m1 m1 …
        low = over16(multiply16(color16, _mm_unpacklo_epi32(m16, m16)), low);
        high = over16(multiply16(color16, _mm_unpackhi_epi32(m16, m16)), high);
    }
    if (Inked) {
        low = over16(_mm_unpacklo_epi8(pixels, zero), low);
        high = over16(_mm_unpackhi_epi8(pixels, zero), high);
    }
    _mm_storeu_si128(out, _mm_packus_epi16(low, high));
}

template <bool Shadowed, bool Inked>
int fourPixelSteps(uint32_t *dst, const uint8_t *mask, const uint32_t *ink, int count, uint32_t color) {
    const __m128i color16 = _mm_unpacklo_epi8(_mm_set1_epi32(static_cast<int>(color)), _mm_setzero_si128());
    int i = 0;
    for (; i + 4 <= count; i += 4)
        fourPixels<Shadowed, Inked>(dst + i, Shadowed ? mask + i : nullptr, Inked ? ink + i : nullptr, color16);
    return i;
}
#endif

#if defined(MARQEN_AVX2_PATHS)
// The four-pixel steps' arithmetic on eight pixels: the low register holds pixels 0, 1, 4 and 5
// widened, the high one 2, 3, 6 and 7 (AVX2 widens within each 128-bit half).
MARQEN_TARGET_AVX2 inline __m256i multiply256(__m256i a, __m256i b) {
    const __m256i t = _mm256_adds_epu16(_mm256_mullo_epi16(a, b), _mm256_set1_epi16(0x80));
    return _mm256_mulhi_epu16(t, _mm256_set1_epi16(0x0101));
}

MARQEN_TARGET_AVX2 inline __m256i over256(__m256i src, __m256i dst) {
    const __m256i alphas =
        _mm256_shufflehi_epi16(_mm256_shufflelo_epi16(src, _MM_SHUFFLE(3, 3, 3, 3)), _MM_SHUFFLE(3, 3, 3, 3));
    return _mm256_adds_epu8(src, multiply256(dst, _mm256_xor_si256(alphas, _mm256_set1_epi16(0xFF))));
}

template <bool Shadowed, bool Inked>
MARQEN_TARGET_AVX2 int eightPixelSteps(uint32_t *dst, const uint8_t *mask, const uint32_t *ink, int count, uint32_t color) {
    const __m256i zero = _mm256_setzero_si256();
    const __m256i color16 = _mm256_unpacklo_epi8(_mm256_set1_epi32(static_cast<int>(color)), zero);
    int i = 0;
    for (; i + 8 <= count; i += 8) {
        uint64_t m = 0;
        if (Shadowed) std::memcpy(&m, mask + i, sizeof m);
        const __m256i pixels = Inked ? _mm256_loadu_si256(reinterpret_cast<const __m256i *>(ink + i)) : zero;
        if (Inked) {
            if (!m && _mm256_testz_si256(pixels, pixels)) continue;
        } else if (!m) {
            continue;
        }
        auto *out = reinterpret_cast<__m256i *>(dst + i);
        if (Inked && (static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(pixels, _mm256_set1_epi32(-1)))) &
                      0x88888888u) == 0x88888888u) {
            _mm256_storeu_si256(out, pixels);
            continue;
        }
        const __m256i under = _mm256_loadu_si256(out);
        __m256i low = _mm256_unpacklo_epi8(under, zero), high = _mm256_unpackhi_epi8(under, zero);
        if (Shadowed) {
            // Each mask byte in a 32-bit lane, twice: m | m << 16; then per pixel four 16-bit copies.
            const __m256i m32 = _mm256_mullo_epi32(_mm256_cvtepu8_epi32(_mm_cvtsi64_si128(static_cast<long long>(m))),
                                                   _mm256_set1_epi32(0x00010001));
            low = over256(multiply256(color16, _mm256_unpacklo_epi32(m32, m32)), low);
            high = over256(multiply256(color16, _mm256_unpackhi_epi32(m32, m32)), high);
        }
        if (Inked) {
            low = over256(_mm256_unpacklo_epi8(pixels, zero), low);
            high = over256(_mm256_unpackhi_epi8(pixels, zero), high);
        }
        _mm256_storeu_si256(out, _mm256_packus_epi16(low, high));
    }
    return i;
}
#endif

}  // namespace

void overShadowThenInk(uint32_t *dst, const uint8_t *mask, const uint32_t *ink, int count, uint32_t color) {
    if (!color) mask = nullptr;  // a colour of zero leaves every pixel as it is
    int i = 0;
#if defined(MARQEN_AVX2_PATHS)
    if (cpuHasAvx2()) {
        if (mask && ink) i = eightPixelSteps<true, true>(dst, mask, ink, count, color);
        else if (mask) i = eightPixelSteps<true, false>(dst, mask, ink, count, color);
        else if (ink) i = eightPixelSteps<false, true>(dst, mask, ink, count, color);
        dst += i, count -= i;
        if (mask) mask += i;
        if (ink) ink += i;
        i = 0;
    }
#endif
#if defined(__SSE2__)
    if (mask && ink) i = fourPixelSteps<true, true>(dst, mask, ink, count, color);
    else if (mask) i = fourPixelSteps<true, false>(dst, mask, ink, count, color);
    else if (ink) i = fourPixelSteps<false, true>(dst, mask, ink, count, color);
#endif
    if (!mask && !ink) return;
    for (; i < count; ++i) onePixel(dst, mask, ink, i, color);
}

}  // namespace marqen
