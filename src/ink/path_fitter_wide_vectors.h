#pragma once
// The loops over a piece's points run several points at once; on processors with wider vectors a copy
// built for them runs instead: the AVX2 copies are chosen at load time, the AVX-512 copy at the call, for
// long pieces only. Lanes compute exactly what single operations compute (no fused multiply-add: the file
// with the AVX-512 copy is built with -ffp-contract=off, as that target offers it), and sums are still
// added in order, so results are the same on every processor.
// Whether such copies exist is decided with the pixel loops' (platform/cpu_features.h): sanitizer builds
// keep the one plain copy, which gets tested that way (the AVX2 copy is chosen while the program is being
// relocated, before a sanitizer's runtime has started, where ThreadSanitizer crashes); clang builds, the
// fuzz targets among them, keep it too.
#include "platform/cpu_features.h"

#if defined(MARQEN_AVX2_PATHS) && !defined(__clang__)
#define MARQEN_WIDE_VECTORS __attribute__((target_clones("avx2", "default")))
// Callers take a MARQEN_TARGET_AVX512 copy only when cpuHasAvx512f() says so.
#define MARQEN_AVX512_COPIES 1
#define MARQEN_TARGET_AVX512 __attribute__((target("avx512f")))
#else
#define MARQEN_WIDE_VECTORS
#endif

#if defined(MARQEN_AVX512_COPIES)
namespace marqen {

// Whether a pass over the points s..e takes its AVX-512 copy: eight lanes are quicker than four from
// about 32 points on; on fewer, their longer loop set-up and remainders cost more than they save.
inline bool pathFitterPassUsesAvx512(int s, int e) {
    constexpr int kAvx512Minimum = 32;
    return e - s >= kAvx512Minimum && cpuHasAvx512f();
}

}  // namespace marqen
#endif
