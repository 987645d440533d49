// The engine of BAVERAGE: what is done to a group of blocks, and how its samples travel. A plan made at set-up says which
// of 21 loops is to run: one that passes samples through, or one of four strategies with one of five pairs of element and
// accumulator.
#pragma once

#include <cstdint>

#include "frame/types.h"

namespace zcmds {

enum class AverageStrategy : std::uint32_t {
    passThrough = 0,   // one block in a group is its own mean
    smallBlocks = 1,   // a transfer holds many blocks, and outputs of many groups
    mediumBlocks = 2,  // a transfer holds some whole blocks
    blockByBlock = 3,  // a transfer is one block
    largeBlocks = 4,   // a block takes many transfers
};

enum class NumberKind : std::uint32_t { int16 = 0, int32 = 1, int64 = 2, float32 = 3, float64 = 4 };

struct BlockAveragePlan {
    AverageStrategy strategy{};
    NumberKind elementKind{};      // int16, int32, float32, float64
    NumberKind accumulatorKind{};  // int32 (of int16), int64 (of int16 and int32), float32, float64
    PbufHandle srcPbuf{};          // input; with medium blocks and block by block it lands in the output's data area
    PbufHandle destPbuf{};         // output
    std::uint32_t blocksize = 0;   // elements in a block, at least 1
    std::uint32_t reps = 0;        // blocks in a group, at least 1
    void* accumulators = nullptr;  // one for each element of a block
};

// What the source gives at most in one transfer of a large block.
inline constexpr std::int32_t largeTransfer = 1024;

// Averages group after group, forever.
[[noreturn]] void averageByPlan(const BlockAveragePlan& plan);

}  // namespace zcmds
