// FIRLOWPASS takes out what lies above a fraction of the sampling frequency and keeps every decim-th frame. The filter is
// one of twelve stored ones, chosen by decim, and delays nothing: its centre lies on the current sample.

#include "fir/fir_engine.h"
#include "fir/fir_lowpass.h"
#include "host/parameters.h"
#include "module/commands.h"

namespace zcmds {

const char* const firlowpassSignature =
    "( in pipe (int16|int32|float|double)  src,  [ const int16  nchans, ]  const int16  decim,   "
    "out typeof(src)  dest )";

namespace {

// nchans where it is given, else 1. It is the second parameter, but its error names the third.
std::int32_t channelsIn(ParamList list, const Slot* params, std::int32_t count) {
    if (count != 4) return 1;
    const std::int32_t nchans = *valueIn<std::int16_t>(params[2]);
    if (nchans < 1 || nchans > 32) zepl::param_error_msg(ParamError::outOfRange, 3);
    if (zepl::param_type(list, 3) != constantInt16) zepl::param_error_msg(ParamError::wrongKind, 3);
    return nchans;
}

}  // namespace

std::uint32_t firlowpass(ParamList list) {
    std::int32_t count;
    const Slot* params =
        zepl::param_process(list, &count, 3, 4, anyPipe, constantInt16, anyPipe | constantInt16, anyPipe);
    FirState state{};
    state.nchans = channelsIn(list, params, count);
    state.decimation = *valueIn<std::int16_t>(params[count - 1]);
    if (state.decimation < 1 || state.decimation > lowpassMaxDecimation)
        zepl::param_error_msg(ParamError::outOfRange, 2);
    state.srcType = zepl::param_type(list, 1);
    state.destType = zepl::param_type(list, count);
    if (state.destType != state.srcType) zepl::param_error_msg(ParamError::typeMismatch, count);
    state.src = handleIn<PipeHandle>(params[1]);
    state.dest = handleIn<PipeHandle>(params[count]);

    const FirCoefficients& coefficients = firLowpassPrototype(state.decimation, state.srcType);
    firOpen(state, coefficients.length);
    firSelectInner(state);
    firPrime(state, coefficients);
    return firRun(state, coefficients);
}

}  // namespace zcmds
