// BIRAMP generates an endless ramp with two slopes: it climbs (or falls) from one peak to the other over some samples, and
// returns over some others.

#include "frame/checks.h"
#include "frame/element_loop.h"
#include "frame/exact.h"
#include "frame/values.h"
#include "generators/wave_state.h"
#include "host/parameters.h"
#include "module/commands.h"

namespace zcmds {

const char* const birampSignature =
    "(  const storage  (int16|int32|float|double)  peakA ,   const storage  elementof(peakA)  peakB ,   "
    "const storage  (int16|int32)  sampsA ,   const storage  (int16|int32)  sampsB  [,   "
    "const storage  (float|double)  phase] ,   out pipe       elementof(peakA)  dest )";

namespace {

// From -1 at the cycle's start, which is phase -1, to 1 at the knee, and back to -1 at its end, which is phase 1.
void twoSlopesShape(const WaveState& state, double* phases, std::int32_t n) {
    transformBlock(phases, n, [knee = state.knee](double p) {
        const double end = p <= knee ? -1.0 : 1.0;
        return 2.0 * (p - end) / (knee - end) - 1.0;
    });
}

void readPeaks(ParamList list, const Slot* params, WaveState& state) {
    const ParamMask kind = zepl::param_type(list, 1);
    if (kind != zepl::param_type(list, 2)) zepl::param_error_msg(ParamError::typeMismatch, 2);
    const double from = numberIn(params[1], kind), to = numberIn(params[2], kind);
    state.amplitude = (to - from) * 0.5;
    state.offset = (to + from) * 0.5;
}

// A number of samples, at least 1.
std::int32_t readSamples(ParamList list, const Slot* params, std::int32_t position) {
    const std::int32_t samples = integerIn(params[position], zepl::param_type(list, position));
    if (samples < 1) zepl::param_error_msg(ParamError::outOfRange, position);
    return samples;
}

void readSlopes(ParamList list, const Slot* params, WaveState& state) {
    const std::int32_t first = readSamples(list, params, 3), second = readSamples(list, params, 4);
    const std::int32_t cycle = wrappingSum(first, second);
    // A sum past 31 bits would be taken for a cycle that fits a table of no samples, and the task would never yield.
    if (cycle < 0) zepl::param_error_msg(ParamError::outOfRange, 4);
    state.phaseStep = 2.0 / cycle;
    state.knee = 2.0 * (static_cast<double>(first) / cycle) - 1.0;
    state.exactCycle = static_cast<std::uint32_t>(cycle) <= maxTableSamples;
    state.cycleSamples = state.exactCycle ? static_cast<std::uint32_t>(cycle) : 0;
}

// Where to start, in samples; negative ones count back from the end of the cycle. Without a table the only number in range
// is 0, and 0 / 0 then makes the whole wave no number.
void readPhase(ParamList list, const Slot* params, WaveState& state) {
    const ParamMask kind = zepl::param_type(list, 5);
    if ((kind & anyPipe) != 0) zepl::param_error_msg(ParamError::wrongKind, 5);
    const double samples = numberIn(params[5], kind), cycle = state.cycleSamples;
    if (!(samples >= -cycle && samples <= cycle)) zepl::param_error_msg(ParamError::outOfRange, 5);
    state.phase = 2.0 * ((samples < 0.0 ? samples + cycle : samples) / cycle) - 1.0;
}

// The table is no larger than its samples, and so is the writer's buffer.
void openOutput(const Slot* params, std::int32_t dest, WaveState& state) {
    state.destPipe = handleIn<PipeHandle>(params[dest]);
    state.writer = newCursor<StreamWriter>();
    state.tableLength = state.exactCycle ? wholeCycles(state.cycleSamples) : maxTableSamples;
    if (state.exactCycle) state.table = zepl::ralloc(std::size_t{state.elementSize} * state.tableLength);
    void* first;
    openWriter(*state.writer, state.destPipe, static_cast<std::int32_t>(state.tableLength), &first);
    state.mode = state.exactCycle ? WaveMode::ReplayTable : WaveMode::Direct;
}

}  // namespace

std::uint32_t biramp(ParamList list) {
    WaveState state{.waveType = WaveType::twoSlopes, .waveFunction = twoSlopesShape, .phase = -1.0};
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 5, 6, constantScalar, constantScalar, constantInteger,
                                             constantInteger, constantReal | anyPipe, anyPipe);
    readPeaks(list, params, state);
    readSlopes(list, params, state);
    if (count == 6) readPhase(list, params, state);
    checkConstantForPipe(zepl::param_type(list, count), zepl::param_type(list, 1), count);
    setElementType(state, list, count);
    openOutput(params, count, state);
    return runWave(state);
}

}  // namespace zcmds
