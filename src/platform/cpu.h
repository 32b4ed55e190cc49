// Processor features behind the hot loops' fast paths. Internal to the library.
//
// Every fast path has a plain twin that gives the same bytes; these queries
// choose between them. The answers are worked out once per process. When the
// environment variable VELLUM_CPU_BASELINE is set (to anything but "0") at
// that moment, every query answers false and only the plain twins run: the
// test suite runs its comparisons that way too, so the twins are checked on
// any machine.
#pragma once

namespace vellum::cpu {

bool HasSsse3();
bool HasAvx2();
// AVX-512 byte and word instructions together with byte permutes (VBMI).
bool HasAvx512Vbmi();

}  // namespace vellum::cpu
