#include "cli/signals.h"

#include <unistd.h>

#include <atomic>
#include <csignal>

#include "runtime/output_files.h"

namespace cli {

namespace {

std::atomic<int> firstSignal{0};
libzepl::StopRequest* request = nullptr;  // set before a handler is

extern "C" void onSignal(int signal) {
    int none = 0;
    if (firstSignal.compare_exchange_strong(none, signal)) return request->request();
    libzepl::removeTemporaryFiles();
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
