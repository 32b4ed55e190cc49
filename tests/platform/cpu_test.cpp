#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "platform/cpu.h"

// Under VELLUM_CPU_BASELINE the suite runs again with only the plain twins of
// the fast paths; this confirms the switch reached the library.
TEST(CpuFeatures, BaselineSwitchTurnsEveryFastPathOff) {
    const char* baseline = std::getenv("VELLUM_CPU_BASELINE");
    if (baseline && *baseline && std::strcmp(baseline, "0") != 0) {
        EXPECT_FALSE(vellum::cpu::HasSsse3());
        EXPECT_FALSE(vellum::cpu::HasAvx2());
        EXPECT_FALSE(vellum::cpu::HasAvx512Vbmi());
    } else {
        // Every processor with the wider instructions has the narrower ones.
        EXPECT_TRUE(!vellum::cpu::HasAvx512Vbmi() || vellum::cpu::HasAvx2());
        EXPECT_TRUE(!vellum::cpu::HasAvx2() || vellum::cpu::HasSsse3());
    }
}
