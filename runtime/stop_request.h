// The wish that a run ends in order, from wherever it comes, and what waits for streams in the meantime.
#pragma once

#include <array>
#include <atomic>
#include <functional>
#include <string>

#include "diagnostics.h"

namespace libzepl {

class StopRequest {
 public:
    StopRequest();
    StopRequest(const StopRequest&) = delete;
    StopRequest& operator=(const StopRequest&) = delete;
    ~StopRequest();

    // From any thread, and from a signal's handler.
    void request() noexcept;
    bool requested() const noexcept { return requested_.load(std::memory_order_relaxed); }
    // Readable once a stop is requested, for whoever waits for something else beside it; -1 where the system gave none.
    int descriptor() const noexcept { return descriptor_; }

 private:
    std::atomic<bool> requested_{false};
    int descriptor_;
};

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

}  // namespace libzepl
