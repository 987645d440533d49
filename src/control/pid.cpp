// PID controls a process in a closed loop: each measurement gives one drive value, which depends on the latest set point
// and on gains that can be replaced while the loop runs. It works value by value, for the minimum delay.

#include <initializer_list>

#include "control/value_pipes.h"
#include "frame/checks.h"
#include "frame/element_type.h"
#include "frame/exact.h"
#include "frame/turns.h"
#include "host/modules.h"
#include "host/parameters.h"
#include "module/commands.h"

namespace zcmds {

const char* const pidSignature =
    "( const   pipe     (int16|int32|float|double)  setpt ,   const   typeof(setpt)    feedb ,   "
    "in      pipe     float   gains ,   const   storage  float   tsamp ,   out     typeof(setpt)    drive    [ , "
    "in    storage  elementof(setpt)  lolim     , in    storage  elementof(setpt)  hilim  ]  )";

namespace {

struct PidController {
    PipeHandle setpt{};           // set points
    PipeHandle feedb{};           // measurements
    PipeHandle gains{};           // gain sets: K, Ti, Td, Kz
    PipeHandle drive{};           // output
    ParamMask elementType = 0;    // of setpt, feedb and drive
    double K = 0;                 // loop gain, on every term; 0.0001 to 1000
    double Ti = 0;                // integral time, in the unit of tsamp; 0 (no integral term) to 10000
    double Td = 0;                // derivative time, in the unit of tsamp; 0 to 100
    double Kz = 0;                // weight of the set point in the proportional term; 0 to 1
    double tsamp = 0;             // sampling interval
    double setpoint = 0;          // the latest
    double lolim = 0;             // minimum output
    double hilim = 0;             // maximum output
    double integralFactor = 0;    // tsamp / Ti, or 0 with no integral term
    double derivativeFactor = 0;  // Td / tsamp
};

struct LoopState {
    double errorSum = 0;          // of raw errors, with no factor: new gains rescale all of the past
    double filteredDelta = 0;     // low-pass filtered difference of the feedback
    double previousFeedback = 0;  // of the last sample; at first that of this sample
    double feedback = 0;          // of this sample
};

struct GainRange {
    const char* name;
    double minimum;
    double maximum;
};
constexpr int gainCount = 4;
constexpr GainRange gainRanges[gainCount] = {
    {"K", 0.0001, 1000.0}, {"Ti", 0.0, 10000.0}, {"Td", 0.0, 100.0}, {"Kz", 0.0, 1.0}};

// While the output is at a limit, errors are summed at this rate.
constexpr double windupRate = 0.08;

// Takes one gain set and puts it in force if all four are in range; else the earlier ones stay. Only the first set is
// reported on: a running loop must not end.
bool loadGains(PidController& controller, bool report) {
    double gains[gainCount];
    bool accepted = true;
    for (int i = 0; i < gainCount; ++i) {
        const auto& [name, minimum, maximum] = gainRanges[i];
        gains[i] = takeValue<float>(controller.gains);
        // A NaN passes the range check.
        if (!(gains[i] < minimum || gains[i] > maximum)) continue;
        accepted = false;
        if (!report) continue;
        zepl::printf("*** WARNING - PID %s gain %10.4e is out of range\r\n", name, gains[i]);
        zepl::param_error_msg(ParamError::outOfRange, 3);
    }
    if (!accepted) return false;
    controller.K = gains[0];
    controller.Ti = gains[1];
    controller.Td = gains[2];
    controller.Kz = gains[3];
    controller.integralFactor = controller.Ti == 0 ? 0 : controller.tsamp / controller.Ti;
    controller.derivativeFactor = controller.Td / controller.tsamp;
    return true;
}

// The value at the width of the pipe's elements, whatever kind it has itself.
double readLimit(Slot value, ParamMask elementType) {
    double limit = 0;
    forElementType(elementType, [&]<class Element>() -> std::uint32_t {
        limit = static_cast<double>(*valueIn<Element>(value));
        return 0;
    });
    return limit;
}

void readLimits(ParamList list, const Slot* params, PidController& controller) {
    for (const std::int32_t position : {6, 7})
        checkConstantForPipe(controller.elementType, zepl::param_type(list, position), position);
    controller.lolim = readLimit(params[6], controller.elementType);
    controller.hilim = readLimit(params[7], controller.elementType);
    if (controller.hilim < controller.lolim) {
        zepl::printf("*** ERROR - PID output range limits are inconsistent\n");
        zepl::param_error_msg(ParamError::inconsistentValues, 7);
    }
}

// The floating types are limited to the range of int16 as well, and no type reaches its most negative integer.
void useDefaultLimits(PidController& controller) {
    controller.hilim = controller.elementType == pipeInt32 ? 2147483647.0 : 32767.0;
    controller.lolim = -controller.hilim;
}

// The drive value for this sample's feedback.
inline double nextOutput(const PidController& controller, LoopState& state) {
    double error = controller.setpoint - state.feedback;
    state.filteredDelta = 0.35 * (state.feedback - state.previousFeedback) + 0.65 * state.filteredDelta;
    double output = controller.K * ((error + state.errorSum) * controller.integralFactor +
                                    (controller.Kz * controller.setpoint - state.feedback) -
                                    state.filteredDelta * controller.derivativeFactor);
    if (output >= controller.hilim) {
        output = controller.hilim;
        error = windupRate * error;
    } else if (output <= controller.lolim) {
        output = controller.lolim;
        error = windupRate * error;
    }
    state.errorSum += error;
    state.previousFeedback = state.feedback;
    return output;
}

// Not in line: between the host's calls the state would wander from registers to the stack and back.
[[gnu::noinline]] double singleOutput(const PidController& controller, LoopState& state) {
    return nextOutput(controller, state);
}

// What the turns do that the task has for itself, all at once. A set point that is not there stays as it was.
template <class Element>
void controlAlone(PidController& controller, LoopState& state) {
    constexpr std::int32_t most = 1024;
    const PipeHandle from[] = {controller.feedb, controller.setpt};
    const std::int32_t pipes = zepl::pipe_num(controller.setpt) != 0 ? 2 : 1;
    const void* values[2];
    void* results;
    const std::int32_t n = turns.alone(from, pipes, controller.drive, most, values, &results);
    if (n == 0) return;
    const auto* feedback = static_cast<const Element*>(values[0]);
    const auto* setpoint = pipes == 2 ? static_cast<const Element*>(values[1]) : nullptr;
    auto* drive = static_cast<Element*>(results);
    const PidController& constant = controller;
    LoopState local = state;
    for (std::int32_t i = 0; i < n; ++i) {
        local.feedback = static_cast<double>(feedback[i]);
        if (setpoint != nullptr) controller.setpoint = static_cast<double>(setpoint[i]);
        drive[i] = truncateTo<Element>(nextOutput(constant, local));
    }
    state = local;
    turns.done(from, pipes, controller.drive, n);
}

// An output that is not a number gives what its conversion gives: -2147483648 as int32 and, of that the low bits, 0 as
// int16.
template <class Element>
[[noreturn]] void control(PidController& controller) {
    LoopState state;
    awaitValue(controller.setpt);
    state.feedback = static_cast<double>(takeValue<Element>(controller.feedb));
    state.previousFeedback = state.feedback;
    for (;;) {
        if (zepl::pipe_num(controller.setpt) != 0)
            controller.setpoint = static_cast<double>(takeValue<Element>(controller.setpt));
        sendValue(controller.drive, truncateTo<Element>(singleOutput(controller, state)));
        zepl::task_switch();
        if (zepl::pipe_num_complete(controller.gains, gainCount) >= gainCount)
            loadGains(controller, false);
        else
            controlAlone<Element>(controller, state);
        state.feedback = static_cast<double>(takeValue<Element>(controller.feedb));
    }
}

}  // namespace

std::uint32_t pid(ParamList list) {
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 5, 7, anyPipe, anyPipe, pipeFloat, constantFloat, anyPipe,
                                             constantScalar, constantScalar);
    if (count == 6) zepl::param_error_msg(ParamError::missing, 7);
    PidController controller;
    controller.elementType = zepl::param_type(list, 2);
    checkSameElementType(list, {.source = 1, .destination = 2});
    checkSameElementType(list, {.source = 1, .destination = 5});
    controller.setpt = handleIn<PipeHandle>(params[1]);
    controller.feedb = handleIn<PipeHandle>(params[2]);
    controller.gains = handleIn<PipeHandle>(params[3]);
    controller.drive = handleIn<PipeHandle>(params[5]);
    zepl::pipe_open(controller.setpt, zepl::OpenMode::read);
    zepl::pipe_open(controller.feedb, zepl::OpenMode::read);
    zepl::pipe_open(controller.gains, zepl::OpenMode::read);
    zepl::pipe_open(controller.drive, zepl::OpenMode::write);
    controller.tsamp = *valueIn<float>(params[4]);
    loadGains(controller, true);
    if (count == 7)
        readLimits(list, params, controller);
    else
        useDefaultLimits(controller);
    return forElementType(controller.elementType,
                          [&]<class Element>() -> std::uint32_t { control<Element>(controller); });
}

}  // namespace zcmds
