// Maps bytes through a 256-entry table, the last step of the histogram and
// tone operations. Internal to the library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/windows_types.h"

namespace vellum::effects {

// dst[i] = table[src[i]] for n bytes; src and dst are the same block or do
// not overlap. Built once per operation and applied row by row: processors
// with byte permutes look the table up 64 bytes at a time, others through a
// table of byte pairs (one lookup per 16-bit load). allowPermute false
// forces the second way, so that tests reach it on any processor.
class ByteMap {
  public:
    explicit ByteMap(const BYTE table[256], bool allowPermute = true);
    void apply(const BYTE* src, BYTE* dst, std::size_t n) const;

  private:
    BYTE table_[256];
    bool permute_ = false;
    std::vector<std::uint16_t> pairs_;
};

}  // namespace vellum::effects
