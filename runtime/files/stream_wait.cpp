#include "runtime/files/stream_wait.h"

#include <fcntl.h>
#include <poll.h>

#include <cerrno>
#include <utility>

namespace libzepl {

namespace {

constinit thread_local const WaitScope* scope = nullptr;

// poll passes over negative ones.
std::vector<pollfd> awaitedStops() {
    if (scope == nullptr) return {};
    const auto descriptors = scope->stopDescriptors();
    return {{descriptors[0], POLLIN, 0}, {descriptors[1], POLLIN, 0}};
}

bool stopRequested() { return scope != nullptr && scope->stopRequested(); }

}  // namespace

WaitScope::WaitScope(const StopRequest& stop, std::function<void()> beforeWaiting, const StopRequest* second)
    : stop_(stop), second_(second), beforeWaiting_(std::move(beforeWaiting)), outer_(std::exchange(scope, this)) {}

WaitScope::~WaitScope() { scope = outer_; }

void endIfStopped(const std::string& name) {
    if (stopRequested()) throw Interrupted(name);
}

bool isReadable(int descriptor) {
    pollfd look{descriptor, POLLIN, 0};
    return ::poll(&look, 1, 0) != 0;
}

void awaitAny(const std::vector<int>& descriptors) {
    std::vector<pollfd> awaited = awaitedStops();
    for (const int descriptor : descriptors) awaited.push_back({descriptor, POLLIN, 0});
    while (!stopRequested())
        if (::poll(awaited.data(), awaited.size(), -1) >= 0 || errno != EINTR) return;
}

void awaitReadable(int descriptor, const std::string& name) {
    endIfStopped(name);
    if (isReadable(descriptor)) return;
    if (scope != nullptr) scope->beforeWaiting();
    awaitAny({descriptor});
    endIfStopped(name);
}

// No one call waits for a reader and for a stop request, so both are looked for in turn.
int openFifo(const char* path, const std::string& name) {
    constexpr int pause = 20;  // milliseconds
    for (;;) {
        endIfStopped(name);
        const int descriptor = ::open(path, O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        if (descriptor >= 0 || errno != ENXIO) return descriptor;
        std::vector<pollfd> stops = awaitedStops();
        ::poll(stops.data(), stops.size(), pause);
    }
}

}  // namespace libzepl
