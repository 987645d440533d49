// The loops of the element-wise commands, in place on the blocks of a pair.
#pragma once

#include "frame/cursors.h"
#include "frame/vector_clones.h"

namespace zcmds {

// Replaces each of the `n` elements by what `function`, a pure function object, makes of it.
template <class Element, class Function>
ZCMDS_VECTOR_CLONES void transformBlock(Element* elements, std::int32_t n, Function function) {
    for (std::int32_t i = 0; i < n; ++i) elements[i] = function(elements[i]);
}

// Forever: reads a block from an in-place pair, calls `process(elements, n)`, which leaves its results at the block's start
// and returns their number, at most n, and writes them.
template <class Element, class Process>
[[noreturn]] void processBlocks(StreamReader& reader, StreamWriter& writer, Process process) {
    for (;;) {
        const std::int32_t n = reader.refill();
        writer.pending = process(static_cast<Element*>(reader.ptr), n);
        reader.count = 0;
        writer.flush();
    }
}

// One output element for each input element: `function` of it.
template <class Element, class Function>
[[noreturn]] void transformBlocks(StreamReader& reader, StreamWriter& writer, Function function) {
    processBlocks<Element>(reader, writer, [function](Element* elements, std::int32_t n) {
        transformBlock(elements, n, function);
        return n;
    });
}

// The same with the function that `read` gives, which is called once for each block: for parameters that can change while
// the command runs. No other task runs inside a block, so every element of it sees the same values.
template <class Element, class Read>
[[noreturn]] void transformBlocksReloading(StreamReader& reader, StreamWriter& writer, Read read) {
    processBlocks<Element>(reader, writer, [read](Element* elements, std::int32_t n) {
        transformBlock(elements, n, read());
        return n;
    });
}

}  // namespace zcmds
