#include "runtime/engine/scheduler.h"

#include <fstream>
#include <utility>

#include "runtime/engine/engine.h"

namespace libzepl {

namespace {

// Enough for the host's own calls below a command's frames, formatted printing of doubles among them, and for a transform
// of many factors, whose stages nest: with three plans beside it, it takes up to 100 KB where vectors are narrow. Pages that
// are never touched cost nothing. Instrumented builds have larger frames.
#if defined(LIBZEPL_ADDRESS_SANITIZER) || defined(LIBZEPL_THREAD_SANITIZER)
constexpr std::size_t baseStack = 512 * 1024;
#else
constexpr std::size_t baseStack = 256 * 1024;
#endif

// Stacks begin at different places of their pages: at the same place, the tops of many would share a few cache lines.
constexpr std::size_t stackPlaces = 32, stackStep = 128;

// After so many yields the round ends all the same, so that a request to stop is seen.
constexpr std::uint32_t maxSoloYields = 255;

constexpr const char* commandsFault = "it is a fault of the command: report it to the author of its module";

// Adds what the exception says, where there is memory for it.
void addReason(Task& task, const char* reason) noexcept {
    try {
        task.outcome.text += ": " + quoted(reason);
    } catch (const std::bad_alloc&) {
        return;
    }
}

// Notes what became of the task. The handlers must not be left by a switch.
void runRoutine(Task& task) noexcept {
    try {
        const std::uint32_t result = task.command->entry(static_cast<zepl::ParamList>(task.number));
        task.outcome.exit = result;
        task.end(TaskReport::State::exited, "its routine returned " + std::to_string(result));
    } catch (const std::bad_alloc&) {
        task.end(TaskReport::State::fault, "the system has no more memory",
                 "close other programs, or raise what a process may take (ulimit -v)");
    } catch (const std::exception& exception) {
        task.end(TaskReport::State::fault, "an exception left the command", commandsFault);
        addReason(task, exception.what());
    } catch (...) {
        task.end(TaskReport::State::fault, "an exception left the command", commandsFault);
    }
}

void runTask(Context* left) {
    Engine& e = *engine;
    Task& task = *e.scheduler.current;
    arrived(left, task.context);
    task.outcome.began = true;
    runRoutine(task);
    leaveCurrent(e);
}

// Says what the session's limit had no room for, and where the room went when the tasks' number alone takes it.
std::string ranOut(const Engine& e, std::string what) {
    std::string text =
        "memory ran out at " + std::move(what) + ": the limit is " + std::to_string(e.graph.memory.limit()) + " bytes";
    std::uint64_t stacks = 0, bytes = 0;
    for (const Task& task : e.graph.tasks) {
        stacks += task.stackBytes != 0 ? 1 : 0;
        bytes += task.stackBytes;
    }
    if (bytes > e.graph.memory.limit() / 2)
        text += ", and the stacks of " + std::to_string(stacks) + " tasks hold " + std::to_string(bytes) + " of it";
    return text;
}

// How many pieces of memory the system lets a process map; 0 where it does not say.
std::uint64_t maxMappings() {
    std::uint64_t most = 0;
    std::ifstream("/proc/sys/vm/max_map_count") >> most;
    return most;
}

// Says why the system gives no stack, though the session's limit has room for it.
void explainRefusedStack(Task& task) {
    const std::uint64_t most = maxMappings(), taken = 2 * std::uint64_t{task.number};
    task.outcome.text = "the system has no memory for its stack";
    task.outcome.remedy = "use fewer tasks, or raise what a process may take (ulimit -v)";
    // Each stack and its guard are two mappings; the program itself has some hundreds at most.
    if (taken + 1000 < most || most == 0) return;
    task.outcome.text = "the system has no room for its stack: each task takes two memory mappings, and " +
                        std::to_string(most) + " are allowed";
    task.outcome.remedy = "use fewer tasks, or allow more: sysctl vm.max_map_count=" + std::to_string(2 * most);
}

}  // namespace

void outOfMemory(Engine& e, std::string what) {
    std::string text = ranOut(e, std::move(what));  // nothing may stay in this frame, which is left for good
    e.outcome.finish(RunEnd::failed, {}, {});
    endCurrent(e, TaskReport::State::fault, std::move(text), "ask for less, or raise the limit with --memory");
}

void misuse(Engine& e, std::string what) {
    endCurrent(e, TaskReport::State::fault, "the command uses the host wrongly: " + std::move(what));
}

void Scheduler::pushReady(Task& task) {
    task.state = TaskState::ready;
    task.nextReady = nullptr;
    if (readyTail == nullptr)
        readyHead = &task;
    else
        readyTail->nextReady = &task;
    readyTail = &task;
    ++readyCount;
}

// Records the activity that the fast path of pipe_value_get did not.
inline void noteDrivenValues(Engine& e) {
    if (e.scheduler.readDrivenValue) {
        e.activity.noteDrivenRead(e.scheduler.round);
        e.activity.noteChange(e.scheduler.round);
    }
    e.scheduler.readDrivenValue = false;
}

// Out of line, so that a switch within a round stays short.
[[gnu::noinline]] void switchAtRoundEnd(Engine& e) {
    noteDrivenValues(e);
    if (e.scheduler.roundEnds(e)) {
        Context& left = e.scheduler.current->context;
        e.scheduler.current = nullptr;
        return switchContext(left, e.scheduler.dispatcher);
    }
    e.scheduler.beginRound();
    // In a lane rounds are counted as in the whole session, where others are ready.
    if (e.scheduler.readyCount == 1 && e.lane == nullptr && e.graph.inputsEnded() && !e.watches.any())
        e.scheduler.soloYieldsLeft = maxSoloYields;
    e.scheduler.switchToReady();
}

void switchAway(Engine& e) {
    if (e.scheduler.roundLeft == 0) [[unlikely]]
        return switchAtRoundEnd(e);
    e.scheduler.switchToReady();
}

// Continues the turn of the current task where nothing but the count of rounds would change by its yield: no other task is
// ready, inputs and outputs have nothing to do, and what it read since the last yield keeps the run going.
inline bool continueSolo(Engine& e) {
    if (!e.scheduler.readDrivenValue || e.scheduler.soloYieldsLeft == 0 || e.scheduler.readyCount != 0 ||
        e.scheduler.serviceRequested)
        return false;
    noteDrivenValues(e);
    ++e.scheduler.round;
    --e.scheduler.soloYieldsLeft;
    return true;
}

void yieldCurrent(Engine& e) {
    if (continueSolo(e)) return;
    e.scheduler.pushReady(*e.scheduler.current);
    switchAway(e);
}

// Time jumps to the end of the pause where nothing at all can happen before it, and the pause continues an earlier one. The
// first pauses after a change end by the rounds, which check whether a channel must grow.
bool skipPause(Engine& e) {
    const Scheduler& scheduler = e.scheduler;
    const bool othersRest = scheduler.readyCount == 0 && e.timing.pausing.empty() && !scheduler.serviceRequested &&
                            e.setUpDone && e.graph.inputsEnded() && !e.watches.any() && !e.pace.isOn();
    if (!othersRest || !e.activity.isUnchangedSinceJump() || e.timing.jumpsLeft == 0 ||
        !scheduler.current->continuesWait)
        return false;
    --e.timing.jumpsLeft;
    e.timing.clock.jumpTo(scheduler.current->due);
    return true;
}

void releaseMemory(Engine& e, Task& task) {
    task.releaseMemory();
    e.graph.memory.release(task.stackBytes);
    task.stackBytes = 0;
}

// The task cannot start, so none does: their stacks are given back, to have memory for what is to be told.
void refuseStart(Engine& e, Task& task) {
    task.state = TaskState::ended;
    task.outcome.state = TaskReport::State::fault;
    e.outcome.finish(RunEnd::failed);
    for (Task& each : e.graph.tasks) releaseMemory(e, each);
}

void reserveStack(Engine& e, Task& task) {
    const std::uint64_t bytes = baseStack + stackPlaces * stackStep + task.command->taskSpace;
    if (!e.graph.memory.reserve(bytes)) {
        task.outcome.text = ranOut(e, "its stack");
        task.outcome.remedy = "use fewer tasks, or raise the limit with --memory";
        return refuseStart(e, task);
    }
    task.reserveTexts();
    task.stackBytes = bytes;
}

// Tasks that one stack serves are refused where each could have none of its own.
bool canMapStacks(std::uint64_t tasks) {
    constexpr std::uint64_t fewTasks = 4096;
    if (tasks < fewTasks) return true;
    const std::uint64_t most = maxMappings();
    return most == 0 || 2 * tasks <= most;
}

void makeStack(Engine& e, Task& task) {
    const std::size_t skipped = task.number % stackPlaces * stackStep;
    task.stack = Stack(task.stackBytes);
    if (!task.stack) {
        explainRefusedStack(task);
        return refuseStart(e, task);
    }
    task.context = makeContext<runTask>(task.stack, skipped);
}

void startTasks(Engine& e) {
    for (Task& task : e.graph.tasks) {
        if (e.outcome.isRunning()) reserveStack(e, task);
        if (e.outcome.isRunning() && !e.options.setUpOnly) makeStack(e, task);
        if (e.outcome.isRunning() && !e.options.setUpOnly) e.scheduler.pushReady(task);
    }
    if (!e.options.setUpOnly || !e.outcome.isRunning() || canMapStacks(e.graph.tasks.size())) return;
    explainRefusedStack(e.graph.tasks.back());
    refuseStart(e, e.graph.tasks.back());
}

Task* takeSetUp(Engine& e) {
    if (!e.options.setUpOnly || e.setUpDone) return nullptr;
    Scheduler& scheduler = e.scheduler;
    if (scheduler.setUps > 0) e.graph.tasks[scheduler.setUps - 1].releaseStack();
    if (scheduler.setUps == e.graph.tasks.size()) return nullptr;
    Task& task = e.graph.tasks[scheduler.setUps++];
    makeStack(e, task);
    if (!e.outcome.isRunning()) return nullptr;
    ++scheduler.turn;
    scheduler.current = &task;
    return &task;
}

// Leaves the current task for good. The texts' storage passes to the task's outcome, so that the frames own nothing.
void endCurrent(Engine& e, TaskReport::State state, std::string text, std::string remedyText) {
    Task& task = *e.scheduler.current;
    task.outcome.state = state;
    // Reserved storage must not pass to the arguments, whose frames are left for good.
    std::string().swap(task.outcome.text);
    std::string().swap(task.outcome.remedy);
    task.outcome.text = std::move(text);
    task.outcome.remedy = std::move(remedyText);
    leaveCurrent(e);
}

void endCurrent(Engine& e, TaskReport::State state, const char* text, const char* remedyText) {
    e.scheduler.current->end(state, text, remedyText);
    leaveCurrent(e);
}

// Nothing here may fail: `ended` has room for every task.
void leaveCurrent(Engine& e) {
    Task& task = *e.scheduler.current;
    task.state = TaskState::ended;
    const TaskReport::State state = task.outcome.state;
    // A set-up error in the first round lets the other tasks report theirs.
    const bool setUpFailed = state == TaskReport::State::error || state == TaskReport::State::refused;
    if (setUpFailed && e.setUpDone) e.outcome.finish(RunEnd::refused);
    e.scheduler.ended.push_back(&task);
    e.scheduler.current = nullptr;
    abandonContext(task.context, e.scheduler.dispatcher);
}

}  // namespace libzepl
