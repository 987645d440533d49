// DELTA gives the difference of each sample from the one before it. The first sample only primes it.

#include <cstring>

#include "arith/unary.h"
#include "frame/element_loop.h"
#include "frame/element_type.h"
#include "frame/exact.h"
#include "frame/values.h"
#include "host/parameters.h"
#include "module/commands.h"

namespace zcmds {

namespace {

// As many elements as one line of the cache holds.
template <class Element>
struct Line {
    static constexpr std::int32_t size = 64 / sizeof(Element);
    Element elements[size];

    // The differences of those at `from` from the ones before them.
    [[gnu::always_inline]] static inline Line differences(const Element* from) {
        Line made;
        for (std::int32_t i = 0; i < size; ++i) made.elements[i] = saturatingDifference(from[i], from[i - 1]);
        return made;
    }
    [[gnu::always_inline]] void store(Element* to) const { std::memcpy(to, elements, sizeof elements); }
};

// Replaces each of the `n` elements, at least one, by its difference from the one before it; `previous` comes before the
// first. From the end to the start, each is read for the last time when it is replaced, so the loops carry no state. They
// replace whole lines of the cache, since vectors that cross lines take twice the time; the lines at both ends, which overlap
// with those, are made before anything is replaced.
template <class Element>
ZCMDS_VECTOR_CLONES void differencesInBlock(Element* elements, std::int32_t n, Element previous) {
    constexpr std::int32_t size = Line<Element>::size;
    if (n > size) {
        const auto first = Line<Element>::differences(elements + 1),
                   last = Line<Element>::differences(elements + n - size);
        for (std::int32_t at = (n & -size) - size; at > 0; at -= size)
            Line<Element>::differences(elements + at).store(elements + at);
        last.store(elements + n - size);
        first.store(elements + 1);
    } else {
        for (std::int32_t i = n - 1; i > 0; --i) elements[i] = saturatingDifference(elements[i], elements[i - 1]);
    }
    elements[0] = saturatingDifference(elements[0], previous);
}

}  // namespace

std::uint32_t delta(ParamList list) {
    StreamReader reader;
    StreamWriter writer;
    openUnaryPair(list, reader, writer);
    Cell first;
    zepl::pipe_value_get(reader.pipe, &first);
    return forElementType(zepl::param_type(list, 1), [&]<class Element>() -> std::uint32_t {
        auto previous = first.as<Element>();  // the input itself, also where its difference saturated
        processBlocks<Element>(reader, writer, [&previous](Element* elements, std::int32_t n) {
            if (n == 0) return 0;
            const Element last = elements[n - 1];
            differencesInBlock(elements, n, previous);
            previous = last;
            return n;
        });
    });
}

}  // namespace zcmds
