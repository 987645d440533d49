// RAVERAGE gives the moving average over the last `window` samples, one for each sample. Samples are dropped at the start
// so that the centre of the window is at the output: the average does not lag behind its samples.

#include "frame/checks.h"
#include "host/parameters.h"
#include "host/pipes.h"
#include "module/commands.h"
#include "stats/running_sum.h"

namespace zcmds {

const char* const raverageSignature =
    "( const  pipe     (int16|int32|float|double)  src ,   const  storage  (int16|int32)  window ,   "
    "out    typeof(src)  dest   [ , const  storage  (int16|int32)  tcorr ]  )";

namespace {

void dropElements(PipeHandle pipe, std::int32_t n) {
    double element;  // room for one of any type
    for (; n > 0; --n) zepl::pipe_value_get(pipe, &element);
}

}  // namespace

// The fourth parameter, `tcorr`, is accepted and never read: the delay is corrected in any case.
std::uint32_t raverage(ParamList list) {
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 3, 4, anyPipe, constantInteger, anyPipe, constantInteger);
    checkSameElementType(list, {.source = 1, .destination = 3});
    const std::int32_t window = *valueIn<std::int32_t>(params[2]);  // 16 bits read right as well
    if (window < 1) zepl::param_error_msg(ParamError::notPositive, 2);
    RunningSumState state;
    state.src = handleIn<PipeHandle>(params[1]);
    state.dest = handleIn<PipeHandle>(params[3]);
    state.window = static_cast<std::uint32_t>(window);
    const ParamMask sourceType = zepl::param_type(list, 1);
    setDivisorFor(state, sourceType, window);
    openRunningSum(state);
    dropElements(state.src, window - (window >> 1) - 1);
    return sumByState(state, sourceType, false);
}

}  // namespace zcmds
