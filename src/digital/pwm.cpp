// PWM modulates one bit of a stream of words so that the bit's mean follows a duty from 0 to 1: a sigma-delta modulator of
// first order, with a minimum width of pulses and gaps, and a little dither that breaks up the patterns of a duty at rest.

#include <new>

#include "frame/exact.h"
#include "frame/values.h"
#include "host/memory.h"
#include "host/parameters.h"
#include "host/pipes.h"
#include "module/commands.h"

namespace zcmds {

const char* const pwmSignature =
    "( const  pipe     (int16|float)  duty ,   const  storage  int16  minwidth ,   const  storage  int16  bitsel ,   "
    "const  pipe     int16  unmod ,   out    pipe     int16  mod )";

namespace {

enum class Phase : std::int32_t { start = 0, high = 1, low = 2 };

struct PwmState {
    Phase phase = Phase::start;
    std::int32_t hold = 0;  // samples that the phase still lasts; counts on below 0
    double error = 0;       // how far the bit's sum is from the duty's
    double dutyValue = 0;   // 0 to 1
    std::uint32_t& rng;     // the generator's state
    std::int32_t minwidth;  // samples, above 0
};

// The next state of the generator, 16807 times the last modulo 2^31 - 1.
std::uint32_t nextNumber(std::uint32_t x) {
    const std::uint64_t product = std::uint64_t{16807} * x;
    const auto sum = static_cast<std::uint32_t>((product & 0x7FFFFFFF) + (product >> 31));
    return (sum & 0x80000000) != 0 ? sum - 0x7FFFFFFF : sum;
}

// 0 in three of four decisions, else 1 or -1.
double drawDither(PwmState& state) {
    state.rng = nextNumber(state.rng);
    if ((state.rng & 0x6000000) != 0) return 0.0;
    return (state.rng & 0x8000000) != 0 ? 1.0 : -1.0;
}

bool enter(PwmState& state, Phase phase) {
    state.hold = state.minwidth;
    state.phase = phase;
    return phase == Phase::high;
}

bool startBit(PwmState& state) {
    if (!(state.dutyValue > 0.0)) return false;
    state.error = 0.0;
    return enter(state, Phase::high);
}

bool highBit(PwmState& state) {
    const double v = 1.0 - state.dutyValue;
    state.error += v;
    state.hold = wrappingDifference(state.hold, 1);
    if (state.hold > 0) return true;
    return drawDither(state) * v + state.error > 0.0 ? enter(state, Phase::low) : true;
}

bool lowBit(PwmState& state) {
    const double v = state.dutyValue;
    state.error -= v;
    state.hold = wrappingDifference(state.hold, 1);
    if (state.hold > 0) return false;
    return drawDither(state) * v + state.error <= 0.0 ? enter(state, Phase::high) : false;
}

// The bit of the next sample.
bool nextBit(PwmState& state) {
    switch (state.phase) {
        case Phase::high:
            return highBit(state);
        case Phase::low:
            return lowBit(state);
        default:
            return startBit(state);
    }
}

double dutyOf(std::int16_t x) { return x / 32767.0; }
double dutyOf(float x) { return x; }

// Takes a value if there is one; what is no duty is dropped.
template <class Duty>
void pollDuty(PipeHandle duty, PwmState& state) {
    if (zepl::pipe_num(duty) == 0) return;
    Duty value;
    zepl::pipe_value_get(duty, &value);
    const double d = dutyOf(value);
    if (0.0 <= d && d <= 1.0) state.dutyValue = d;
}

template <class Duty>
[[noreturn]] void modulate(const Slot* params, std::uint16_t bit, PwmState& state) {
    const auto duty = handleIn<PipeHandle>(params[1]), unmod = handleIn<PipeHandle>(params[4]),
               mod = handleIn<PipeHandle>(params[5]);
    for (;;) {
        pollDuty<Duty>(duty, state);
        std::uint16_t word;
        zepl::pipe_value_get(unmod, &word);
        word = static_cast<std::uint16_t>(nextBit(state) ? word | bit : word & ~bit);
        zepl::pipe_value_put(mod, &word);
    }
}

}  // namespace

std::uint32_t pwm(ParamList list) {
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 5, 5, pipeInt16 | pipeFloat, constantInt16, constantInt16,
                                             pipeInt16, pipeInt16);
    const std::int32_t minwidth = *valueIn<std::int16_t>(params[2]), bitsel = *valueIn<std::int16_t>(params[3]);
    if (minwidth < 1) zepl::param_error_msg(ParamError::notPositive, 2);
    if (bitsel < 0 || bitsel >= 16) zepl::param_error_msg(ParamError::outOfRange, 3);
    zepl::pipe_open(handleIn<PipeHandle>(params[1]), zepl::OpenMode::read);
    zepl::pipe_open(handleIn<PipeHandle>(params[4]), zepl::OpenMode::read);
    zepl::pipe_open(handleIn<PipeHandle>(params[5]), zepl::OpenMode::write);
    PwmState state{.rng = *new (zepl::malloc(sizeof(std::uint32_t))) std::uint32_t{1001011}, .minwidth = minwidth};
    const auto bit = static_cast<std::uint16_t>(1u << bitsel);
    if (zepl::param_type(list, 1) == pipeInt16) modulate<std::int16_t>(params, bit, state);
    modulate<float>(params, bit, state);
}

}  // namespace zcmds
