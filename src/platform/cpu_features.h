#pragma once
// Which wider vector instructions the processor offers, for the few pixel and path-fitting loops written
// for them.
// Sanitizer builds take the plain loops alone, so that those get tested too.
//
// Threads: safe on any thread.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define MARQEN_AVX2_PATHS 1
#define MARQEN_TARGET_AVX2 __attribute__((target("avx2")))
#endif

namespace marqen {

// Whether loops built for AVX2 may run here: always false without MARQEN_AVX2_PATHS.
bool cpuHasAvx2();

// Whether loops built for AVX-512 (its foundation instructions) may run here: likewise false without
// MARQEN_AVX2_PATHS.
bool cpuHasAvx512f();

}  // namespace marqen
