// What AVERAGE, HIGH, LOW, RMS, STDDEV and VARIANCE share: each cuts its stream into blocks of `bsize` elements and gives
// one result for each block. Blocks are counted over the stream: one can begin in a transfer and end in a later one.
#pragma once

#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "frame/cursors.h"
#include "frame/exact.h"
#include "frame/vector_clones.h"

namespace zcmds {

// The streams of a block reducer.
struct BlockStreams {
    StreamReader reader;
    StreamWriter writer;     // one result for each block
    StreamWriter locWriter;  // where in the block, for commands that report it
    std::int32_t bsize = 0;  // elements in a block, at least 1
};

// The set-up of all six. A fourth parameter is refused unless `allowLoc`; `checkType` demands a destination of the source's
// type. True if there is a stream of positions.
bool openBlockStreams(ParamList list, StreamReader& reader, StreamWriter& writer, StreamWriter& locWriter,
                      std::int32_t& bsize, bool allowLoc, bool checkType);

// The set-up of the commands without positions.
inline void openBlockStreams(ParamList list, BlockStreams& streams, bool checkType) {
    openBlockStreams(list, streams.reader, streams.writer, streams.locWriter, streams.bsize, false, checkType);
}

// The element type of a stream of positions that there is not.
struct NoPosition {};

// Takes `n` elements and stores the results of the blocks that end among them; gives their number. `left` is what the
// running block lacks. `Reduction` is what a block has come to so far:
//     using Element, Result;                               of the streams
//     void add(const Element* from, std::int32_t n);       takes the block's next elements
//     Result result(std::int32_t bsize) const;             of a whole block
//     std::int32_t position;                               with a stream of positions only
//     void clear();                                        begins a block
// All of it is inlined here, so that it is built for the vectors of each clone.
template <class Position, class Reduction>
ZCMDS_VECTOR_CLONES [[gnu::flatten]] std::int32_t reduceTransfer(Reduction& running, std::int32_t& left,
                                                                 std::int32_t bsize,
                                                                 const typename Reduction::Element* from,
                                                                 std::int32_t n, typename Reduction::Result* results,
                                                                 Position* positions) {
    Reduction block = running;
    std::int32_t blocks = 0;
    for (; n >= left; left = bsize) {
        block.add(from, left);
        from += left;
        n -= left;
        results[blocks] = block.result(bsize);
        if constexpr (!std::is_same_v<Position, NoPosition>) positions[blocks] = wrap<Position>(block.position);
        ++blocks;
        block.clear();
    }
    block.add(from, n);
    left -= n;
    running = block;
    return blocks;
}

// The loop of all six, forever. A transfer that ends no block publishes nothing; a result leaves with the transfer in which
// its block ends, and its position after it.
template <class Position = NoPosition, class Reduction>
[[noreturn]] void reduceBlocks(BlockStreams& streams, Reduction running) {
    using Element = typename Reduction::Element;
    using Result = typename Reduction::Result;
    auto& [reader, writer, locWriter, bsize] = streams;
    std::int32_t left = bsize;
    for (;;) {
        const std::int32_t n = reader.refill();
        writer.pending = reduceTransfer(running, left, bsize, static_cast<const Element*>(reader.ptr), n,
                                        static_cast<Result*>(writer.ptr), static_cast<Position*>(locWriter.ptr));
        reader.count = 0;
        if (writer.pending < 1) continue;
        locWriter.pending = writer.pending;
        writer.flush();
        if constexpr (!std::is_same_v<Position, NoPosition>) locWriter.flush();
    }
}

}  // namespace zcmds
