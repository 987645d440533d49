// Turns a task's stack overflow, and a processor's divide fault in a module that does not look for itself, into the end of
// that task alone.
#pragma once

#include <signal.h>

#include <memory>

namespace libzepl {

struct Engine;

// While it lives, SIGSEGV and SIGFPE of this thread's tasks are caught; others go where they went before.
class StackGuard {
 public:
    explicit StackGuard(Engine& running);
    StackGuard(const StackGuard&) = delete;
    StackGuard& operator=(const StackGuard&) = delete;
    ~StackGuard();

    // To be called where the rescue arrives: the hub runs again.
    void afterRescue();

 private:
    Engine& engine_;
    std::unique_ptr<char[]> alternate_;
    stack_t oldAlternate_{};
};

}  // namespace libzepl
