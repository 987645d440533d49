#include "runtime/files/stream_wait.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <thread>
#include <utility>

namespace libzepl {

namespace {

constinit thread_local const WaitScope* scope = nullptr;

constexpr std::chrono::milliseconds grace(500);  // for what is still due after a stop

bool stopRequested() { return scope != nullptr && scope->stopRequested(); }

}  // namespace

WaitScope::WaitScope(const StopRequest& stop, std::function<void()> beforeWaiting, const StopRequest* second)
    : stop_(stop), second_(second), beforeWaiting_(std::move(beforeWaiting)), outer_(std::exchange(scope, this)) {}

WaitScope::~WaitScope() { scope = outer_; }

void endIfStopped(const std::string& name) {
    if (stopRequested()) throw Interrupted(name);
}

std::array<int, 2> stopDescriptors() {
    return scope == nullptr ? std::array<int, 2>{-1, -1} : scope->stopDescriptors();
}

bool isReadable(int descriptor) {
    pollfd look{descriptor, POLLIN, 0};
    return ::poll(&look, 1, 0) != 0;
}

void awaitAny(const std::vector<int>& descriptors) {
    std::vector<pollfd> awaited;
    for (const int descriptor : descriptors) awaited.push_back({descriptor, POLLIN, 0});
    if (!stopRequested()) awaitEvents(awaited);
}

bool awaitEvents(std::vector<pollfd>& awaited, const Deadline& deadline) {
    const std::size_t count = awaited.size();
    // poll passes over negative ones.
    for (const int stop : stopDescriptors()) awaited.push_back({stop, POLLIN, 0});
    int events = -1;
    do {
        int left = -1;  // milliseconds
        if (deadline) {
            const auto due = std::chrono::ceil<std::chrono::milliseconds>(*deadline - std::chrono::steady_clock::now());
            left = static_cast<int>(std::clamp<std::int64_t>(due.count(), 0, 1 << 30));
        }
        events = ::poll(awaited.data(), awaited.size(), left);
    } while (events < 0 && errno == EINTR && !stopRequested());
    awaited.resize(count);
    return events != 0;
}

void awaitWritable(int descriptor, const std::string& name) {
    std::vector<pollfd> awaited{{descriptor, POLLOUT, 0}};
    while (!stopRequested()) {
        awaitEvents(awaited);
        if (awaited.front().revents != 0) return;
    }
    if (::poll(awaited.data(), 1, static_cast<int>(grace.count())) == 0) throw Interrupted(name);
}

void awaitDone(const std::function<bool()>& isDone, const std::string& name) {
    constexpr std::chrono::milliseconds pause(1);
    std::vector<pollfd> nothing;
    Deadline end;
    while (!isDone()) {
        const auto now = std::chrono::steady_clock::now();
        if (!end && stopRequested()) end = now + grace;
        if (!end)
            awaitEvents(nothing, now + pause);
        else if (now < *end)
            std::this_thread::sleep_for(pause);
        else
            throw Interrupted(name);
    }
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
    constexpr std::chrono::milliseconds pause(20);
    std::vector<pollfd> nothing;
    for (;;) {
        endIfStopped(name);
        const int descriptor = ::open(path, O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        if (descriptor >= 0 || errno != ENXIO) return descriptor;
        awaitEvents(nothing, std::chrono::steady_clock::now() + pause);
    }
}

}  // namespace libzepl
