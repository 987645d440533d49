// The running session: the scheduler, its rounds, and all that the host operations work on. One thread runs it; tasks are
// contexts of that thread, and the hub is the context that runs between them: at the end of a round it drains outputs,
// gives inputs, looks after time and growth, and finds the end.
#pragma once

#include <chrono>
#include <csetjmp>
#include <deque>
#include <exception>
#include <string>
#include <vector>

#include "runtime/engine/clock.h"
#include "runtime/engine/handle_table.h"
#include "runtime/engine/io_ports.h"
#include "runtime/engine/task.h"
#include "runtime/session.h"
#include "runtime/stop_request.h"

namespace libzepl {

enum class RunEnd {
    goesOn,
    complete,   // every output has its count
    quiet,      // inputs have ended and nothing moves
    endless,    // inputs have ended and only what goes on by itself still moves; failed where there is a reason
    stopped,    // on request
    setUpsRan,  // as asked for
    refused,    // a set-up failed, or the procedure cannot run
    failed,     // the run itself failed
};

struct Engine {
    Engine(const CommandLibrary& commandLibrary, SessionOptions sessionOptions);

    // The parts of the session.
    const std::uint32_t number;  // of all sessions; part of its ids
    bool started = false;        // run() was called
    const CommandLibrary& library;
    SessionOptions options;
    MemoryBudget memory;
    std::deque<Pipe> pipes;
    std::deque<Trigger> triggers;
    std::deque<Variable> variables;
    std::deque<Vector> vectors;
    std::deque<Task> tasks;
    std::vector<PipeInput> pipeInputs;
    std::vector<TriggerInput> triggerInputs;
    std::deque<PipeOutput> pipeOutputs;
    std::deque<TriggerOutput> triggerOutputs;
    HandleTable<PipeEnd> pipeHandles;
    HandleTable<TriggerEnd> triggerHandles;
    HandleTable<Pbuf> pbufHandles;
    std::deque<Pbuf> pbufs;
    std::string console;
    std::vector<DigitalReport> digital;
    VirtualClock clock;
    std::vector<Task*> pausing;

    // The scheduler.
    Task* current = nullptr;  // null while the hub runs
    Task* readyHead = nullptr;
    Task* readyTail = nullptr;
    std::uint32_t readyCount = 0;
    std::uint32_t roundLeft = 0;  // tasks of this round that were not resumed yet
    std::uint64_t round = 1;
    std::uint64_t turn = 0;        // resumptions of all tasks
    std::uint64_t lastChange = 1;  // rounds in which something last happened
    std::uint64_t lastFedTake = 1;
    std::uint64_t lastGrowth = 1;  // also the last look whether one is needed
    std::uint64_t lastGrown = 1;
    std::uint64_t lastJump = 1;
    std::uint64_t lastDrivenPause = 1;
    std::uint64_t lastDrivenPut = 1;  // as the looks at the patience find it
    std::uint64_t lastPatienceLook = 1;
    std::uint64_t patienceTurn = 0;  // as of that look
    std::uint64_t lastDelivery = 1;
    std::uint64_t hubRound = 0;     // the hub must run at the end of this round at the latest
    bool hubWanted = false;         // at the end of this round
    bool settled = false;           // every task has run once
    std::uint32_t alonePasses = 0;  // yields that may still come straight back in this turn
    std::uint32_t jumpsLeft = 0;    // pauses that may still end without a round
    bool tookFedValue = false;      // since the last yield
    bool anyDelivery = false;
    std::uint64_t deliveryRound = 0;   // the last round in which inputs were asked to give
    std::uint64_t furthestFrame = 0;   // frames that the input which is furthest on has given
    bool inputsStandInMemory = false;  // no input needs the hub's stack to give
    std::uint64_t deliveries = 0;      // rounds in which inputs gave something
    Context hub;
    std::vector<Task*> dead;  // ended, not released yet
    Report crashReport;       // with all but the figures, where somebody wants it
    std::string crashText;
    std::jmp_buf rescue;
    std::exception_ptr consoleError;  // what the caller's console threw
    std::shared_ptr<StopRequest> stop;
    bool hasLiveInputs = false;     // some can have nothing yet, and more later
    bool hasStreamOutputs = false;  // some are read while they are written
    std::chrono::steady_clock::time_point lastFlush;
    std::vector<OutputReport> outputReports;
    std::vector<std::string> outputNotes;
    RunEnd end = RunEnd::goesOn;
    bool outputsFinished = false;
    std::vector<std::string> notes;   // of those who made the session
    std::vector<std::string> warned;  // those of them that were shown
    std::string reason;               // of a failure of the run itself
    std::string reasonChannel;        // the channel that it is about, or empty
    std::string remedy;
    std::chrono::steady_clock::time_point began;
    std::chrono::steady_clock::time_point lastProgress;

