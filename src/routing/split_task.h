// What SEPARATE and SEPARATEF share: one input, read by blocks, and several outputs, each with an operation that makes its
// elements from those of the input.
#pragma once

#include <cstring>

#include "frame/types.h"
#include "host/pbufs.h"
#include "routing/source_tag.h"

namespace zcmds {

// Makes `n` output elements from input elements that begin `stride` input elements apart; returns the place after the last
// output element.
using CopyOperation = void* (*)(void* to, const void* from, std::int32_t n, std::int32_t stride);

// One output. Its `need` input elements make one output element.
struct SplitDestination {
    PipeHandle pipe;
    PbufHandle pbuf;
    std::int32_t need;     // 1 to 4
    std::int32_t pending;  // elements written and not yet sent
    void* base;            // the data area
    void* write;           // next place to write
    CopyOperation copy;

    // Takes `n` elements.
    void take(const void* from, std::int32_t n, std::int32_t stride) {
        write = copy(write, from, n, stride);
        pending += n;
    }
    void flush() {
        if (pending == 0) return;
        zepl::pbuf_put_set_cnt(pbuf, pending);
        pending = 0;
        write = base;
    }
};

struct SplitTask {
    std::int32_t n;  // destinations, 1 to 64
    PipeHandle src;
    PbufHandle pbuf;
    std::int32_t left = 0;  // input elements not yet used
    void* base;             // the input block
    void* read;             // next input element
    SplitDestination destinations[maxBranches];
};

// Reads the list, a source and its destinations, and chooses their operations. No float makes an int32: such a pair is
// refused at the destination.
void readSplit(SplitTask& task, ParamList list);

// The outputs' data areas: `size` elements of up to 8 bytes each, `spacing` elements apart, in an area of `bytes` in all.
struct OutputAreas {
    std::size_t bytes;
    std::int32_t size, spacing;
};
void openSplit(SplitTask& task, OutputAreas areas);

// Gets the next block. The elements left over, of a value that is not yet complete, are moved to just before it, so that a
// value split across blocks lies in one piece.
template <class Source>
void refill(SplitTask& task) {
    Source* const first = static_cast<Source*>(task.base) - task.left;
    std::memmove(first, task.read, static_cast<std::size_t>(task.left) * sizeof(Source));
    task.left += zepl::pbuf_get(task.pbuf);
    task.read = first;
}

}  // namespace zcmds
