// The loops of the commands on complex streams, whose real and imaginary parts come in two pipes.
#pragma once

#include "frame/checks.h"
#include "frame/cursors.h"
#include "frame/element_type.h"
#include "frame/vector_clones.h"
#include "host/parameters.h"

namespace zcmds {

// Forever: reads a block of the real parts and exactly as many imaginary ones, calls `process(re, im, n)`, which leaves its
// results in the place of the real parts, and of the imaginary ones if `second` is on their buffer, and writes them.
// `first` and `second` can be the same.
template <class Element, class Process>
[[noreturn]] void processPairs(StreamReader& real, StreamReader& imaginary, StreamWriter& first, StreamWriter& second,
                               Process process) {
    for (;;) {
        const std::int32_t n = real.refill();
        imaginary.refillExactly(n);
        process(static_cast<Element*>(real.ptr), static_cast<Element*>(imaginary.ptr), n);
        real.count = imaginary.count = 0;
        first.pending = second.pending = n;
        first.flush();
        second.flush();
    }
}

// Replaces each real part by `function(re, im)`.
template <class Element, class Function>
ZCMDS_VECTOR_CLONES void combineBlock(Element* re, const Element* im, std::int32_t n, Function function) {
    for (std::int32_t i = 0; i < n; ++i) re[i] = function(re[i], im[i]);
}

// The entry of a command (srcr, srci, destr): `combine(re, im, n)`, which is defined for every type, leaves the results of
// the `n` pairs in the place of the real parts.
template <class Combine>
std::uint32_t combineStreams(ParamList list, Combine combine) {
    StreamReader real, imaginary;
    StreamWriter writer;
    const ParamPair pair{.source = 1, .destination = 3};
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 3, 3, anyPipe, anyPipe, anyPipe);
    checkSameElementType(list, {.source = 1, .destination = 2});
    checkSameElementType(list, pair);
    openInPlacePair(params, pair, real, writer, 1000);
    openReader(imaginary, handleIn<PipeHandle>(params[2]), 1000);
    return forElementType(zepl::param_type(list, 1), [&]<class Element>() -> std::uint32_t {
        processPairs<Element>(real, imaginary, writer, writer, combine);
    });
}

}  // namespace zcmds
