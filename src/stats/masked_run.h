// Runs of integers for loops over whole vectors: such a loop needs no other one, element by element, for what is left over,
// whose length would be another for each run.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace zcmds {

// How many elements of the same buffer stand before and after a run.
struct Margins {
    std::int32_t before, after;
};

// A run and, before or after it, as many elements that don't belong to it as make whole vectors.
template <class Integer>
struct MaskedRun {
    const Integer* from;
    const Integer* mask;  // -1 for an element that belongs to the run, else 0
    std::int32_t n;       // a multiple of the elements of a vector

    // The element, or 0.
    Integer operator[](std::int32_t i) const { return static_cast<Integer>(from[i] & mask[i]); }
};

template <class Integer>
struct RunMasks {
    static constexpr std::int32_t step = 32;  // a multiple of the elements of the widest vectors
    static constexpr std::int32_t maxLength = 1024;

    static constexpr std::array<Integer, maxLength + 2 * step> values = [] {
        std::array<Integer, maxLength + 2 * step> made{};
        for (std::size_t i = step; i < step + maxLength; ++i) made[i] = -1;
        return made;
    }();
};

// Calls `take` with the run of `n` elements, at most 1024, or with two parts of it. The buffer has 64 elements or more.
template <class Integer, class Take>
void takeMasked(const Integer* from, std::int32_t n, Margins margins, Take take) {
    using Masks = RunMasks<Integer>;
    const Integer* const ones = Masks::values.data() + Masks::step;
    while (n > 0) {
        std::int32_t length = n, before = 0;
        const std::int32_t added = -n & (Masks::step - 1);
        if (added > margins.after) {
            if (added <= margins.before)
                before = added;
            else
                length = n & -Masks::step;
        }
        const Integer* const mask = before > 0 ? ones - before : ones + Masks::maxLength - length;
        take(MaskedRun<Integer>{from - before, mask, (length + Masks::step - 1) & -Masks::step});
        from += length;
        n -= length;
        margins.before += length;
    }
}

}  // namespace zcmds
