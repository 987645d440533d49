#include "events/toggle_scan.h"

#include "frame/vector_clones.h"

namespace zcmds {

namespace {

constexpr std::int32_t lanes = 32;  // samples that are looked at together

struct Inside {
    std::int16_t low, high;
    std::int16_t operator()(std::int16_t x) const { return static_cast<std::int16_t>((x >= low) & (x <= high)); }
};
struct Outside {
    std::int16_t low, high;
    std::int16_t operator()(std::int16_t x) const { return static_cast<std::int16_t>((x < low) | (x > high)); }
};

template <class Region>
ZCMDS_VECTOR_CLONES std::int32_t firstOf(const std::int16_t* samples, std::int32_t n, Region region) {
    std::int32_t at = 0;
    for (; at + lanes <= n; at += lanes) {
        std::int16_t any = 0;
        for (std::int32_t i = 0; i < lanes; ++i) any = static_cast<std::int16_t>(any | region(samples[at + i]));
        if (any != 0) break;
    }
    while (at < n && region(samples[at]) == 0) ++at;
    return at;
}

}  // namespace

std::int32_t firstInRegion(const std::int16_t* samples, std::int32_t n, std::int32_t region, std::int16_t low,
                           std::int16_t high) {
    if (region == 0) return firstOf(samples, n, Inside{low, high});
    if (region == 1) return firstOf(samples, n, Outside{low, high});
    return n;
}

}  // namespace zcmds
