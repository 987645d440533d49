// BAVERAGE averages repeated sweeps: of each group of `reps` blocks it gives one block, whose k-th element is the mean of
// their k-th elements. A mean from a sum of 32 bits is truncated, one from a sum of 64 bits is rounded.
//
// The block size decides how samples travel, so that a transfer holds many small blocks or a large block takes many
// transfers. No strategy yields but in pbuf_get and in the put.

#include <cstddef>
#include <cstdint>

#include "frame/checks.h"
#include "frame/values.h"
#include "host/memory.h"
#include "host/parameters.h"
#include "host/pbufs.h"
#include "host/pipes.h"
#include "module/commands.h"
#include "stats/block_average.h"

namespace zcmds {

const char* const baverageSignature =
    "( in    pipe       (int16|int32|float|double)  src,   const storage    (int16|int32)  blocksize,   "
    "const storage    (int16|int32)  reps ,   out   typeof(src)   dest )";

namespace {

AverageStrategy strategyFor(std::uint32_t blocksize, std::uint32_t reps) {
    if (reps < 2) return AverageStrategy::passThrough;
    if (blocksize < 17) return AverageStrategy::smallBlocks;
    if (blocksize <= 128) return AverageStrategy::mediumBlocks;
    return blocksize <= 4096 ? AverageStrategy::blockByBlock : AverageStrategy::largeBlocks;
}

// So many int16 samples add up in 32 bits, whatever they are.
constexpr std::uint32_t max32BitReps = 32760;

void chooseKinds(BlockAveragePlan& plan, ParamMask pipeType) {
    switch (pipeType) {
        case pipeInt16:
            plan.elementKind = NumberKind::int16;
            plan.accumulatorKind = plan.reps > max32BitReps ? NumberKind::int64 : NumberKind::int32;
            break;
        case pipeInt32:
            plan.elementKind = NumberKind::int32;
            plan.accumulatorKind = NumberKind::int64;
            break;
        case pipeFloat:
            plan.elementKind = plan.accumulatorKind = NumberKind::float32;
            break;
        default:
            plan.elementKind = plan.accumulatorKind = NumberKind::float64;
    }
}

std::size_t bytesOfAccumulator(NumberKind kind) {
    return kind == NumberKind::int32 || kind == NumberKind::float32 ? 4 : 8;
}

// Each pbuf with a data area of its own.
void openApart(BlockAveragePlan& plan, PipeHandle source, PipeHandle destination, std::int32_t capacity) {
    plan.srcPbuf = zepl::pbuf_open(source, capacity);
    plan.destPbuf = zepl::pbuf_open(destination, capacity);
}

// The source lands in the destination's data area, by `min` to `capacity` elements.
void openInOneArea(BlockAveragePlan& plan, PipeHandle source, PipeHandle destination, std::int32_t min,
                   std::int32_t capacity) {
    plan.srcPbuf = zepl::pbuf_open(source, 0);
    plan.destPbuf = zepl::pbuf_open(destination, capacity);
    zepl::pbuf_set_min_cnt(plan.srcPbuf, min);
    zepl::pbuf_set_max_cnt(plan.srcPbuf, capacity);
    zepl::pbuf_set_data_ptr(plan.srcPbuf, zepl::pbuf_get_data_ptr(plan.destPbuf));
}

void openPbufs(BlockAveragePlan& plan, PipeHandle source, PipeHandle destination) {
    const auto blocksize = static_cast<std::int32_t>(plan.blocksize);
    switch (plan.strategy) {
        case AverageStrategy::passThrough:
            return openApart(plan, source, destination, 580);
        case AverageStrategy::smallBlocks:
            return openApart(plan, source, destination, 256);
        case AverageStrategy::mediumBlocks:
            return openInOneArea(plan, source, destination, 1, 1160);
        case AverageStrategy::blockByBlock:
            return openInOneArea(plan, source, destination, blocksize, blocksize);
        case AverageStrategy::largeBlocks:
            return openApart(plan, source, destination, largeTransfer);
    }
}

// The pair of the source's type and the destination's.
constexpr ParamPair streams{.source = 1, .destination = 4};

BlockAveragePlan planFor(ParamList list, const Slot* params) {
    BlockAveragePlan plan;
    const std::int32_t blocksize = integerIn(params[2], zepl::param_type(list, 2));
    const std::int32_t reps = integerIn(params[3], zepl::param_type(list, 3));
    if (blocksize < 1) zepl::param_error_msg(ParamError::notPositive, 2);
    if (reps < 1) zepl::param_error_msg(ParamError::notPositive, 3);
    checkSameElementType(list, streams);
    plan.blocksize = static_cast<std::uint32_t>(blocksize);
    plan.reps = static_cast<std::uint32_t>(reps);
    plan.strategy = strategyFor(plan.blocksize, plan.reps);
    chooseKinds(plan, zepl::param_type(list, streams.source));
    return plan;
}

}  // namespace

std::uint32_t baverage(ParamList list) {
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 4, 4, anyPipe, constantInteger, constantInteger, anyPipe);
    BlockAveragePlan plan = planFor(list, params);
    plan.accumulators = zepl::ralloc(plan.blocksize * bytesOfAccumulator(plan.accumulatorKind));
    const auto source = handleIn<PipeHandle>(params[streams.source]);
    const auto destination = handleIn<PipeHandle>(params[streams.destination]);
    zepl::pipe_open(source, zepl::OpenMode::read);
    zepl::pipe_open(destination, zepl::OpenMode::write);
    openPbufs(plan, source, destination);
    averageByPlan(plan);
}

}  // namespace zcmds
