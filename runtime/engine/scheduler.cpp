// The ready queue and the switches between tasks. A task switches straight to the next; the hub runs only where a round
// ends with something for it to do, and when a task has ended.

#include <fstream>
#include <string>

#include "runtime/engine/stack_guard.h"
#include "runtime/host/handle_lookup.h"

namespace libzepl {

constinit thread_local Engine* engine [[gnu::tls_model("initial-exec")]] = nullptr;

namespace {

// Enough for the host's own calls below a command's frames, formatted printing of doubles among them, and for a transform
// of many factors, whose stages nest: with three plans beside it, it takes up to 100 KB where vectors are narrow. Pages that
// are never touched cost nothing. Instrumented builds have larger frames.
#if defined(LIBZEPL_ADDRESS_SANITIZER)
constexpr std::size_t baseStack = 512 * 1024;
#else
constexpr std::size_t baseStack = 256 * 1024;
#endif

// Then the round ends after all, so that the run looks whether it is to stop.
constexpr std::uint32_t mostAlonePasses = 255;

constexpr const char* commandsFault = "it is a fault of the command: report it to the author of its module";

// Adds what the exception says, where there is memory for it.
void addReason(Task& task, const char* reason) noexcept {
    try {
        task.outcome.text += ": " + quoted(reason);
    } catch (const std::bad_alloc&) {
        return;
    }
}

// What became of the task, said by the handlers below, which must not be left by a switch.
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

void runTask(boost::context::detail::transfer_t transfer) {
    Engine& e = *engine;
    Task& task = *e.current;
    arrived(transfer, task.context);
    task.outcome.began = true;
    runRoutine(task);
    e.leaveCurrent();
}

// Says what the session's limit had no room for, and where the room went when the tasks' number alone takes it.
std::string ranOut(const Engine& e, std::string what) {
    std::string text =
        "memory ran out at " + std::move(what) + ": the limit is " + std::to_string(e.memory.limit()) + " bytes";
    std::uint64_t stacks = 0, bytes = 0;
    for (const Task& task : e.tasks) {
        stacks += task.stackBytes != 0 ? 1 : 0;
        bytes += task.stackBytes;
    }
    if (bytes > e.memory.limit() / 2)
        text += ", and the stacks of " + std::to_string(stacks) + " tasks hold " + std::to_string(bytes) + " of it";
    return text;
}

// How many pieces of memory the system lets a process map; 0 where it does not tell.
std::uint64_t mostMappings() {
    std::uint64_t most = 0;
    std::ifstream("/proc/sys/vm/max_map_count") >> most;
    return most;
}

// Says why the system gives no stack, though the session's limit has room for it.
void tellRefusedStack(Task& task) {
    const std::uint64_t most = mostMappings(), taken = 2 * std::uint64_t{task.number};
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
    e.finish(RunEnd::failed, {}, {});
    e.endCurrent(TaskReport::State::fault, std::move(text), "ask for less, or raise the limit with --memory");
}

void endForHandle(Engine& e, std::uint32_t handle, const char* what) {
    misuse(e, std::string(what) + " handle " + std::to_string(handle) + " was never given");
}

void endForMode(Engine& e, const std::string& channel, EndMode mode) {
    misuse(e, (mode == EndMode::reading ? "reads `" : "writes `") + channel + "`, which it has not opened for that");
}

void misuse(Engine& e, std::string what) {
    e.endCurrent(TaskReport::State::fault, "the command uses the host wrongly: " + std::move(what));
}

void Task::end(TaskReport::State endState, std::string_view text, std::string_view remedy) noexcept {
    state = TaskState::ended;
    outcome.state = endState;
    outcome.text.assign(text.substr(0, outcome.text.capacity()));
    outcome.remedy.assign(remedy.substr(0, outcome.remedy.capacity()));
}

void Task::giveMemoryBack() {
    arena.clear();
    stack = Stack();
}

void Task::reserveTexts() {
    constexpr std::size_t longest = 160;
    outcome.text.reserve(longest);
    outcome.remedy.reserve(longest);
}

void Engine::pushReady(Task& task) {
    task.state = TaskState::ready;
    task.nextReady = nullptr;
    if (readyTail == nullptr)
        readyHead = &task;
    else
        readyTail->nextReady = &task;
    readyTail = &task;
    ++readyCount;
}

// Takes the next task of the round from the queue and makes it the current one.
inline Task& Engine::takeReady() {
    Task& task = *readyHead;
    readyHead = task.nextReady;
    if (readyHead == nullptr) readyTail = nullptr;
    --readyCount;
    --roundLeft;
    ++turn;
    current = &task;
    return task;
}

inline void Engine::switchToReady() {
    Task& left = *current;
    Task& next = takeReady();
    if (&next != &left) [[likely]]
        switchContext(left.context, next.context);
}

// The round ends: says what values by the short way leave unsaid.
inline void Engine::noteFedValues() {
    if (tookFedValue) lastFedTake = lastChange = round;
    tookFedValue = false;
}

inline void Engine::beginRound() {
    ++round;
    roundLeft = readyCount;
    alonePasses = 0;
    tookFedValue = false;
}

// Out of line, so that a switch within a round stays short.
[[gnu::noinline]] void Engine::switchAtRoundEnd() {
    noteFedValues();
    if (hubNeeded()) {
        Context& left = current->context;
        current = nullptr;
        return switchContext(left, hub);
    }
    beginRound();
    if (readyCount == 1 && inputsEnded()) alonePasses = mostAlonePasses;
    switchToReady();
}

void Engine::switchAway() {
    if (roundLeft == 0) [[unlikely]]
        return switchAtRoundEnd();
    switchToReady();
}

// Whether nothing but the count of rounds would change by a yield of the current task, so that its turn just goes on: no
// other task is ready, inputs and outputs have nothing to do, and what it took since the last yield keeps the run going.
inline bool Engine::goesOnAlone() {
    if (!tookFedValue || alonePasses == 0 || readyCount != 0 || hubWanted) return false;
    noteFedValues();
    ++round;
    --alonePasses;
    return true;
}

void Engine::yieldCurrent() {
    if (goesOnAlone()) return;
    pushReady(*current);
    switchAway();
}

// Whether nothing at all can happen until the pause of the current task ends, which goes on with an earlier one: then time jumps
// there without a round. The first pauses after a change end by the rounds, which look whether a channel must grow.
bool Engine::pausesAlone() {
    const bool othersRest = readyCount == 0 && pausing.empty() && !hubWanted && settled && inputsEnded();
    const bool stillQuiet = lastChange <= lastJump && lastFedTake < lastJump && lastDelivery < lastJump;
    if (!othersRest || !stillQuiet || jumpsLeft == 0 || !current->waitsOn) return false;
    --jumpsLeft;
    clock.jumpTo(current->due);
    return true;
}

void Engine::startTask(Task& task) {
    // Stacks begin at different places of their pages: at the same place, the tops of many would share a few cache lines.
    constexpr std::size_t places = 32, step = 128;
    const std::size_t skipped = task.number % places * step;
    const std::size_t bytes = baseStack + places * step + task.command->taskSpace;
    if (!memory.take(bytes)) {
        task.outcome.text = ranOut(*this, "its stack");
        task.outcome.remedy = "use fewer tasks, or raise the limit with --memory";
        return refuseStart(task);
    }
    task.reserveTexts();
    task.stackBytes = bytes;
    task.stack = Stack(bytes);
    if (!task.stack) {
        tellRefusedStack(task);
        return refuseStart(task);
    }
    task.context = makeContext(task.stack, skipped, runTask);
    pushReady(task);
}

// The task cannot start, so none does: their stacks are given back, to have memory for what is to be told.
void Engine::refuseStart(Task& task) {
    task.state = TaskState::ended;
    task.outcome.state = TaskReport::State::fault;
    finish(RunEnd::failed);
    for (Task& each : tasks) releaseTask(each);
}

// Leaves the current task for good. The texts' storage passes to the task's outcome, so that the frames own nothing.
void Engine::endCurrent(TaskReport::State state, std::string text, std::string remedyText) {
    Task& task = *current;
    task.outcome.state = state;
    // Reserved storage must not pass to the arguments, whose frames are left for good.
    std::string().swap(task.outcome.text);
    std::string().swap(task.outcome.remedy);
    task.outcome.text = std::move(text);
    task.outcome.remedy = std::move(remedyText);
    leaveCurrent();
}

void Engine::endCurrent(TaskReport::State state, const char* text, const char* remedyText) {
    current->end(state, text, remedyText);
    leaveCurrent();
}

// Nothing here may fail: `dead` has room for every task.
void Engine::leaveCurrent() {
    Task& task = *current;
    task.state = TaskState::ended;
    const TaskReport::State state = task.outcome.state;
    // A set-up error in the first round lets the other tasks tell theirs.
    const bool setUpFailed = state == TaskReport::State::error || state == TaskReport::State::refused;
    if (setUpFailed && settled) finish(RunEnd::refused);
    dead.push_back(&task);
    current = nullptr;
    abandonContext(task.context, hub);
}

// Gives back what an ended task held. What it wrote stays readable.
void Engine::releaseTask(Task& task) {
    for (PipeEnd& pipeEnd : task.pipeEnds) closeEnd(*this, pipeEnd);
    for (TriggerEnd& triggerEnd : task.triggerEnds) closeEnd(*this, triggerEnd);
    task.giveMemoryBack();
    memory.giveBack(task.stackBytes);
    task.stackBytes = 0;
}

// The hub: resumes tasks round by round until the run has ended.
void Engine::runRounds() {
    const StackGuard guard;
    dead.reserve(tasks.size());
    // A task that ran over its stack comes here out of the signal's handler.
    if (sigsetjmp(rescue, 1) != 0) StackGuard::afterRescue(*this);
    while (end == RunEnd::goesOn) {
        for (Task* task : dead) releaseTask(*task);
        dead.clear();
        if (roundLeft == 0) {
            endRound();
            if (end != RunEnd::goesOn) break;
            beginRound();
            if (readyCount == 0) continue;
        }
        switchContext(hub, takeReady().context);
    }
}

}  // namespace libzepl
