// Exact division by a count through a multiply, for the box averages of the
// resamplers: with k = 32 + ceil(log2 d) and m = ceil(2^k / d), (n x m) >> k
// equals n / d for every 0 <= n < 2^32, and n < 2^31 keeps the product inside
// 64 bits; larger sums take the plain division.
#pragma once

#include <cstdint>

namespace vellum::geometry {

struct Reciprocal {
    std::uint64_t m = 1;
    int k = 0;
    std::int32_t d = 1;
};

// For a count of at least 1.
inline Reciprocal MakeReciprocal(std::int64_t count) {
    Reciprocal r;
    r.d = static_cast<std::int32_t>(count);
    int l = 0;
    while ((std::int64_t{1} << l) < count) ++l;
    r.k = 32 + l;
    r.m = ((std::uint64_t{1} << r.k) + static_cast<std::uint64_t>(count) - 1) /
          static_cast<std::uint64_t>(count);
    return r;
}

// n / d for an unsigned sum.
inline std::uint32_t DivideUnsigned(std::uint32_t n, const Reciprocal& r) {
    if (n >> 31) return n / static_cast<std::uint32_t>(r.d);
    return static_cast<std::uint32_t>((std::uint64_t{n} * r.m) >> r.k);
}

}  // namespace vellum::geometry
