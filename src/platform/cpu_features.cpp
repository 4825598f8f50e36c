#include "platform/cpu_features.h"

namespace marqen {

bool cpuHasAvx2() {
#if defined(MARQEN_AVX2_PATHS)
    static const bool has = __builtin_cpu_supports("avx2");
    return has;
#else
    return false;
#endif
}

bool cpuHasAvx512f() {
#if defined(MARQEN_AVX2_PATHS)
    static const bool has = __builtin_cpu_supports("avx512f");
    return has;
#else
    return false;
#endif
}

}  // namespace marqen
