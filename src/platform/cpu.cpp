#include "platform/cpu.h"

#include <cstdlib>
#include <cstring>

namespace vellum::cpu {
namespace {

struct Features {
    bool ssse3 = false;
    bool avx2 = false;
    bool avx512vbmi = false;
};

Features Detect() {
    Features f;
    const char* baseline = std::getenv("VELLUM_CPU_BASELINE");
    if (baseline && *baseline && std::strcmp(baseline, "0") != 0) return f;
#if defined(__x86_64__) && defined(__GNUC__)
    __builtin_cpu_init();
    f.ssse3 = __builtin_cpu_supports("ssse3");
    f.avx2 = __builtin_cpu_supports("avx2");
    f.avx512vbmi = __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vbmi");
#endif
    return f;
}

const Features& Get() {
    static const Features features = Detect();
    return features;
}

}  // namespace

bool HasSsse3() { return Get().ssse3; }
bool HasAvx2() { return Get().avx2; }
bool HasAvx512Vbmi() { return Get().avx512vbmi; }

}  // namespace vellum::cpu
