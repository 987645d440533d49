// PIDSCRAM is the emergency bypass of a set point. It passes values on until an alarm fires; from then on it ignores
// its input, drives its output along a ramp from the last value to a target, and holds the target forever.

#include <algorithm>

#include "control/ramp.h"
#include "control/value_pipes.h"
#include "frame/checks.h"
#include "frame/element_type.h"
#include "host/memory.h"
#include "host/pbufs.h"
#include "host/triggers.h"
#include "module/commands.h"

namespace zcmds {

const char* const pidscramSignature =
    "( const  pipe     (int16|int32|float|double)  setin ,   out    typeof(setin)  setdrv ,   "
    "const  storage  contentof(setin)  target ,   const  storage  int16  duration ,   const  string   shape ,   "
    "in     trigger  alarm )";

namespace {

constexpr std::int32_t holdLength = 64;

template <class Element>
struct ScramState {
    PipeHandle setin{};
    PipeHandle setdrv{};
    TriggerHandle alarm{};
    Element target = 0;  // where the ramp ends
    RampShape shapeCode = RampShape::none;
    std::int32_t duration = 0;       // values of the ramp; 0 and below are none
    PbufHandle outputPbuf{};         // on setdrv, over the ramp and then over the hold block
    std::byte* rampTable = nullptr;  // `duration` doubles: the fractions of the step that remain; later the ramp itself
    Element* holdBlock = nullptr;    // holdLength times the target
};

// These constants are not those of PIDRAMP: except for the straight one, the ramps stop short of the target, which the hold
// then reaches.
void fillScram(RampShape shape, double* remaining, std::int32_t n) {
    switch (shape) {
        case RampShape::exponential:
            return fillExponential(remaining, n, n + 1.0, 0.92, 2.1);
        case RampShape::hyperbolic:
            return fillHyperbolic(remaining, n, [](double tangent) { return 0.5 * (1 + tangent); });
        default:
            return fillLinear(remaining, n);
    }
}

// Everything is computed before any alarm: when it comes, no time is to be lost. A negative duration is taken as 0.
template <class Element>
void prepare(ScramState<Element>& state) {
    const auto length = static_cast<std::size_t>(std::max(state.duration, 0));
    state.rampTable = static_cast<std::byte*>(zepl::ralloc(length * sizeof(double)));
    fillScram(state.shapeCode, reinterpret_cast<double*>(state.rampTable), state.duration);
    state.holdBlock = static_cast<Element*>(zepl::ralloc(holdLength * sizeof(Element)));
    std::fill_n(state.holdBlock, holdLength, state.target);
}

template <class Element>
void open(ScramState<Element>& state) {
    zepl::pipe_open(state.setin, zepl::OpenMode::read);
    zepl::pipe_open(state.setdrv, zepl::OpenMode::write);
    zepl::trigger_open(state.alarm, zepl::OpenMode::read);
    state.outputPbuf = zepl::pbuf_open(state.setdrv, 0);
    zepl::pbuf_set_min_cnt(state.outputPbuf, 1);
    zepl::pbuf_set_max_cnt(state.outputPbuf, std::max(state.duration, holdLength));
}

// Passes values on until the alarm fires, and gives the value that was in hand then.
template <class Element>
Element passUntilAlarm(const ScramState<Element>& state) {
    for (;;) {
        const auto value = takeValue<Element>(state.setin);
        std::int32_t fired = 0;
        const std::uint32_t status = zepl::trigger_get_immediate(state.alarm, &fired);
        if (fired != 0) return value;
        sendValue(state.setdrv, value);
        zepl::trigger_set_status(state.alarm, status);
    }
}

// Integers truncate the product alone, so the sum wraps; single precision rounds both.
template <class Element>
Element rampElement(Element target, double remaining, Element delta) {
    const double product = remaining * static_cast<double>(delta);
    if constexpr (std::is_integral_v<Element>)
        return wrap<Element>(wrappingSum(target, truncateToInt32(product)));
    else
        return static_cast<Element>(product) + target;
}

// The ramp takes the place of its table: no element is wider than a double, so none is overwritten before it is read.
template <class Element>
void sendRamp(const ScramState<Element>& state, Element value) {
    const Element delta = wrappingStep(value, state.target);
    for (std::int32_t i = 0; i < state.duration; ++i) {
        double remaining;
        std::memcpy(&remaining, state.rampTable + static_cast<std::size_t>(i) * sizeof remaining, sizeof remaining);
        const Element element = rampElement(state.target, remaining, delta);
        std::memcpy(state.rampTable + static_cast<std::size_t>(i) * sizeof element, &element, sizeof element);
    }
    zepl::pbuf_set_data_ptr(state.outputPbuf, state.rampTable);
    zepl::pbuf_put_set_cnt(state.outputPbuf, state.duration);
    zepl::task_switch();
}

template <class Element>
[[noreturn]] void holdTarget(const ScramState<Element>& state) {
    zepl::pbuf_set_data_ptr(state.outputPbuf, state.holdBlock);
    for (;;) {
        zepl::pbuf_put_set_cnt(state.outputPbuf, holdLength);
        zepl::task_switch();
    }
}

template <class Element>
[[noreturn]] void scram(ParamList list, const Slot* params) {
    ScramState<Element> state;
    state.duration = *valueIn<std::int16_t>(params[4]);
    state.target = *valueIn<Element>(params[3]);
    checkSameElementType(list, {.source = 1, .destination = 2});
    state.shapeCode = rampShapeAt(params, 5);
    prepare(state);
    state.setin = handleIn<PipeHandle>(params[1]);
    state.setdrv = handleIn<PipeHandle>(params[2]);
    state.alarm = handleIn<TriggerHandle>(params[6]);
    open(state);
    sendRamp(state, passUntilAlarm(state));
    holdTarget(state);
}

}  // namespace

std::uint32_t pidscram(ParamList list) {
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 6, 6, anyPipe, anyPipe, constantScalar, constantInt16,
                                             stringKind, triggerKind);
    return forElementType(zepl::param_type(list, 1),
                          [&]<class Element>() -> std::uint32_t { scram<Element>(list, params); });
}

}  // namespace zcmds
