// Waiting for streams, such as standard input and FIFOs: a stop request ends the wait.
#pragma once

#include <poll.h>

#include <array>
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "runtime/diagnostics.h"
#include "runtime/stop_request.h"

namespace libzepl {

// A stop was requested while a file was opened or read.
class Interrupted : public Problem {
 public:
    explicit Interrupted(const std::string& name)
        : Problem(name + ": the run was stopped before it was read or opened") {}
};

// While it lives, what this thread opens and reads heeds the request; of nested ones the innermost counts.
class WaitScope {
 public:
    // `beforeWaiting` is called each time before a read waits. A second request is heeded like the first.
    explicit WaitScope(const StopRequest& stop, std::function<void()> beforeWaiting = {},
                       const StopRequest* second = nullptr);
    WaitScope(const WaitScope&) = delete;
    WaitScope& operator=(const WaitScope&) = delete;
    ~WaitScope();

    bool stopRequested() const { return stop_.requested() || (second_ != nullptr && second_->requested()); }
    // What to wait on for a request beside something else; -1 for none.
    std::array<int, 2> stopDescriptors() const {
        return {stop_.descriptor(), second_ == nullptr ? -1 : second_->descriptor()};
    }
    void beforeWaiting() const {
        if (beforeWaiting_) beforeWaiting_();
    }

 private:
    const StopRequest& stop_;
    const StopRequest* second_;
    std::function<void()> beforeWaiting_;
    const WaitScope* outer_;
};

// Throws Interrupted, for the file of that name, once a stop is requested.
void endIfStopped(const std::string& name);

// Readable once a stop is requested, each of them; -1 for none.
std::array<int, 2> stopDescriptors();

// Whether a read of the descriptor would not wait.
bool isReadable(int descriptor);

// Waits until one of them is readable or a stop is requested.
void awaitAny(const std::vector<int>& descriptors);

using Deadline = std::optional<std::chrono::steady_clock::time_point>;

// Waits until one of them has an event, which it then says, or a stop is requested. False when the time is up first.
bool awaitEvents(std::vector<pollfd>& awaited, const Deadline& deadline = {});

// Waits until the descriptor of the file `name` is readable; Interrupted when a stop is requested.
void awaitReadable(int descriptor, const std::string& name);

// Waits until the descriptor of the stream `name` takes something. Once a stop is requested its reader has half a second to
// take what is left; Interrupted after that.
void awaitWritable(int descriptor, const std::string& name);

// Opens the FIFO for writing, once it has a reader; -1, with errno, when it cannot be opened.
int openFifo(const char* path, const std::string& name);

}  // namespace libzepl
