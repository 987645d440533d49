// Turns a task's stack overflow, and a processor's divide fault in a module that does not look for itself, into the end of
// that task alone. What else a command or a module's start-up does that raises a signal leaves the memory of the process in
// doubt: then whoever runs the session is told where it happened, and the process ends.
#pragma once

#include <signal.h>

#include <memory>

namespace libzepl {

struct Engine;

// Whether this is the process that runs the session, and no fork of it.
bool isSessionsProcess();

// While it lives, the signals of faults in the code of modules that this thread runs are caught; others go where they went
// before.
class StackGuard {
 public:
    StackGuard();
    StackGuard(const StackGuard&) = delete;
    StackGuard& operator=(const StackGuard&) = delete;
    ~StackGuard();

    // To be called where the rescue arrives: the dispatcher runs again.
    static void afterRescue(Engine& e);

 private:
    std::unique_ptr<char[]> alternate_;
    stack_t oldAlternate_{};
};

}  // namespace libzepl
