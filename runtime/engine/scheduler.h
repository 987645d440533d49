// The ready queue, and the switches between tasks.
//
// One thread runs the session. Each task is a context of that thread, and runs until it waits, yields or pauses. A round is
// over when every task that was ready at its beginning has been resumed once. A task switches straight to the next one; the
// dispatcher, which is the thread's own context, runs only where a round ends with something for it to do, and when a task
// has ended.
#pragma once

#include <csetjmp>
#include <string>
#include <vector>

#include "runtime/engine/task.h"

namespace libzepl {

struct Engine;

struct Scheduler {
    // Queues the task. It is resumed in this round if that is not over for it, else in the next.
    void pushReady(Task& task);
    // Takes the next task of the round from the queue and makes it the current one.
    Task& takeReady() {
        Task& task = *readyHead;
        readyHead = task.nextReady;
        if (readyHead == nullptr) readyTail = nullptr;
        --readyCount;
        --roundLeft;
        ++turn;
        current = &task;
        return task;
    }
    // Leaves the current task for the next of the round.
    void switchToReady() {
        Task& left = *current;
        Task& next = takeReady();
        if (&next != &left) [[likely]]
            switchContext(left.context, next.context);
    }
    void beginRound() {
        ++round;
        roundLeft = readyCount;
        soloYieldsLeft = 0;
        readDrivenValue = false;
    }

    Task* current = nullptr;  // null while the dispatcher runs
    Task* readyHead = nullptr;
    Task* readyTail = nullptr;
    std::uint32_t readyCount = 0;
    std::uint32_t roundLeft = 0;  // tasks of this round that were not resumed yet
    std::uint64_t round = 1;
    std::uint64_t turn = 0;              // resumptions of all tasks
    std::uint64_t nextServiceRound = 0;  // the dispatcher must run at the end of this round at the latest
    bool serviceRequested = false;       // at the end of this round
    std::uint32_t soloYieldsLeft = 0;    // yields that may still come straight back in this turn
    bool readDrivenValue = false;        // by the fast path, since the last yield
    // Called where a round ends, in the context of the task that ends it: whether the dispatcher must run. It lets inputs
    // deliver that need no more than the task's stack.
    bool (*roundEnds)(Engine& e) = nullptr;
    Context dispatcher;
    std::vector<Task*> ended;  // tasks that are not released yet
    std::size_t setUps = 0;    // tasks that have had the stack which serves all
    std::jmp_buf rescue;       // where a task's fault leads to, out of a signal's handler
};

// Gives each task a stack and queues it. The run fails where that cannot be. Where nothing but the set-ups is to run, the tasks take
// turns on one stack, which none of them comes back to: takeSetUp() gives it to the next, and null when all have had it.
void startTasks(Engine& e);
Task* takeSetUp(Engine& e);
// Gives back what the task took of the machine; it does not run again.
void releaseMemory(Engine& e, Task& task);

// The current task lets the others run.
void yieldCurrent(Engine& e);
// The current task is queued, or waits for what will queue it.
void switchAway(Engine& e);
// Ends the current task's pause at once where nothing at all can happen before its end; false where something can.
bool skipPause(Engine& e);

// Leaves the current task, which has ended, for good.
[[noreturn]] void leaveCurrent(Engine& e);
// Ends the current task. Texts that are given as pointers need no memory, as far as a task's texts have room.
[[noreturn]] void endCurrent(Engine& e, TaskReport::State state, std::string text, std::string remedyText = {});
[[noreturn]] void endCurrent(Engine& e, TaskReport::State state, const char* text, const char* remedyText = "");
// Memory ran out while `what` was asked for: ends the run with the task's name.
[[noreturn]] void outOfMemory(Engine& e, std::string what);
// A module used the interface wrongly, as with a handle that was never given: ends the task.
[[noreturn]] void misuse(Engine& e, std::string what);

}  // namespace libzepl
