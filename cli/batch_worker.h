// A process of a batch that runs recordings one after the other. What a fault in a module takes down is such a process.
#pragma once

#include <vector>

#include "cli/batch_plan.h"

namespace cli {

// What frames between a batch and its workers are about: their kinds.
enum WorkerFrame : char {
    runThis = 'J',        // to a worker: the index of a recording
    checkThis = 'C',      // to a worker: the same, up to the first sample
    modulesLoaded = 'H',  // from one: it is ready; what is known of the modules
    cannotStart = 'P',    // from one: message and remedy of a Problem
    checked = 'K',        // from one: what was found, rendered; and whether that names a line of the procedure
    rowDone = 'D',        // from one: a row
    crashed = 'X',        // from one, the last: what happened
};

// What a check found.
struct BatchCheck {
    std::string mistakes;  // rendered; empty where there are none
    std::string warnings;
    bool namesLine = false;  // a mistake is at a line of the procedure
};

// Begins such a process, which never returns from here: `descriptor` is its end of a socket, `others` are closed. It ends when
// the socket does, with this process, and by SIGTERM, and leaves no temporary file.
[[noreturn]] void runWorker(const BatchPlan& plan, int descriptor, const std::vector<int>& others, int parent);

}  // namespace cli
