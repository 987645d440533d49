// INTEGRATE gives the sum of all samples so far, or of those since its last restart. An int16 stream can have it as int32.

#include "frame/values.h"
#include "host/parameters.h"
#include "module/commands.h"
#include "stats/running_sum.h"

// There is no signature: the parameters are source, destination and, if wanted, the number of samples after which the sum
// restarts.

namespace zcmds {

namespace {

std::uint32_t resetCountIn(ParamList list, Slot slot) {
    const ParamMask kind = zepl::param_type(list, 3);
    if (kind == triggerKind) zepl::param_error_msg(ParamError::wrongKind, 3);
    const std::int32_t resetCount = integerIn(slot, kind);
    if (resetCount < 0) zepl::param_error_msg(ParamError::notPositive, 3);
    return static_cast<std::uint32_t>(resetCount);
}

}  // namespace

std::uint32_t integrate(ParamList list) {
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 2, 3, anyPipe, anyPipe, constantInteger | triggerKind);
    const bool widens = checkIntegralTypes(list);
    RunningSumState state;
    state.src = handleIn<PipeHandle>(params[1]);
    state.dest = handleIn<PipeHandle>(params[2]);
    if (count == 3) state.resetCount = resetCountIn(list, params[3]);
    const ParamMask sourceType = zepl::param_type(list, 1);
    setDivisorFor(state, sourceType, 1);
    openRunningSum(state);
    return sumByState(state, sourceType, widens);
}

}  // namespace zcmds
