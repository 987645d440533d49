#include "runtime/engine/stack_guard.h"

#include <unistd.h>

#include <array>
#include <atomic>
#include <mutex>

#include "runtime/engine/engine.h"
#include "runtime/engine/load_state.h"
#include "runtime/output_files.h"

namespace libzepl {

namespace {

constexpr std::size_t alternateSize = 64 * 1024;

// Signals are the process's: the first of the guards catches them, and the last gives them back.
std::mutex guardsMutex;
int guards = 0;
// A trap that a compiler puts in is SIGILL on x86-64 and SIGTRAP on ARM64.
constexpr std::array<int, 6> caught{SIGSEGV, SIGBUS, SIGILL, SIGTRAP, SIGFPE, SIGABRT};
std::array<struct sigaction, caught.size()> old;
std::atomic<::pid_t> owner{0};
std::atomic<bool> crashing{false};

// Leaves the current task, from a signal's handler, for the dispatcher. afterRescue() says why, since a handler must not.
[[noreturn]] void leaveFaultedTask(Engine& e) {
#if defined(LIBZEPL_ADDRESS_SANITIZER)
    __sanitizer_start_switch_fiber(nullptr, e.scheduler.dispatcher.stackBottom, e.scheduler.dispatcher.stackSize);
#endif
#if defined(LIBZEPL_THREAD_SANITIZER)
    __tsan_switch_to_fiber(e.scheduler.dispatcher.fiber, 0);
#endif
    siglongjmp(e.scheduler.rescue, 1);
}

bool isRaisedHere(const siginfo_t& info) { return info.si_code > 0 || info.si_pid == ::getpid(); }

bool isOverflow(const Task& task, int signal, const siginfo_t& info) {
    return (signal == SIGSEGV || signal == SIGBUS) && info.si_code > 0 && task.stack.guards(info.si_addr);
}

bool isDivideFault(int signal, const siginfo_t& info) {
    return signal == SIGFPE && (info.si_code == FPE_INTDIV || info.si_code == FPE_INTOVF);
}

const char* textOf(int signal, const siginfo_t& info) {
    constexpr std::uintptr_t firstPages = 65536;  // where nothing is ever mapped
    switch (signal) {
        case SIGABRT:
            return "aborted the program";
        case SIGILL:
        case SIGTRAP:
            return "ran into an instruction that the processor refuses";
        case SIGFPE:
            return "raised a floating-point exception";
        default:
            break;
    }
    const bool isNull = info.si_code == SEGV_MAPERR && reinterpret_cast<std::uintptr_t>(info.si_addr) < firstPages;
    return isNull ? "used a null pointer" : "accessed memory that is not its own";
}

// Says what the module did that is loaded, or the task that runs, and so ends the process where there is somebody to say it
// to.
void reportCrash(const char* what) {
    // A second fault, in telling the first one.
    if (crashing.exchange(true)) {
        removeTemporaryFiles();
        ::_exit(1);
    }
    if (engine != nullptr && engine->scheduler.current != nullptr) {
        if (engine->recorder != nullptr) engine->recorder->crashed(engine->scheduler.round);
        if (engine->crashed) engine->crashed(what);
    } else if (loadState().crashed != nullptr && *loadState().crashed) {
        (*loadState().crashed)(what);
    }
    crashing = false;
}

// Lets the signal happen again with what was there before.
void passOn(int signal, const siginfo_t& info) {
    for (std::size_t i = 0; i < caught.size(); ++i) {
        if (caught[i] != signal) continue;
        if (old[i].sa_handler == SIG_DFL) removeTemporaryFiles();
        sigaction(signal, &old[i], nullptr);
    }
    if (info.si_code <= 0) ::raise(signal);  // nothing but a faulting instruction comes again by itself
}

void onFault(int signal, siginfo_t* info, void*) {
    Engine* e = engine;
    const bool inTask = e != nullptr && e->scheduler.current != nullptr;
    if ((!inTask && loadState().crashed == nullptr) || !isSessionsProcess() || !isRaisedHere(*info))
        return passOn(signal, *info);
    if (inTask && isOverflow(*e->scheduler.current, signal, *info)) leaveFaultedTask(*e);
    if (inTask && isDivideFault(signal, *info)) {
        e->scheduler.current->outcome.code = static_cast<std::uint32_t>(zepl::Fault::integerDivide);
        leaveFaultedTask(*e);
    }
    reportCrash(textOf(signal, *info));
    passOn(signal, *info);
}

}  // namespace

bool isSessionsProcess() { return owner == ::getpid(); }

StackGuard::StackGuard() : alternate_(new char[alternateSize]) {
    stack_t alternate{};
    alternate.ss_sp = alternate_.get();
    alternate.ss_size = alternateSize;
    sigaltstack(&alternate, &oldAlternate_);
    const std::lock_guard lock(guardsMutex);
    owner = ::getpid();
    if (guards++ > 0) return;
    struct sigaction action {};
    action.sa_sigaction = onFault;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    sigemptyset(&action.sa_mask);
    for (std::size_t i = 0; i < caught.size(); ++i) sigaction(caught[i], &action, &old[i]);
}

StackGuard::~StackGuard() {
    sigaltstack(&oldAlternate_, nullptr);
    const std::lock_guard lock(guardsMutex);
    if (--guards > 0) return;
    for (std::size_t i = 0; i < caught.size(); ++i) {
        // One that the program has set meanwhile stays.
        struct sigaction present {};
        sigaction(caught[i], nullptr, &present);
        if (present.sa_sigaction == onFault) sigaction(caught[i], &old[i], nullptr);
    }
}

void StackGuard::afterRescue(Engine& e) {
#if defined(LIBZEPL_ADDRESS_SANITIZER)
    const void* bottom = nullptr;
    std::size_t size = 0;
    __sanitizer_finish_switch_fiber(e.scheduler.dispatcher.fakeStack, &bottom, &size);
#endif
    Task& task = *e.scheduler.current;
    e.scheduler.current = nullptr;
    if (task.outcome.code)
        task.end(TaskReport::State::fault, "integer division by zero", "look at the divisor that it is given");
    else
        task.end(TaskReport::State::fault, "its stack is used up");
    e.scheduler.ended.push_back(&task);
}

}  // namespace libzepl
