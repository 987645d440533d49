// DELTA gives the difference of each sample from the one before it. The first sample only primes it.

#include <cstring>
#include <limits>
#include <type_traits>

#include "arith/unary.h"
#include "frame/element_loop.h"
#include "frame/element_type.h"
#include "frame/exact.h"
#include "frame/values.h"
#include "host/parameters.h"
#include "module/commands.h"

namespace zcmds {

namespace {

// The differences of neighbours, as many as a vector of the machine holds, from the ones before them.
template <std::int32_t bytes, class Element>
struct Differences {
    using Vector [[gnu::vector_size(bytes)]] = Element;
    static constexpr std::int32_t size = bytes / sizeof(Element);

    Vector values;

    [[gnu::always_inline]] explicit Differences(const Element* from) {
        if constexpr (std::is_integral_v<Element> && bytes == 64) {
            // By the masks that these machines have, which compilers find only in loops.
            Element made[size];
            for (std::int32_t i = 0; i < size; ++i) made[i] = saturatingDifference(from[i], from[i - 1]);
            std::memcpy(&values, made, sizeof values);
            return;
        }
        Vector a, b;
        std::memcpy(&a, from, sizeof a);
        std::memcpy(&b, from - 1, sizeof b);
        if constexpr (std::is_integral_v<Element>) {
            const Vector none{}, low = std::numeric_limits<Element>::min() + (b > none ? b : none),
                                 high = std::numeric_limits<Element>::max() + (b < none ? b : none);
            a = a < high ? a : high;
            a = a > low ? a : low;
        }
        values = a - b;
    }
    [[gnu::always_inline]] void store(Element* to) const { std::memcpy(to, &values, sizeof values); }
};

// Replaces each of the `n` elements, at least one, by its difference from the one before it; `previous` comes before the
// first. From the end to the start, each is read for the last time when it is replaced, so the loops carry no state. Vectors
// are stored where no line of the cache ends in one; those at both ends, which overlap with them, are made before anything
// is replaced.
template <std::int32_t bytes, class Element>
[[gnu::always_inline]] inline void replaceByDifferences(Element* elements, std::int32_t n, Element previous) {
    using Vector = Differences<bytes, Element>;
    constexpr std::int32_t size = Vector::size;
    if (n > size) {
        const Vector first(elements + 1), last(elements + n - size);
        for (std::int32_t at = (n & -size) - size; at > 0; at -= size) Vector(elements + at).store(elements + at);
        last.store(elements + n - size);
        first.store(elements + 1);
    } else {
        for (std::int32_t i = n - 1; i > 0; --i) elements[i] = saturatingDifference(elements[i], elements[i - 1]);
    }
    elements[0] = saturatingDifference(elements[0], previous);
}

template <class Element>
void differencesBy16(Element* elements, std::int32_t n, Element previous) {
    replaceByDifferences<16>(elements, n, previous);
}

// These are no clones of one function, since a vector that is longer than the machine's would be kept in memory.
#if defined(__x86_64__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__)
template <class Element>
[[gnu::target("avx2")]] void differencesBy32(Element* elements, std::int32_t n, Element previous) {
    replaceByDifferences<32>(elements, n, previous);
}
template <class Element>
[[gnu::target("arch=x86-64-v4")]] void differencesBy64(Element* elements, std::int32_t n, Element previous) {
    replaceByDifferences<64>(elements, n, previous);
}

// The one for the longest vectors that the machine has.
template <class Element>
auto differencesInBlock() {
    if (__builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl") &&
        __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512cd"))
        return differencesBy64<Element>;
    return __builtin_cpu_supports("avx2") ? differencesBy32<Element> : differencesBy16<Element>;
}
#else
template <class Element>
auto differencesInBlock() {
    return differencesBy16<Element>;
}
#endif

}  // namespace

std::uint32_t delta(ParamList list) {
    StreamReader reader;
    StreamWriter writer;
    openUnaryPair(list, reader, writer);
    Cell first;
    zepl::pipe_value_get(reader.pipe, &first);
    return forElementType(zepl::param_type(list, 1), [&]<class Element>() -> std::uint32_t {
        auto previous = first.as<Element>();  // the input itself, also where its difference saturated
        const auto replace = differencesInBlock<Element>();
        processBlocks<Element>(reader, writer, [&previous, replace](Element* elements, std::int32_t n) {
            if (n == 0) return 0;
            const Element last = elements[n - 1];
            replace(elements, n, previous);
            previous = last;
            return n;
        });
    });
}

}  // namespace zcmds
