// The C library's ways out of a program. A command that takes one ends its own task alone: nothing of the program is torn
// down under the other tasks and the outputs. Everybody else's call reaches the C library.

#include <dlfcn.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "runtime/engine/engine.h"
#include "runtime/engine/load_state.h"
#include "runtime/engine/stack_guard.h"

namespace libzepl {

namespace {

// Only returns when no module called.
void endModulesCall(const char* function, int status) {
    if (!isSessionsProcess()) return;
    char text[128];
    if (engine != nullptr && engine->scheduler.current != nullptr) {
        std::snprintf(text, sizeof text, "called %s(%d), which would end the whole program", function, status);
        endCurrent(*engine, TaskReport::State::fault, text,
                   "it is a fault of the command: a task ends by itself alone");
    }
    if (loadState().crashed == nullptr || !*loadState().crashed) return;
    std::snprintf(text, sizeof text, "called %s(%d)", function, status);
    (*loadState().crashed)(text);
}

[[noreturn]] void endProgram(const char* function, int status) {
    endModulesCall(function, status);
    if (auto* next = reinterpret_cast<void (*)(int)>(::dlsym(RTLD_NEXT, function))) next(status);
    ::syscall(SYS_exit_group, status);
    __builtin_unreachable();
}

}  // namespace

}  // namespace libzepl

// Declared by <cstdlib>; these are found before the C library's.
extern "C" {
[[gnu::visibility("default")]] void exit(int status) noexcept { libzepl::endProgram("exit", status); }
[[gnu::visibility("default")]] void quick_exit(int status) noexcept { libzepl::endProgram("quick_exit", status); }
}
