// A recording that another thread makes: what it pushes is what a session reads.
#pragma once

#include <atomic>

#include "runtime/files.h"
#include "runtime/live/sample_ring.h"
#include "runtime/live/wake.h"

namespace libzepl {

// The ring of a live input. The session holds one end, the thread that pushes the other one.
struct LiveRing {
    LiveRing(std::size_t capacity, std::size_t width) : samples(capacity, width) {}

    // By the pushing thread.
    std::size_t push(const void* from, std::size_t count) {
        const std::size_t n = samples.push(from, count);
        if (n > 0) filled.notify();
        return n;
    }
    void finish() noexcept {
        finished.store(true, std::memory_order_seq_cst);
        filled.notify();
    }
    // By the taking thread.
    std::size_t take(void* to, std::size_t count) {
        const std::size_t n = samples.take(to, count);
        if (n > 0 && emptied.isArmed() && samples.room() >= wantedRoom.load(std::memory_order_relaxed))
            emptied.notify();
        return n;
    }
    void close() noexcept {
        closed.store(true, std::memory_order_seq_cst);
        emptied.notify();
    }

    SampleRing samples;
    Wake filled;                             // the taking thread sleeps on it
    Wake emptied;                            // the pushing thread sleeps on it, where it waits for room
    std::atomic<std::size_t> wantedRoom{1};  // that the pushing thread sleeps for; set before `emptied` is armed
    std::atomic<bool> finished{false};       // nothing more is pushed
    std::atomic<bool> closed{false};         // nothing more is taken
};

class RingSource : public Source {
 public:
    RingSource(std::shared_ptr<LiveRing> ring, int channels, std::optional<double> rate)
        : ring_(std::move(ring)), channels_(channels), rate_(rate) {}
    ~RingSource() override { ring_->close(); }

    std::size_t read(void* to, std::size_t count) override;
    bool ready() const override { return isFinished() || ring_->samples.available() > 0; }
    int descriptor() const override { return ring_->filled.descriptor(); }
    bool arm() override;
    void disarm() override { ring_->filled.disarm(); }
    std::optional<std::uint64_t> length() const override { return std::nullopt; }
    int channels() const override { return channels_; }
    std::optional<double> rate() const override { return rate_; }

 private:
    bool isFinished() const { return ring_->finished.load(std::memory_order_seq_cst); }

    std::shared_ptr<LiveRing> ring_;
    int channels_;
    std::optional<double> rate_;
};

}  // namespace libzepl
