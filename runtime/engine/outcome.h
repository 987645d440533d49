// How a run ends, and what is said of it.
#pragma once

#include <chrono>
#include <exception>
#include <string>
#include <vector>

#include "runtime/report.h"

namespace libzepl {

enum class RunEnd {
    running,
    complete,        // every output has its count
    quiescent,       // inputs have ended and nothing moves
    selfSustaining,  // inputs have ended and only what continues by itself still moves; failed where there is a reason
    stopped,         // on request
    checkedOnly,     // the set-ups have run, and no more was asked for
    refused,         // a set-up failed, or the procedure cannot run
    failed,          // the run itself failed
};

struct Outcome {
    bool isRunning() const { return end == RunEnd::running; }
    // Ends the run at the end of what happens now. The first end counts.
    void finish(RunEnd how, std::string why = {}, std::string whatToDo = {});
    // The same after the last round, when an output could not be finished: a failure counts unless there is a reason already.
    void failLate(std::string why, std::string whatToDo);

    RunEnd end = RunEnd::running;
    std::string reason;         // of a failure of the run itself
    std::string reasonChannel;  // the channel that it is about, or empty
    std::string remedy;
    bool outputsFinished = false;
    std::vector<OutputReport> outputReports;
    std::vector<std::string> outputNotes;
    std::vector<std::string> notes;   // of those who made the session
    std::vector<std::string> warned;  // those of them that were shown
    std::string console;
    std::exception_ptr consoleError;  // what the caller's console threw
    std::vector<DigitalReport> digital;
    std::chrono::steady_clock::time_point began;
};

}  // namespace libzepl
