#include "cli/signals.h"

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <ctime>

#include "runtime/output_files.h"

namespace cli {

namespace {

std::atomic<std::int64_t> firstTime{0};  // in milliseconds; 0 before the first signal
std::atomic<int> firstSignal{0};
libzepl::StopRequest* request = nullptr;  // set before a handler is

std::int64_t milliseconds() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

// One event can send several: a terminal that closes does so itself and by the shell, and timeout(1) to the program and to its
// group. So a second one counts when it comes some time after the first, and a terminal does not close twice.
extern "C" void onSignal(int signal) {
    constexpr std::int64_t oneEvent = 300;  // milliseconds
    constexpr char said[] = "zepl: a second signal: the run ends at once, and its files are not written\n";
    const std::int64_t now = milliseconds();
    std::int64_t first = 0;
    if (firstTime.compare_exchange_strong(first, now)) {
        firstSignal = signal;
        return request->request();
    }
    if (signal == SIGHUP || now - first < oneEvent) return;
    libzepl::removeTemporaryFiles();
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, said, std::strlen(said));
    ::_exit(128 + signal);
}

bool isIgnored(int signal) {
    struct sigaction action {};
    return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

std::shared_ptr<libzepl::StopRequest> catchSignals() {
    static const auto stop = std::make_shared<libzepl::StopRequest>();
    request = stop.get();
    struct sigaction action {};
    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART | SA_ONSTACK;  // a task's own stack may be nearly used up
    sigemptyset(&action.sa_mask);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&action.sa_mask, signal);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        if (signal != SIGHUP || !isIgnored(signal)) ::sigaction(signal, &action, nullptr);
    return stop;
}

int statusOfSignal() {
    const int signal = firstSignal;
    return signal == 0 ? 0 : 128 + signal;
}

}  // namespace cli
