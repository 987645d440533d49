// The ready queue and the switches between tasks. A task switches straight to the next; the hub runs only where a round
// ends with something for it to do, and when a task has ended.

#include <string>

#include "runtime/host_ends.h"
#include "runtime/stack_guard.h"

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

void runTask(boost::context::detail::transfer_t transfer) {
    Engine& e = *engine;
    Task& task = *e.current;
    arrived(transfer, task.context);
    const std::uint32_t result = task.command->entry(static_cast<zepl::ParamList>(task.number));
    task.outcome.exit = result;
    e.endCurrent(TaskReport::State::exited, "its routine returned " + std::to_string(result));
}

}  // namespace

void outOfMemory(Engine& e, std::string what) {
    const std::string limit = std::to_string(e.memory.limit());
    e.finish(RunEnd::failed, {}, {});
    e.endCurrent(TaskReport::State::fault,
                 "memory ran out at " + std::move(what) + ": the limit is " + limit + " bytes",
                 "ask for less, or raise the limit with --memory");
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
    ++task.resumptions;
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

void Engine::startTask(Task& task) {
    // Stacks begin at different places of their pages: at the same place, the tops of many would share a few cache lines.
    constexpr std::size_t places = 32, step = 128;
    const std::size_t skipped = task.number % places * step;
    const std::size_t bytes = baseStack + places * step + task.command->taskSpace;
    if (memory.take(bytes)) {
        task.stackBytes = bytes;
        task.stack = Stack(bytes);
    }
    if (!task.stack) {
        finish(RunEnd::failed, "no memory is left for the stack of " + task.command->name, "raise --memory");
        return;
    }
    task.context = makeContext(task.stack, skipped, runTask);
    pushReady(task);
}

// Leaves the current task for good. The texts' storage passes to the task's outcome, so that the frames own nothing.
void Engine::endCurrent(TaskReport::State state, std::string text, std::string remedyText) {
    Task& task = *current;
    task.state = TaskState::ended;
    task.outcome.state = state;
    task.outcome.text = std::move(text);
    task.outcome.remedy = std::move(remedyText);
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
    task.arena.clear();
    task.stack = Stack();
    memory.giveBack(task.stackBytes);
    task.stackBytes = 0;
}

// The hub: resumes tasks round by round until the run has ended.
void Engine::runRounds() {
    StackGuard guard(*this);
    // A task that ran over its stack comes here out of the signal's handler.
    if (sigsetjmp(rescue, 1) != 0) guard.afterRescue();
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
