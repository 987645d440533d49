#include "generators/waveform.h"

#include <cmath>
#include <cstring>

#include "frame/element_type.h"
#include "frame/values.h"
#include "generators/wave_shapes.h"
#include "host/memory.h"
#include "host/parameters.h"
#include "host/system_info.h"
#include "module/commands.h"

namespace zcmds {

namespace {

// How far from a whole sample some whole cycles may end and still make a table: 1e-15 for each sample of the longest table.
constexpr double wholeSampleTolerance = 4.096e-12;

constexpr double minSampleTime = 5e-07;  // microseconds

// A parameter list whose form is known.
struct WaveList {
    ParamList list;
    const Slot* params;
    std::int32_t count;
    std::int32_t dest;         // position
    std::int32_t firstOption;  // position, if there is one

    ParamMask kind(std::int32_t position) const { return zepl::param_type(list, position); }
    double number(std::int32_t position) const { return numberIn(params[position], kind(position)); }
    PipeHandle pipe(std::int32_t position) const { return handleIn<PipeHandle>(params[position]); }
};

bool isPipe(ParamMask kind) { return (kind & anyPipe) != 0; }

// peak, period, dest
WaveList readShortForm(ParamList list, WaveState& state) {
    WaveList given{.list = list, .params = nullptr, .count = 0, .dest = 3, .firstOption = 4};
    given.params = zepl::param_process(list, &given.count, 3, 7, constantScalar, constantScalar, anyPipe, stringKind,
                                       anyPipe, stringKind, anyPipe);
    if (given.count == 4 || given.count == 6) zepl::param_error_msg(ParamError::missing, given.count);
    state.amplitude = given.number(1);
    if (state.amplitude < 0.0) zepl::param_error_msg(ParamError::notPositive, 1);
    const double period = given.number(2);
    if (period < 1.0) zepl::param_error_msg(ParamError::outOfRange, 2);
    state.phaseStep = 2.0 / period;
    return given;
}

// Of `phase` and `samptime`: reads the first if it is there, and gives the second, in microseconds.
double readPhaseAndSampleTime(const WaveList& given, WaveState& state) {
    const std::int32_t position = isPipe(given.kind(5)) ? 4 : 5;
    if (position == 5) {
        state.phase = given.number(4);
        if (!(state.phase >= -1.0 && state.phase <= 1.0)) zepl::param_error_msg(ParamError::outOfRange, 4);
    }
    const double sampleTime = given.number(position);
    if (sampleTime < minSampleTime) zepl::param_error_msg(ParamError::outOfRange, position);
    return sampleTime;
}

// minpeak, maxpeak, freq, phase if the count is even, samptime, dest
WaveList readLongForm(ParamList list, WaveState& state) {
    WaveList given{.list = list, .params = nullptr, .count = 0, .dest = 5, .firstOption = 6};
    constexpr ParamMask option = stringKind | anyPipe;
    given.params = zepl::param_process(list, &given.count, 5, 10, constantScalar, constantScalar, constantReal,
                                       constantReal, constantReal | anyPipe, option, option, option, option, anyPipe);
    if (given.count % 2 == 0) {
        given.dest = 6;
        given.firstOption = 7;
    }
    if (given.kind(1) != given.kind(2)) zepl::param_error_msg(ParamError::typeMismatch, 2);
    const double low = given.number(1), high = given.number(2);
    state.amplitude = (high - low) * 0.5;
    state.offset = (high + low) * 0.5;
    const double frequency = given.number(3);
    if (!(frequency > 0.0)) zepl::param_error_msg(ParamError::outOfRange, 3);
    const double period = 1000000.0 / (readPhaseAndSampleTime(given, state) * frequency);
    if (period < 1.0) zepl::param_error_msg(ParamError::outOfRange, 3);
    state.phaseStep = 2.0 / period;
    return given;
}

// The word of the option at `at`, which must have a pipe after it; `blamed` is the position reported when it is something
// else.
const char* readOptionWord(const WaveList& given, std::int32_t at, std::int32_t blamed) {
    if (at == given.count) zepl::param_error_msg(ParamError::missing, at + 1);
    if (given.kind(at) != stringKind) zepl::param_error_msg(ParamError::wrongKind, at);
    if (!isPipe(given.kind(at + 1))) zepl::param_error_msg(ParamError::wrongKind, blamed);
    return valueIn<char>(given.params[at]);
}

// A modulator is read at the width of `dest`. Where its own elements are wider, their parts are taken one by one; where they
// are narrower, the reads would go past its buffer.
StreamReader* openModulator(const WaveList& given, std::int32_t position) {
    if (elementSizeOf(given.kind(position)) < elementSizeOf(given.kind(given.dest)))
        zepl::param_error_msg(ParamError::outOfRange, position);
    auto* reader = newCursor<StreamReader>();
    openReader(*reader, given.pipe(position), static_cast<std::int32_t>(zepl::sys_get_info(SysInfo::defaultBlock)));
    return reader;
}

// Opens the modulator that the word asks for. False when the word is none of the options'.
bool takeOption(const WaveList& given, std::int32_t at, const char* word, WaveState& state) {
    if (std::strcmp(word, "AMPLITUDE") == 0) {
        state.amplitudeModulated = true;
        state.amplitudePipe = given.pipe(at + 1);
        state.amplitudeReader = openModulator(given, at + 1);
        return true;
    }
    if (std::strcmp(word, "FREQUENCY") == 0) {
        state.frequencyModulated = true;
        state.frequencyPipe = given.pipe(at + 1);
        state.frequencyReader = openModulator(given, at + 1);
        return true;
    }
    return false;
}

void readOptions(const WaveList& given, WaveState& state) {
    std::int32_t at = given.firstOption;
    if (at > given.count) return;
    const char* first = readOptionWord(given, at, at);
    bool known = takeOption(given, at, first, state);
    if (at + 2 <= given.count) {
        at += 2;
        // For a second option without a pipe the position of the pipe is reported, for the first that of the word.
        const char* second = readOptionWord(given, at, at + 1);
        if (std::strcmp(second, first) == 0) zepl::param_error_msg(ParamError::tooMany, at);
        if (!takeOption(given, at, second, state)) known = false;
    }
    if (!known) zepl::param_error_msg(ParamError::unknownWord, at);
}

// Looks for the smallest number of whole cycles that make a whole number of samples and fit a table.
void planTable(WaveState& state) {
    const double period = 2.0 / state.phaseStep;
    if (state.frequencyModulated || period - wholeSampleTolerance > maxTableSamples) return;
    for (double cycles = 1;; ++cycles) {
        const double length = cycles * period, whole = std::floor(length + 0.5);
        // Also when the period is no number.
        if (!(whole <= maxTableSamples)) return;
        if (std::fabs(length - whole) > wholeSampleTolerance) continue;
        state.exactCycle = true;
        state.cycleSamples = static_cast<std::uint32_t>(whole);
        return;
    }
}

void openOutput(const WaveList& given, WaveState& state) {
    setElementType(state, given.list, given.dest);
    state.destPipe = given.pipe(given.dest);
    state.writer = newCursor<StreamWriter>();
    void* first;
    openWriter(*state.writer, state.destPipe, maxTableSamples, &first);
    state.mode = WaveMode::Direct;
    state.tableLength = maxTableSamples;
    if (!state.exactCycle) return;
    state.tableLength = wholeCycles(state.cycleSamples);
    state.table = zepl::ralloc(state.tableLength * sizeof(double));
    state.mode = state.amplitudeModulated ? WaveMode::ModulatedTable : WaveMode::ReplayTable;
}

}  // namespace

std::uint32_t generateWaveform(ParamList list, WaveType type) {
    WaveState state;
    state.waveType = type;
    state.waveFunction = waveFunctionOf(type);
    const bool isShort = isPipe(zepl::param_type(list, 3));
    const WaveList given = isShort ? readShortForm(list, state) : readLongForm(list, state);
    readOptions(given, state);
    planTable(state);
    openOutput(given, state);
    return runWave(state);
}

}  // namespace zcmds
