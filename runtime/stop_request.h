// The wish that a run ends in order, from wherever it comes.
#pragma once

#include <atomic>

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

}  // namespace libzepl
