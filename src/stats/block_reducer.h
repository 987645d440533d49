// What AVERAGE, HIGH, LOW, RMS, STDDEV and VARIANCE share: each cuts its stream into blocks of `bsize` elements and gives
// one result for each block. Blocks are counted over the stream: one can begin in a transfer and end in a later one.
#pragma once

#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "frame/cursors.h"
#include "frame/exact.h"
#include "frame/vector_clones.h"
#include "stats/masked_run.h"

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

// The maximum of elements that come at once.
constexpr std::int32_t blockTransfer = 1000;

// The results of `n` whole blocks. It is a loop of its own so that the divisions of several blocks run in vectors and no
// block waits for those of the one before.
template <class Reduction>
void storeResults(const Reduction* blocks, std::int32_t n, std::int32_t bsize, typename Reduction::Result* results) {
    bool throughDouble = true;
    for (std::int32_t i = 0; i < n; ++i) throughDouble &= blocks[i].dividesThroughDouble();
    const auto shortWay = [](std::int64_t x, std::int32_t by) { return divideThroughDouble(x, by); };
    const auto anyWay = [](std::int64_t x, std::int32_t by) { return dividePositive(x, by); };
    if (throughDouble)
        for (std::int32_t i = 0; i < n; ++i) results[i] = blocks[i].result(bsize, shortWay);
    else
        for (std::int32_t i = 0; i < n; ++i) results[i] = blocks[i].result(bsize, anyWay);
}

// Takes the first `n` elements of a buffer of blockTransfer, all of which can be read, and stores the results of the blocks
// that end among them; gives their number. `left` is what the running block lacks. `Reduction` is what a block has come to
// so far:
//     using Element, Result;                               of the streams
//     void add(const Element* from, std::int32_t n);       takes the block's next elements; with a last parameter Margins
//                                                          it is given those in the buffer
//     Result result(std::int32_t bsize) const;             of a whole block; with a last parameter `divide`, by which it
//                                                          divides integers, and then also
//     bool dividesThroughDouble() const;                   whether that can be divideThroughDouble
//     std::int32_t position;                               with a stream of positions only
//     void clear();                                        begins a block
// All of it is inlined here, so that it is built for the vectors of each clone.
template <class Position, class Reduction>
ZCMDS_VECTOR_CLONES [[gnu::flatten]] std::int32_t reduceTransfer(Reduction& running, std::int32_t& left,
                                                                 std::int32_t bsize,
                                                                 const typename Reduction::Element* buffer,
                                                                 std::int32_t n, typename Reduction::Result* results,
                                                                 Position* positions) {
    constexpr std::int32_t maxEnded = 16;
    constexpr bool divides = requires(Reduction reduction) { reduction.dividesThroughDouble(); };
    Reduction block = running;
    [[maybe_unused]] Reduction ended[divides ? maxEnded : 1];
    std::int32_t at = 0, blocks = 0;
    const auto add = [&](std::int32_t count) {
        if constexpr (requires(Margins margins) { block.add(buffer, count, margins); })
            block.add(buffer + at, count, {at, blockTransfer - at - count});
        else
            block.add(buffer + at, count);
        at += count;
    };
    for (; n - at >= left; left = bsize) {
        add(left);
        if constexpr (divides) {
            ended[blocks % maxEnded] = block;
            if (blocks % maxEnded == maxEnded - 1)
                storeResults(ended, maxEnded, bsize, results + blocks + 1 - maxEnded);
        } else {
            results[blocks] = block.result(bsize);
        }
        if constexpr (!std::is_same_v<Position, NoPosition>) positions[blocks] = wrap<Position>(block.position);
        ++blocks;
        block.clear();
    }
    if constexpr (divides) storeResults(ended, blocks % maxEnded, bsize, results + blocks / maxEnded * maxEnded);
    left -= n - at;
    add(n - at);
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
