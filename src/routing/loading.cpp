// LOADING keeps the processor busy for a set time with each block: a known load in a procedure.

#include <algorithm>
#include <cstring>

#include "frame/checks.h"
#include "frame/exact.h"
#include "frame/values.h"
#include "host/memory.h"
#include "host/parameters.h"
#include "host/pbufs.h"
#include "host/pipes.h"
#include "host/system_info.h"
#include "host/tasks.h"
#include "module/commands.h"

namespace zcmds {

const char* const loadingSignature =
    "( in     pipe     (int16|int32|float|double)  src ,   const  storage  int16  bsizein ,   "
    "const  storage  (int16|int32)  usRun  ,   const  storage  (int16|int32)  usVar ,   out    typeof(src)  dest ,   "
    "const  storage  int16  bsizeout  )";

namespace {

constexpr std::int32_t maxInBlock = 4096;

struct LoadingTask {
    std::int32_t inputSize, outputSize;    // elements of a block, 0 to 4096
    std::int32_t busyTime, busyVariation;  // microseconds
    PbufHandle input, output;              // on the same data area
};

std::int32_t readBlockSize(const Slot* params, std::int32_t position) {
    const std::int32_t size = *valueIn<std::int16_t>(params[position]);
    if (size < 0 || size > maxInBlock) zepl::param_error_msg(ParamError::outOfRange, position);
    return size;
}

void readSettings(LoadingTask& task, ParamList list, const Slot* params) {
    checkSameElementType(list, {.source = 1, .destination = 5});
    task.inputSize = readBlockSize(params, 2);
    task.outputSize = readBlockSize(params, 6);
    task.busyTime = integerIn(params[3], zepl::param_type(list, 3));
    if (task.busyTime < 1) zepl::param_error_msg(ParamError::outOfRange, 3);
    task.busyVariation = integerIn(params[4], zepl::param_type(list, 4));
    if (task.busyVariation < 0) zepl::param_error_msg(ParamError::outOfRange, 4);
    if (task.busyVariation >= task.busyTime) zepl::param_error_msg(ParamError::inconsistentValues, 4);
}

PbufHandle openFixed(PipeHandle pipe, zepl::OpenMode mode, std::int32_t size, void* data) {
    zepl::pipe_open(pipe, mode);
    return openPbufOn(pipe, data, size, size);
}

// Ticks that a block takes. The factor on the variation is a fixed one, so that all blocks take the same.
std::uint64_t busyTicks(const LoadingTask& task) {
    const std::int64_t time = wrappingSum(task.busyTime, wrappingProduct(task.busyVariation, 2367) / 2560);
    return zepl::u64UsToSysTicks(static_cast<std::uint32_t>(time), static_cast<std::uint32_t>(time >> 32));
}

void spin(std::uint64_t until) {
    while (zepl::u64SystemTicksGet() <= until) {
    }
}

}  // namespace

std::uint32_t loading(ParamList list) {
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 6, 6, anyPipe, constantInt16, constantInteger,
                                             constantInteger, anyPipe, constantInt16);
    LoadingTask task;
    readSettings(task, list, params);
    const std::size_t bytes = static_cast<std::size_t>(std::max(task.inputSize, task.outputSize)) * sizeof(double);
    void* const block = zepl::ralloc(bytes);
    std::memset(block, 0, bytes);
    task.input = openFixed(handleIn<PipeHandle>(params[1]), zepl::OpenMode::read, task.inputSize, block);
    task.output = openFixed(handleIn<PipeHandle>(params[5]), zepl::OpenMode::write, task.outputSize, block);
    for (;;) {
        zepl::pbuf_get(task.input);
        const std::uint64_t start = zepl::u64SystemTicksGet();
        spin(start + busyTicks(task));
        zepl::pbuf_put_set_cnt(task.output, task.outputSize);
        zepl::task_switch();
    }
}

}  // namespace zcmds
