// Tasks, system information, vectors and memory for tasks.

#include <chrono>

#include "host/memory.h"
#include "host/modules.h"
#include "host/system_info.h"
#include "host/tasks.h"
#include "host/vectors.h"
#include "runtime/engine/lanes.h"
#include "runtime/engine/self_sustaining.h"
#include "runtime/host/handle_lookup.h"

namespace zepl {

using namespace libzepl;

void task_switch() { yieldCurrent(running()); }

void task_pause(std::uint32_t ticks) {
    // A long wait is made of many pauses in a row. None that a command makes lasts longer.
    constexpr std::uint64_t maxWait = std::uint64_t{1} << 32;
    Engine& e = running();
    if (ticks == 0) return yieldCurrent(e);
    requireWhole(e);
    Task& task = *e.scheduler.current;
    task.due = e.timing.clock.after(ticks);
    task.pausedTicks += ticks;
    task.continuesWait = isInputDriven(task) && !movedSince(task, e.scheduler.turn - 1) && task.pausedTicks <= maxWait;
    if (skipPause(e)) return;
    task.signalTurn = e.scheduler.turn;
    task.state = TaskState::pausing;
    e.timing.pausing.push_back(&task);
    switchAway(e);
}

void exit(std::uint32_t code) {
    Engine& e = running();
    e.scheduler.current->outcome.exit = code;
    endCurrent(e, TaskReport::State::exited, "ended itself with code " + std::to_string(code));
}

void RaiseException(Fault fault) {
    Engine& e = running();
    e.scheduler.current->outcome.code = static_cast<std::uint32_t>(fault);
    const bool overflow = fault == Fault::integerOverflow;
    endCurrent(e, TaskReport::State::fault,
               overflow ? "the quotient of an integer division is out of range" : "integer division by zero",
               "look at the divisor that it is given");
}

void RtlUnwind(void*, void*, void*, void*) {
    endCurrent(running(), TaskReport::State::fault, "the command's frames were left after an exception");
}

std::uint32_t sys_get_info(SysInfo selector) {
    Engine& e = running();
    const auto found = e.options.info.find(static_cast<std::uint32_t>(selector));
    if (found != e.options.info.end()) return found->second;
    const bool ofClock =
        selector == SysInfo::clock || selector == SysInfo::clockUnitsPerFrame || selector == SysInfo::clockRunning;
    if (ofClock) {
        requireWhole(e);
        readClock(e, *e.scheduler.current);
    }
    switch (selector) {
        case SysInfo::clock:
            return static_cast<std::uint32_t>(e.timing.clock.now());
        case SysInfo::clockUnitsPerFrame:
            return VirtualClock::unitsPerFrame;
        case SysInfo::clockRunning:
            return e.clockRuns() ? 1 : 0;
        case SysInfo::defaultBlock:
            return e.options.block;
        case SysInfo::blockTransfer:
            return 1;
        default:
            return 0;
    }
}

std::uint32_t sys_get_task_ID() { return running().scheduler.current->number; }

std::uint32_t sys_get_time() {
    Engine& e = running();
    if (e.setUpDone) requireWhole(e);
    return static_cast<std::uint32_t>(e.timing.clock.now());
}

std::uint64_t u64SystemTicksGet() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
}

std::uint64_t u64UsToSysTicks(std::uint32_t lowWord, std::uint32_t highWord) {
    return (std::uint64_t{highWord} << 32 | lowWord) * 1000;
}

void digital_set_bit(std::uint32_t bit, std::uint32_t value) {
    Engine& e = running();
    requireWhole(e);
    // With the room that a list doubles in, and the report's copy.
    if (!e.graph.memory.reserve(4 * sizeof(DigitalReport))) outOfMemory(e, "the digital changes");
    e.outcome.digital.push_back({e.timing.clock.frame(), bit, value});
    e.activity.noteChange(e.scheduler.round);
    e.scheduler.current->signalTurn = e.scheduler.turn;
}

namespace {

const Vector& vectorOf(Engine& e, VectorHandle vector) {
    const auto handle = static_cast<std::uint32_t>(vector);
    if (handle - 1 >= e.graph.vectors.size()) misuse(e, "vector handle " + std::to_string(handle) + " was never given");
    return e.graph.vectors[handle - 1];
}

void* checked(Engine& e, void* pointer, std::size_t bytes) {
    if (pointer == nullptr) outOfMemory(e, std::to_string(bytes) + " bytes");
    return pointer;
}

}  // namespace

std::int32_t vector_length(VectorHandle vector) { return countFor(vectorOf(running(), vector).length); }
void* vector_start(VectorHandle vector) { return vectorOf(running(), vector).elements.get(); }
ParamMask vector_type(VectorHandle vector) { return vectorKind(vectorOf(running(), vector).type); }

void* ralloc(std::size_t bytes) {
    Engine& e = running();
    return checked(e, e.scheduler.current->arena.allocateForTask(bytes), bytes);
}

void* malloc(std::size_t bytes) {
    Engine& e = running();
    return checked(e, e.scheduler.current->arena.allocateFromHeap(bytes), bytes);
}

void* alloc_zero_mem(std::size_t bytes) { return zepl::malloc(bytes); }

void free(void* pointer) {
    Engine& e = running();
    if (pointer != nullptr && !e.scheduler.current->arena.free(pointer)) misuse(e, "frees what it has not allocated");
}

}  // namespace zepl
