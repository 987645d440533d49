// DELTA gives the difference of each sample from the one before it. The first sample only primes it.

#include "arith/unary.h"
#include "frame/element_loop.h"
#include "frame/element_type.h"
#include "frame/exact.h"
#include "frame/values.h"
#include "host/parameters.h"
#include "module/commands.h"

namespace zcmds {

namespace {

// Replaces each of the `n` elements, at least one, by its difference from the one before it; `previous` comes before the
// first. From the end to the start, each is read for the last time when it is replaced, so the loop carries no state and
// vectorises.
template <class Element>
ZCMDS_VECTOR_CLONES void differencesInBlock(Element* elements, std::int32_t n, Element previous) {
    for (std::int32_t i = n - 1; i > 0; --i) elements[i] = saturatingDifference(elements[i], elements[i - 1]);
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
