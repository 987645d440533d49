// RSUM gives a running sum every `decim` samples, divided by `divisor`: of all samples so far, of those since the last of its
// restarts, every `reset` samples, or of the last `window` samples.

#include "frame/checks.h"
#include "frame/values.h"
#include "host/parameters.h"
#include "module/commands.h"
#include "stats/running_sum.h"

namespace zcmds {

const char* const rsumSignature =
    "( const   pipe     (int16|int32|float|double)  src ,   const   storage  (int16|int32)  decim ,   "
    "const  storage contentof(src)  divisor ,   ( [ const  storage (int16|int32)  window , ]       "
    "out    typeof(src)  sums  |     out    typeof(src)  sums ,     ( const  storage  (int16|int32)  reset |       "
    "in     trigger   reset ) )  ) ";

namespace {

// An int16 divisor goes with an int32 stream as well.
void copyDivisor(RunningSumState& state, Slot slot, ParamMask kind) {
    if ((kind & (variableFloat | constantFloat)) != 0)
        setDivisor(state, *valueIn<float>(slot));
    else if ((kind & (variableDouble | constantDouble)) != 0)
        setDivisor(state, *valueIn<double>(slot));
    else
        setDivisor(state, integerIn(slot, kind));
}

// The value, of any width, of a count that must not be negative.
std::uint32_t countAt(const Slot* params, std::int32_t position) {
    const std::int32_t value = *valueIn<std::int32_t>(params[position]);
    if (value < 0) zepl::param_error_msg(ParamError::notPositive, position);
    return static_cast<std::uint32_t>(value);
}

// What follows the divisor: sums; window and sums; or sums and reset.
void readTail(RunningSumState& state, ParamList list, const Slot* params, std::int32_t count) {
    const bool windowed = count == 5 && (zepl::param_type(list, 4) & constantInteger) != 0;
    const std::int32_t sums = windowed ? 5 : 4;
    if (count == 4 && (zepl::param_type(list, 4) & anyPipe) == 0) zepl::param_error_msg(ParamError::wrongKind, 4);
    checkSameElementType(list, {.source = 1, .destination = sums});
    state.dest = handleIn<PipeHandle>(params[sums]);
    if (windowed) state.window = countAt(params, 4);
    if (windowed || count == 4) return;
    // A second pipe has no value to be read.
    if ((zepl::param_type(list, 5) & constantInteger) == 0) zepl::param_error_msg(ParamError::wrongKind, 5);
    state.resetCount = countAt(params, 5);
}

}  // namespace

std::uint32_t rsum(ParamList list) {
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 4, 5, anyPipe, constantInteger, anyScalar,
                                             anyPipe | constantInteger, anyPipe | constantInteger | triggerKind);
    if (count == 5 && zepl::param_type(list, 5) == triggerKind) zepl::param_error_msg(ParamError::wrongKind, 5);
    RunningSumState state;
    state.src = handleIn<PipeHandle>(params[1]);
    const std::int32_t decim = integerIn(params[2], zepl::param_type(list, 2));
    if (decim < 1) zepl::param_error_msg(ParamError::notPositive, 2);
    state.decim = static_cast<std::uint32_t>(decim);
    const ParamMask sourceType = zepl::param_type(list, 1), divisorKind = zepl::param_type(list, 3);
    checkConstantForPipe(sourceType, divisorKind, 3);
    copyDivisor(state, params[3], divisorKind);
    readTail(state, list, params, count);
    openRunningSum(state);
    return sumByState(state, sourceType, false);
}

}  // namespace zcmds
