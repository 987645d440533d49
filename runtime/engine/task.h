// A task: one use of a command, with its parameters, its memory and its stack.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "host/handles.h"
#include "runtime/base/memory.h"
#include "runtime/commands.h"
#include "runtime/engine/channels.h"
#include "runtime/engine/context.h"
#include "runtime/report.h"

namespace libzepl {

// The storage of a scalar: eight bytes, integers sign-extended, so that a narrow value reads right at any width.
struct alignas(8) Cell {
    std::byte bytes[8]{};
};
void storeCell(Cell& cell, ElementType type, const void* value);

struct Variable {
    std::string name;
    ElementType type = ElementType::int16;
    Cell cell;
};

struct Vector {
    std::string name;
    ElementType type = ElementType::int16;
    std::uint64_t length = 0;
    AlignedBytes elements;
};

struct Parameter {
    zepl::ParamMask kind = 0;
    zepl::Slot slot = 0;
    std::string name;  // as the user wrote it
    Cell cell;         // of a constant or a host's keyword
    std::string text;  // of a string or a declared keyword
};

enum class TaskState : std::uint8_t { ready, waitingForElements, waitingForEvent, waitingForRoom, pausing, ended };

// How lately a task read something that inputs drive. The tasks of a cycle share one, so that the cycle counts as a whole.
struct Drive {
    std::uint32_t turnsLeft =
        0;                       // for so many more turns of reading other things, what the tasks write is input-driven
    std::uint32_t window = 256;  // what a read of something input-driven makes of it
};

struct Engine;
struct Task;

// What a task of the runtime's own runs in place of a module's command.
struct TaskRoutine {
    virtual ~TaskRoutine() = default;
    virtual std::uint32_t run(Engine& e, Task& task) = 0;

    Command command;                         // the name of the task, for messages
    std::vector<const Variable*> variables;  // that it reads
};

struct Task {
    explicit Task(MemoryBudget& budget) : arena(budget) {}

    // "FFT (line 7)", as messages name it, or "FFT[2] (line 7)".
    std::string label() const {
        return command->name + (element > 0 ? "[" + std::to_string(element) + "]" : "") +
               (line > 0 ? " (line " + std::to_string(line) + ")" : "");
    }

    // What becomes of it, in texts that need no memory, as far as they have room.
    void end(TaskReport::State endState, std::string_view text, std::string_view remedy = {}) noexcept;
    // What it took of the machine; it does not run again.
    void releaseMemory();
    void releaseStack();
    // Makes room for such texts.
    void reserveTexts();

    Context context;
    Task* nextReady = nullptr;
    TaskState state = TaskState::ready;
    std::variant<PipePort*, TriggerPort*> waitingAt;  // the port that it waits at, when it does
    std::uint64_t due = 0;                            // of a pause, in units of the clock
    std::uint32_t readingPorts = 0;                   // channels that it has open for reading
    std::uint64_t signalTurn = 0;   // the last turn in which it moved a status on, set a digital bit or paused
    std::uint64_t pausedTicks = 0;  // since it last read something
    bool continuesWait = false;     // its pause only continues what it waited for before, as the inputs made it
    std::uint64_t seenFrames = 0;   // frames that inputs had given when it last looked at the clock
    bool followsClock = false;      // it has looked at the sampling clock
    bool takesGenerators = false;   // what it takes from a generator counts as from an input

    Drive ownDrive;
    Drive* drive = &ownDrive;
    std::uint64_t readTurn = 0;  // the last turn in which it read something
    // As the checks of the session's patience find it.
    std::uint64_t seenReadTurn = 0;
    std::uint64_t writesAtRead = 0;  // at the first check after that
    std::uint64_t writesAtCheck = 0;
    bool outOfPatience = false;  // it has written more than the patience since it last read anything

    std::uint32_t number = 0;  // from 1; also its parameter list's handle
    const Command* command = nullptr;
    std::unique_ptr<TaskRoutine> routine;  // of a task that runs no module's command
    int line = 0;
    std::int64_t element = 0;  // of tasks that stand in one line; 0 is none
    std::string signatureAdvice;
    std::deque<Parameter> parameters;  // position 1 first; addresses of cells and texts stay
    std::vector<zepl::Slot> slots;     // indexed from 1
    bool listChecked = false;          // its command knows how many parameters there are
    std::deque<PipePort> pipePorts;
    std::deque<TriggerPort> triggerPorts;
    Arena arena;
    Stack stack;
    std::uint64_t stackBytes = 0;  // as counted against the session's memory
    TaskReport outcome;
};

// Calls `look` with each port of the task, of pipes and of triggers.
template <class TaskType, class Look>
void forEachPort(TaskType& task, Look look) {
    for (auto& port : task.pipePorts) look(port);
    for (auto& port : task.triggerPorts) look(port);
}

}  // namespace libzepl
