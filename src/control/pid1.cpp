// PID1 is the plain controller for int16: its gains are scaled integers, which can be changed at any sample, and its set
// point is a variable. It computes in single precision.

#include "frame/turns.h"
#include "frame/types.h"
#include "host/modules.h"
#include "host/parameters.h"
#include "host/pipes.h"
#include "host/tasks.h"
#include "module/commands.h"

namespace zcmds {

namespace {

// Everything but the pipes is read through its pointer at every sample, since other tasks may write it.
struct Pid1Controller {
    const std::int16_t* setpoint = nullptr;
    PipeHandle feedback{};
    PipeHandle drive{};
    const std::int16_t* proportional = nullptr;  // in hundredths
    const std::int16_t* integral = nullptr;      // in ten-thousandths a sample
    const std::int16_t* derivative = nullptr;    // in hundredths of a sample
    const std::int16_t* lowLimit = nullptr;
    const std::int16_t* highLimit = nullptr;
    float kp = 0;  // the gains themselves
    float ki = 0;
    float kd = 0;

    void readGains() {
        kp = static_cast<float>(*proportional / 100.0);
        ki = static_cast<float>(*integral / 10000.0);
        kd = static_cast<float>(*derivative / 100.0);
    }
};

constexpr std::int16_t minOutput = -32767, maxOutput = 32767;  // where the list has no limits

// Sums, differences and products are formed in double and rounded once, term by term.
float unlimitedOutput(const Pid1Controller& controller, float error, float sum, float delta) {
    const auto i = static_cast<float>((double{error} + double{sum}) * double{controller.ki});
    const auto p = static_cast<float>(double{controller.kp} * double{error});
    const auto d = static_cast<float>(-double{delta} * double{controller.kd});
    return static_cast<float>(double{i} + double{p} + double{d});
}

// At a limit the error becomes 0, so that it is not summed. Where the limits are crossed, the upper one applies.
std::int16_t limited(float output, const Pid1Controller& controller, float& error) {
    const std::int16_t high = *controller.highLimit, low = *controller.lowLimit;
    if (output >= high) {
        error = 0;
        return high;
    }
    if (output <= low) {
        error = 0;
        return low;
    }
    return static_cast<std::int16_t>(output);
}

struct Pid1State {
    float sum = 0;              // of errors
    std::int16_t previous = 0;  // feedback
};

// The drive value for this feedback.
inline std::int16_t nextOutput(const Pid1Controller& controller, Pid1State& state, std::int16_t current) {
    auto error = static_cast<float>(*controller.setpoint - current);
    const auto delta = static_cast<float>(current - state.previous);
    const std::int16_t value = limited(unlimitedOutput(controller, error, state.sum, delta), controller, error);
    state.sum += error;
    state.previous = current;
    return value;
}

// What the turns do that the task has for itself, all at once: variables stay as they are meanwhile.
void controlAlone(const Pid1Controller& controller, Pid1State& state) {
    constexpr std::int32_t most = 1024;
    const void* values;
    void* results;
    const std::int32_t n = turns.alone(&controller.feedback, 1, controller.drive, most, &values, &results);
    if (n == 0) return;
    const auto* feedback = static_cast<const std::int16_t*>(values);
    auto* drive = static_cast<std::int16_t*>(results);
    for (std::int32_t i = 0; i < n; ++i) drive[i] = nextOutput(controller, state, feedback[i]);
    turns.done(&controller.feedback, 1, controller.drive, n);
}

[[noreturn]] void control(Pid1Controller& controller) {
    Pid1State state;
    auto current = static_cast<std::int16_t>(zepl::pipe_get(controller.feedback));
    state.previous = current;
    for (;;) {
        zepl::pipe_put(controller.drive, nextOutput(controller, state, current));
        zepl::task_switch();
        controller.readGains();
        controlAlone(controller, state);
        current = static_cast<std::int16_t>(zepl::pipe_get(controller.feedback));
    }
}

// The position of the drive, which follows a latch if there is one.
std::int32_t findDrive(ParamList list, std::int32_t count) {
    if (zepl::param_type(list, 6) == variableInt16) {
        zepl::printf("*** Warning: PID1 output latch feature is not supported.\r\n");
        if (count < 7) zepl::param_error_msg(ParamError::missing, 7);
        if (zepl::param_type(list, 7) != pipeInt16) zepl::param_error_msg(ParamError::wrongKind, 7);
        return 7;
    }
    if (zepl::param_type(list, 6) != pipeInt16) zepl::param_error_msg(ParamError::wrongKind, 6);
    if (count == 10) zepl::param_error_msg(ParamError::tooMany, 10);
    return 6;
}

// The number of parameters after the drive decides what they are: a rate, two limits, or two limits and a rate.
void readOptions(ParamList list, const Slot* params, std::int32_t count, std::int32_t drive,
                 Pid1Controller& controller) {
    const std::int32_t options = count - drive;
    if (options % 2 == 1) zepl::printf("*** Warning: PID1 rate limiter feature is not supported\r\n");
    controller.lowLimit = &minOutput;
    controller.highLimit = &maxOutput;
    if (options >= 2) {
        // The masks admit a pipe where a drive after a latch would be.
        if (zepl::param_type(list, drive + 1) == pipeInt16) zepl::param_error_msg(ParamError::wrongKind, drive + 1);
        controller.lowLimit = valueIn<std::int16_t>(params[drive + 1]);
        controller.highLimit = valueIn<std::int16_t>(params[drive + 2]);
    }
    if (*controller.lowLimit > *controller.highLimit) {
        zepl::printf("*** Error: PID1 output range limits reversed\n");
        zepl::param_error_msg(ParamError::inconsistentValues, 8);
    }
}

}  // namespace

std::uint32_t pid1(ParamList list) {
    constexpr ParamMask int16Value = variableInt16 | constantInt16;
    std::int32_t count;
    const Slot* params =
        zepl::param_process(list, &count, 6, 10, pipeInt16, variableInt16, int16Value, int16Value, int16Value,
                            pipeInt16 | variableInt16, pipeInt16 | int16Value, int16Value, int16Value, int16Value);
    Pid1Controller controller;
    const std::int32_t drive = findDrive(list, count);
    readOptions(list, params, count, drive, controller);
    controller.setpoint = valueIn<std::int16_t>(params[2]);
    controller.feedback = handleIn<PipeHandle>(params[1]);
    controller.drive = handleIn<PipeHandle>(params[drive]);
    controller.proportional = valueIn<std::int16_t>(params[3]);
    controller.integral = valueIn<std::int16_t>(params[4]);
    controller.derivative = valueIn<std::int16_t>(params[5]);
    controller.readGains();
    zepl::pipe_open(controller.feedback, zepl::OpenMode::read);
    zepl::pipe_open(controller.drive, zepl::OpenMode::write);
    control(controller);
}

}  // namespace zcmds
