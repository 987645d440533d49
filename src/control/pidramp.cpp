// PIDRAMP turns each new level into a ramp from the level before, so that the set point of a controller changes smoothly. A
// ramp is `period` values long; between ramps nothing is written.

#include "control/ramp.h"
#include "control/value_pipes.h"
#include "frame/checks.h"
#include "frame/element_type.h"
#include "host/memory.h"
#include "module/commands.h"

namespace zcmds {

const char* const pidrampSignature =
    "( const   pipe    (int16|int32|float|double)  setlevel ,   out     typeof(setlevel)   ramped ,   "
    "( in      storage  int16  period  |     const   pipe     int16  period  ) ,   const   string  shape )";

namespace {

constexpr std::int32_t maxRampLength = 4096;

struct RampState {
    PipeHandle setlevel{};                      // levels
    PipeHandle ramped{};                        // the ramps' values
    PipeHandle periodPipe{};                    // the ramps' lengths, or none
    const std::int16_t* periodValue = nullptr;  // the ramps' length, where it comes from no pipe
    ParamMask elementType = 0;                  // of setlevel and ramped
    RampShape shapeCode = RampShape::none;
    std::int32_t rampLength = 0;  // values of this ramp, at most maxRampLength; below 2 a plain step
    double* rampTable = nullptr;  // maxRampLength fractions of the step that remain
};

// The constants make each curve end at about 0.
void fillRamp(RampShape shape, double* remaining, std::int32_t n) {
    switch (shape) {
        case RampShape::exponential:
            return fillExponential(remaining, n, n, 0.9193018, 2.0999997);
        case RampShape::hyperbolic:
            return fillHyperbolic(remaining, n, [](double tangent) { return (tangent + 0.9990000701) / 1.998001402; });
        default:
            return fillLinear(remaining, n);
    }
}

// The length and the table of the next ramp. A pipe with no new length leaves the last one.
void prepareRamp(RampState& state) {
    if (state.periodValue != nullptr)
        state.rampLength = *state.periodValue;
    else if (zepl::pipe_num(state.periodPipe) != 0)
        state.rampLength = static_cast<std::int16_t>(zepl::pipe_get(state.periodPipe));
    if (state.rampLength > maxRampLength) state.rampLength = maxRampLength;
    fillRamp(state.shapeCode, state.rampTable, state.rampLength);
}

template <class Element>
[[noreturn]] void serveLevels(RampState& state) {
    Element oldLevel = 0;
    for (;;) {
        const auto newLevel = takeValue<Element>(state.setlevel);
        prepareRamp(state);
        zepl::task_switch();
        const auto delta = static_cast<double>(wrappingStep(oldLevel, newLevel));
        for (std::int32_t i = 0; i < state.rampLength - 1; ++i) {
            sendValue(state.ramped, truncateTo<Element>(delta * state.rampTable[i] + static_cast<double>(newLevel)));
            zepl::task_switch();
        }
        sendValue(state.ramped, newLevel);
        oldLevel = newLevel;
    }
}

}  // namespace

std::uint32_t pidramp(ParamList list) {
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 4, 4, anyPipe, anyPipe,
                                             pipeInt16 | variableInt16 | constantInt16, stringKind);
    RampState state;
    state.elementType = zepl::param_type(list, 1);
    state.shapeCode = rampShapeAt(params, 4);
    checkSameElementType(list, {.source = 1, .destination = 2});
    state.setlevel = handleIn<PipeHandle>(params[1]);
    state.ramped = handleIn<PipeHandle>(params[2]);
    zepl::pipe_open(state.setlevel, zepl::OpenMode::read);
    zepl::pipe_open(state.ramped, zepl::OpenMode::write);
    const bool periodComes = zepl::param_type(list, 3) == pipeInt16;
    if (periodComes) {
        state.periodPipe = handleIn<PipeHandle>(params[3]);
        zepl::pipe_open(state.periodPipe, zepl::OpenMode::read);
    } else {
        state.periodValue = valueIn<std::int16_t>(params[3]);
    }
    state.rampTable = static_cast<double*>(zepl::ralloc(maxRampLength * sizeof(double)));
    awaitValue(state.setlevel);
    if (periodComes) awaitValue(state.periodPipe);
    return forElementType(state.elementType, [&]<class Element>() -> std::uint32_t { serveLevels<Element>(state); });
}

}  // namespace zcmds
