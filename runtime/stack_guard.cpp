#include "runtime/stack_guard.h"

#include <mutex>

#include "runtime/engine.h"

namespace libzepl {

namespace {

constexpr std::size_t alternateSize = 64 * 1024;

// Signals are the process's: the first of the sessions that run catches them, and the last gives them back.
std::mutex guardsMutex;
int guards = 0;
struct sigaction oldOverflow, oldDivide;

// Leaves the current task, from a signal's handler, for the hub. Its outcome was told in static texts, since a handler must
// not allocate: afterRescue() writes them down.
[[noreturn]] void leaveFaultedTask(Engine& e) {
#if defined(LIBZEPL_ADDRESS_SANITIZER)
    __sanitizer_start_switch_fiber(nullptr, e.hub.stackBottom, e.hub.stackSize);
#endif
    siglongjmp(e.rescue, 1);
}

// A signal that is not a task's: lets it happen again with what was there before.
void passOn(int signal, const struct sigaction& old) { sigaction(signal, &old, nullptr); }

void onOverflow(int signal, siginfo_t* info, void*) {
    Engine* e = engine;
    if (e != nullptr && e->current != nullptr && e->current->stack.guards(info->si_addr)) leaveFaultedTask(*e);
    passOn(signal, oldOverflow);
}

void onDivide(int signal, siginfo_t*, void*) {
    Engine* e = engine;
    if (e != nullptr && e->current != nullptr) {
        e->current->outcome.code = static_cast<std::uint32_t>(zepl::Fault::integerDivide);
        leaveFaultedTask(*e);
    }
    passOn(signal, oldDivide);
}

void install(int signal, void (*handler)(int, siginfo_t*, void*), struct sigaction& old) {
    struct sigaction action {};
    action.sa_sigaction = handler;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, &old);
}

}  // namespace

StackGuard::StackGuard(Engine& running) : engine_(running), alternate_(new char[alternateSize]) {
    stack_t alternate{};
    alternate.ss_sp = alternate_.get();
    alternate.ss_size = alternateSize;
    sigaltstack(&alternate, &oldAlternate_);
    const std::lock_guard lock(guardsMutex);
    if (guards++ > 0) return;
    install(SIGSEGV, onOverflow, oldOverflow);
    install(SIGFPE, onDivide, oldDivide);
}

StackGuard::~StackGuard() {
    sigaltstack(&oldAlternate_, nullptr);
    const std::lock_guard lock(guardsMutex);
    if (--guards > 0) return;
    sigaction(SIGSEGV, &oldOverflow, nullptr);
    sigaction(SIGFPE, &oldDivide, nullptr);
}

void StackGuard::afterRescue() {
#if defined(LIBZEPL_ADDRESS_SANITIZER)
    const void* bottom = nullptr;
    std::size_t size = 0;
    __sanitizer_finish_switch_fiber(engine_.hub.fakeStack, &bottom, &size);
#endif
    Task& task = *engine_.current;
    engine_.current = nullptr;
    task.state = TaskState::ended;
    task.outcome.state = TaskReport::State::fault;
    const bool divide = task.outcome.code.has_value();
    task.outcome.text = divide ? "integer division by zero" : "its stack is used up";
    task.outcome.remedy = divide ? "look at the divisor that it is given" : "";
    engine_.dead.push_back(&task);
}

}  // namespace libzepl