    // The whole run (run.cpp).
    Report run();

    // Scheduling (scheduler.cpp).
    void pushReady(Task& task);
    Task& takeReady();
    void switchToReady();
    void switchAtRoundEnd();
    void switchAway();  // the current task is queued or waits
    bool goesOnAlone();
    bool pausesAlone();
    void noteFedValues();
    void beginRound();
    void yieldCurrent();
    void startTask(Task& task);
    void refuseStart(Task& task);
    // Leaves the current task for good. Texts that are given as pointers need no memory, as far as a task's texts have room.
    [[noreturn]] void endCurrent(TaskReport::State state, std::string text, std::string remedyText = {});
    [[noreturn]] void endCurrent(TaskReport::State state, const char* text, const char* remedyText = "");
    [[noreturn]] void leaveCurrent();
    void releaseTask(Task& task);
    void runRounds();

    // The end of a round (rounds.cpp).
    std::uint64_t nextQuietLook() const;
    bool hubNeeded();
    void deliverOnce();
    void endRound();
    void settle();
    std::uint64_t nextDue() const;
    void endPauses();
    std::uint64_t lastUseful() const;
    void advanceQuietRun();
    void tellProgress();
    bool inputsEndedOrHeld();
    void finish(RunEnd runEnd, std::string why = {}, std::string whatToDo = {});
    void findGeneratorReaders();

    // What goes on by itself (going_on.cpp).
    std::uint64_t patienceRounds() const;
    void lookAtPatience();
    void finishEndless();

    // Inputs and outputs (transfers.cpp).
    bool inputsEnded() const;
    bool inputCanDeliver();
    bool deliverInputs();
    bool deliverRun(PipeInput& input, std::uint64_t n, std::uint64_t& given);
    bool deliverPiece(PipeInput& input, std::uint64_t most);
    bool deliverRows(TriggerInput& input, bool pipesEnded);
    void deliverWhole();
    void drainOutputs();

    // Streams (streams.cpp).
    bool awaitLiveInputs();
    void flushStreams();
    void flushStreamsInTime();

    // The end of the outputs (finish_outputs.cpp).
    void finishOutputs();

    // Growth (growth.cpp).
    bool growOne();

    // Reports (reporting.cpp, notes.cpp).
    Report::Status status() const noexcept;
    Report outlineReport() const;
    void fillReport(Report& report) const noexcept;
    Report makeReport();
    void prepareForCrash();
    void tellCrash(const char* what) noexcept;
    void addNotes(Report& report) const;
    void addFileNotes(Report& report) const;
    void addRateNotes(Report& report) const;

    // Whether the sampling clock runs: from the first delivery on, or, without inputs, from when all set-ups have run.
    bool clockRuns() const { return anyDelivery || (settled && !hasInputs()); }
    bool hasInputs() const { return !pipeInputs.empty() || !triggerInputs.empty(); }
    bool stops() const { return stop->requested(); }
};

// The session that runs on this thread, if any. The library is loaded at the program's start, so the fast model of
// thread-local access holds.
extern constinit thread_local Engine* engine [[gnu::tls_model("initial-exec")]];

// Memory ran out while `what` was asked for: ends the run with the task's name.
[[noreturn]] void outOfMemory(Engine& e, std::string what);

// A module used the interface wrongly, as with a handle that was never given: ends the task.
[[noreturn]] void misuse(Engine& e, std::string what);

}  // namespace libzepl
