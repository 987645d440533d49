// PIDLATCH is placed between a controller and a plant and hands a loop over without a bump. Latched, it passes the
// controller's output to the plant and the plant's monitor to the controller. Released, it moves the drive to the set point
// through a slow filter and gives the controller a synthetic feedback to track; the filters start from what last passed
// through.

#include <bit>
#include <initializer_list>

#include "control/value_pipes.h"
#include "frame/checks.h"
#include "frame/element_type.h"
#include "frame/exact.h"
#include "host/parameters.h"
#include "module/commands.h"

namespace zcmds {

const char* const pidlatchSignature =
    "( const   pipe    (int16|int32|float|double)   setmon ,   out     typeof(setmon)   fbset ,   "
    "const   typeof(setmon)   ctrlmon ,   out     typeof(setmon)   drive ,   const   typeof(setmon)   plntmon ,   "
    "in      pipe    (int16|int32)   mode )";

namespace {

struct LatchState {
    PipeHandle setmon{};        // set points
    PipeHandle fbset{};         // feedback for the controller
    PipeHandle ctrlmon{};       // the controller's output
    PipeHandle drive{};         // drive for the plant
    PipeHandle plntmon{};       // the plant's monitor
    PipeHandle mode{};          // latches or releases
    ParamMask elementType = 0;  // of all but mode
};

struct LoopState {
    bool latched = true;
    double driveFilter = 0;
    double controlFilter = 0;
    double setValue = 0;  // the latest from setmon
};

// 1/30, 29/30, 0.05 and 0.95 in single precision, held as doubles.
constexpr double driveGain = 0.03333333507180214, drivePole = 0.9666666388511658;
constexpr double controlGain = 0.05000000074505806, controlPole = 0.949999988079071;

// The low half as a signed number latches; else the whole word decides, read as a float, whatever the pipe's type.
bool latchedAfter(std::uint32_t word, bool latched) {
    if (wrap<std::int16_t>(word) >= 1) return true;
    if (std::bit_cast<float>(word) <= 0) return false;
    return latched;
}

// Both monitors pass unchanged, and the filters keep up with them.
template <class Element>
void passThrough(const LatchState& pipes, LoopState& state) {
    const auto plant = takeValue<Element>(pipes.plntmon);
    sendValue(pipes.fbset, plant);
    const auto control = takeValue<Element>(pipes.ctrlmon);
    sendValue(pipes.drive, control);
    zepl::task_switch();
    state.driveFilter = static_cast<double>(control);
    state.controlFilter = static_cast<double>(plant);
}

// The drive leaves before the others run, and the monitors are taken after: the plant answers to the drive in between.
template <class Element>
void takeOver(const LatchState& pipes, LoopState& state) {
    state.driveFilter = state.driveFilter * drivePole + state.setValue * driveGain;
    sendValue(pipes.drive, truncateTo<Element>(state.driveFilter));
    zepl::task_switch();
    const auto plant = static_cast<double>(takeValue<Element>(pipes.plntmon));
    sendValue(pipes.fbset, truncateTo<Element>(state.setValue + state.controlFilter - plant));
    const auto control = static_cast<double>(takeValue<Element>(pipes.ctrlmon));
    state.controlFilter = control * controlGain + state.controlFilter * controlPole;
}

template <class Element>
[[noreturn]] void runLatch(const LatchState& pipes) {
    LoopState state;
    for (;;) {
        if (zepl::pipe_num(pipes.setmon) != 0) state.setValue = static_cast<double>(takeValue<Element>(pipes.setmon));
        if (zepl::pipe_num(pipes.mode) != 0) {
            // A mode pipe of int16 fills the low half alone.
            std::uint32_t word = 0;
            zepl::pipe_value_get(pipes.mode, &word);
            state.latched = latchedAfter(word, state.latched);
        }
        if (state.latched)
            passThrough<Element>(pipes, state);
        else
            takeOver<Element>(pipes, state);
    }
}

}  // namespace

std::uint32_t pidlatch(ParamList list) {
    std::int32_t count;
    const Slot* params =
        zepl::param_process(list, &count, 6, 6, anyPipe, anyPipe, anyPipe, anyPipe, anyPipe, integerPipe);
    for (const std::int32_t position : {2, 3, 4, 5}) checkSameElementType(list, {.source = 1, .destination = position});
    const LatchState pipes{.setmon = handleIn<PipeHandle>(params[1]),
                           .fbset = handleIn<PipeHandle>(params[2]),
                           .ctrlmon = handleIn<PipeHandle>(params[3]),
                           .drive = handleIn<PipeHandle>(params[4]),
                           .plntmon = handleIn<PipeHandle>(params[5]),
                           .mode = handleIn<PipeHandle>(params[6]),
                           .elementType = zepl::param_type(list, 1)};
    zepl::pipe_open(pipes.setmon, zepl::OpenMode::read);
    zepl::pipe_open(pipes.fbset, zepl::OpenMode::write);
    zepl::pipe_open(pipes.ctrlmon, zepl::OpenMode::read);
    zepl::pipe_open(pipes.drive, zepl::OpenMode::write);
    zepl::pipe_open(pipes.plntmon, zepl::OpenMode::read);
    zepl::pipe_open(pipes.mode, zepl::OpenMode::read);
    return forElementType(pipes.elementType, [&]<class Element>() -> std::uint32_t { runLatch<Element>(pipes); });
}

}  // namespace zcmds
