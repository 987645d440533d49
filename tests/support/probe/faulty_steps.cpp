#include "faulty_steps.h"

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cfenv>
#include <cstdlib>
#include <stdexcept>

namespace probe {

namespace {

// Instrumentation would see the fault before the processor does.
__attribute__((no_sanitize("undefined"), no_sanitize("address"))) std::int64_t readAt(std::uintptr_t address) {
    volatile std::uintptr_t unknown = address;  // so that no compiler objects
    return *reinterpret_cast<const volatile std::int64_t*>(unknown);
}

std::int64_t endOfFork(Step* step, std::int64_t argument) {
    const ::pid_t fork = ::fork();
    if (fork == 0) step(argument);
    int status = 0;
    ::waitpid(fork, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace

std::int64_t throwError(std::int64_t) { throw std::runtime_error("no more\nof this"); }
std::int64_t throwNumber(std::int64_t number) { throw number; }
std::int64_t useNullPointer(std::int64_t) { return readAt(8); }
std::int64_t useWildPointer(std::int64_t) { return readAt(0x5A5A5A5A5A5A5A58); }
std::int64_t trap(std::int64_t) { __builtin_trap(); }
std::int64_t abortProgram(std::int64_t) { std::abort(); }
std::int64_t exitProgram(std::int64_t status) { std::exit(static_cast<int>(status)); }
std::int64_t quickExitProgram(std::int64_t status) { std::quick_exit(static_cast<int>(status)); }

std::int64_t forkAndQuickExit(std::int64_t status) { return endOfFork(quickExitProgram, status); }
std::int64_t forkAndUseNullPointer(std::int64_t) { return endOfFork(useNullPointer, 0); }

std::int64_t roundUpwards(std::int64_t isUpwards) { return std::fesetround(isUpwards != 0 ? FE_UPWARD : FE_TONEAREST); }

std::int64_t heapBytes(std::int64_t) {
    const struct mallinfo2 info = ::mallinfo2();
    return static_cast<std::int64_t>(info.uordblks + info.hblkhd);
}

}  // namespace probe
