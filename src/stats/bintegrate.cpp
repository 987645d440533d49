// BINTEGRATE gives the sum of each block of samples. An int16 stream can have its sums as int32.

#include "host/parameters.h"
#include "module/commands.h"
#include "stats/running_sum.h"

// There is no signature: the parameters are source, destination and block length.

namespace zcmds {

std::uint32_t bintegrate(ParamList list) {
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 3, 3, anyPipe, anyPipe, constantInteger);
    const bool widens = checkIntegralTypes(list);
    const std::int32_t length = *valueIn<std::int32_t>(params[3]);  // 16 bits read right as well
    if (length < 1) zepl::param_error_msg(ParamError::notPositive, 3);
    RunningSumState state;
    state.src = handleIn<PipeHandle>(params[1]);
    state.dest = handleIn<PipeHandle>(params[2]);
    state.decim = state.resetCount = static_cast<std::uint32_t>(length);
    const ParamMask sourceType = zepl::param_type(list, 1);
    setDivisorFor(state, sourceType, 1);
    openRunningSum(state);
    return sumByState(state, sourceType, widens);
}

}  // namespace zcmds
