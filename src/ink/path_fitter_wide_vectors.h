#pragma once
// The loops over a piece's points run several points at once; on processors with wider vectors a copy
// built for them is chosen at load time. Lanes compute exactly what single operations compute (no fused
// multiply-add is enabled), and sums are still added in order, so results are the same on every processor.
// Sanitizer builds keep the one plain copy: the copy is chosen while the program is being relocated, before
// a sanitizer's runtime has started (ThreadSanitizer crashes there), and the plain copy gets tested that way.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_THREAD__) && \
    !defined(__SANITIZE_ADDRESS__)
#define MARQEN_WIDE_VECTORS __attribute__((target_clones("avx2", "default")))
#else
#define MARQEN_WIDE_VECTORS
#endif
