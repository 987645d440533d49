// The loop of every element-wise command: one output element for each input element, in place.
#pragma once

#include "frame/cursors.h"
#include "frame/vector_clones.h"

namespace zcmds {

// Replaces each of the `n` elements by what `function`, a pure function object, makes of it.
template <class Element, class Function>
ZCMDS_VECTOR_CLONES void transformBlock(Element* elements, std::int32_t n, Function function) {
    for (std::int32_t i = 0; i < n; ++i) elements[i] = function(elements[i]);
}

// For ever: takes a block from an in-place pair, transforms it, and sends it on.
template <class Element, class Function>
[[noreturn]] void transformBlocks(StreamReader& reader, StreamWriter& writer, Function function) {
    for (;;) {
        const std::int32_t n = reader.refill();
        transformBlock(static_cast<Element*>(reader.ptr), n, function);
        reader.count = 0;
        writer.pending = n;
        writer.flush();
    }
}

}  // namespace zcmds
