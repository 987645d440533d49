// MRBLOCK gives the most recent block of a stream on request, and lets the older data go.

#include "frame/checks.h"
#include "frame/exact.h"
#include "frame/values.h"
#include "host/parameters.h"
#include "host/pbufs.h"
#include "host/pipes.h"
#include "host/tasks.h"
#include "module/commands.h"

namespace zcmds {

const char* const mrblockSignature =
    "( in     pipe     (int16|int32|float|double)  src ,   ( in   storage  int16   request |     "
    "in   pipe     int16   request ),   const  storage  (int16|int32)  blksize ,   out    typeof(src)  dest  )";

namespace {

struct RecentBlockTask {
    PipeHandle src, dest;
    PipeHandle requests{};         // none is 0
    Slot variable{};               // of requests; null where a pipe brings them
    std::int32_t blockSize = 0;    // samples
    std::int32_t high = 0;         // two blocks: so much is never kept waiting
    PbufHandle input{}, output{};  // on the same data area, which holds the block in hand
};

void openRecent(RecentBlockTask& task) {
    zepl::pipe_open(task.src, zepl::OpenMode::read);
    zepl::pipe_open(task.dest, zepl::OpenMode::write);
    if (task.requests != PipeHandle{}) zepl::pipe_open(task.requests, zepl::OpenMode::read);
    task.input = zepl::pbuf_open(task.src, task.blockSize);
    zepl::pbuf_set_min_cnt(task.input, task.blockSize);
    zepl::pbuf_set_max_cnt(task.input, task.blockSize);
    task.output = openPbufOn(task.dest, zepl::pbuf_get_data_ptr(task.input), 1, task.blockSize);
}

// A value that is not 0 is taken out of the variable. All of its 32 bits are cleared.
std::int16_t takeFromVariable(Slot variable) {
    const std::int16_t value = *valueIn<std::int16_t>(variable);
    if (value != 0) *valueIn<std::int32_t>(variable) = 0;
    return value;
}

std::int16_t takeFromPipe(PipeHandle requests) {
    std::int16_t value = 0;
    if (zepl::pipe_num(requests) != 0) zepl::pipe_value_get(requests, &value);
    return value;
}

// How many blocks are wanted; none where it is not above 0.
std::int32_t takeRequest(const RecentBlockTask& task) {
    return task.variable != Slot{} ? takeFromVariable(task.variable) : takeFromPipe(task.requests);
}

void get(const RecentBlockTask& task) { zepl::pbuf_get(task.input); }
void send(const RecentBlockTask& task) { zepl::pbuf_put_set_cnt(task.output, task.blockSize); }

// Drops the oldest blocks until less than two are waiting; returns how many samples are.
std::int32_t trim(const RecentBlockTask& task) {
    for (;;) {
        const std::int32_t waiting = zepl::pipe_num_complete(task.src, task.high);
        if (waiting < task.high) return waiting;
        zepl::pipe_rem(task.src, task.blockSize);
    }
}

// The block in hand first, and then new ones as they come.
void answer(const RecentBlockTask& task, std::int32_t blocks) {
    send(task);
    for (std::int32_t i = 1; i < blocks; ++i) {
        get(task);
        send(task);
    }
    trim(task);
    get(task);
}

// A newer block, if there is one, replaces that in hand.
void renew(const RecentBlockTask& task) {
    std::int32_t waiting = trim(task);
    if (waiting < task.blockSize) {
        zepl::task_switch();
        waiting = trim(task);
    }
    if (waiting >= task.blockSize) get(task);
}

}  // namespace

std::uint32_t mrblock(ParamList list) {
    std::int32_t count;
    const Slot* params =
        zepl::param_process(list, &count, 4, 4, anyPipe, variableInt16 | pipeInt16, constantInteger, anyPipe);
    checkSameElementType(list, {.source = 1, .destination = 4});
    RecentBlockTask task{.src = handleIn<PipeHandle>(params[1]), .dest = handleIn<PipeHandle>(params[4])};
    task.blockSize = integerIn(params[3], zepl::param_type(list, 3));
    if (task.blockSize < 1) zepl::param_error_msg(ParamError::outOfRange, 3);
    task.high = saturate<std::int32_t>(std::int64_t{task.blockSize} * 2);
    if (zepl::param_type(list, 2) == pipeInt16)
        task.requests = handleIn<PipeHandle>(params[2]);
    else
        task.variable = params[2];
    openRecent(task);
    get(task);
    for (;;) {
        const std::int32_t blocks = takeRequest(task);
        if (blocks > 0)
            answer(task, blocks);
        else
            renew(task);
    }
}

}  // namespace zcmds
