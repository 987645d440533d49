// Wakes a thread that sleeps on a descriptor. While nobody sleeps, it costs no call of the system.
//
//     sleeper                                          waker
//     wake.arm();                                      publish the work, with sequential consistency
//     look for work once more, with the same;          wake.notify();
//     none: poll wake.descriptor();
//     wake.disarm();
#pragma once

#include <atomic>

namespace libzepl {

class Wake {
 public:
    // A Problem where the system gives no descriptor.
    Wake();
    Wake(const Wake&) = delete;
    Wake& operator=(const Wake&) = delete;
    ~Wake();

    // From any thread, and from a signal's handler.
    void notify() noexcept {
        if (isArmed()) signal();
    }
    // By the sleeper: from now on a notification makes the descriptor readable, until disarm().
    void arm() noexcept { armed_.store(true, std::memory_order_seq_cst); }
    void disarm() noexcept;
    bool isArmed() const noexcept { return armed_.load(std::memory_order_seq_cst); }
    int descriptor() const noexcept { return descriptor_; }

 private:
    void signal() noexcept;

    std::atomic<bool> armed_{false};
    int descriptor_;
};

}  // namespace libzepl
