#include "events/toggle_scan.h"

#include <bit>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "frame/vector_clones.h"

namespace zcmds {

namespace {

constexpr std::int32_t lanes = 16;  // samples that are looked at together

struct Limits {
    std::int16_t low, high;
    bool leaveOut(std::int16_t x) const { return (x < low) | (x > high); }
};

// A bit for each of 16 samples, the first lowest: set for one outside the limits. There is an instruction for this, which no
// compiler finds in a plain loop, and the search for a near match takes half the time with it.
std::uint32_t bitsOutside(const std::int16_t* samples, Limits limits) {
#if defined(__SSE2__)
    const __m128i low = _mm_set1_epi16(limits.low), high = _mm_set1_epi16(limits.high);
    const auto outside = [&](const std::int16_t* from) {
        const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
        return _mm_or_si128(_mm_cmplt_epi16(x, low), _mm_cmpgt_epi16(x, high));
    };
    const __m128i bytes = _mm_packs_epi16(outside(samples), outside(samples + 8));
    return static_cast<std::uint32_t>(_mm_movemask_epi8(bytes));
#else
    std::uint32_t bits = 0;
    for (std::int32_t i = 0; i < lanes; ++i) bits |= std::uint32_t{limits.leaveOut(samples[i])} << i;
    return bits;
#endif
}

template <bool inside>
ZCMDS_VECTOR_CLONES std::int32_t firstOf(const std::int16_t* samples, std::int32_t n, Limits limits) {
    constexpr std::uint32_t flipped = inside ? (1u << lanes) - 1 : 0;
    std::int32_t at = 0;
    for (; at + lanes <= n; at += lanes)
        if (const std::uint32_t bits = bitsOutside(samples + at, limits) ^ flipped; bits != 0)
            return at + std::countr_zero(bits);
    while (at < n && limits.leaveOut(samples[at]) == inside) ++at;
    return at;
}

}  // namespace

std::int32_t firstInRegion(const std::int16_t* samples, std::int32_t n, std::int32_t region, std::int16_t low,
                           std::int16_t high) {
    if (region == 0) return firstOf<true>(samples, n, {low, high});
    if (region == 1) return firstOf<false>(samples, n, {low, high});
    return n;
}

}  // namespace zcmds
