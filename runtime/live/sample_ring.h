// A bounded queue of elements between two threads, without locks: one thread pushes, one takes.
#pragma once

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

namespace libzepl {

class SampleRing {
 public:
    // Holds at least `capacity` elements of `width` bytes.
    SampleRing(std::size_t capacity, std::size_t width)
        : size_(std::bit_ceil(std::max<std::size_t>(capacity, 1))),
          width_(width),
          elements_(std::make_unique_for_overwrite<std::byte[]>(size_ * width)) {}

    std::size_t capacity() const { return size_; }
    // By the pushing thread: how many fitted.
    std::size_t push(const void* from, std::size_t count) {
        const std::uint64_t at = pushed_.load(std::memory_order_relaxed);
        if (at + count - takenSeen_ > size_) takenSeen_ = taken_.load(std::memory_order_seq_cst);
        const std::size_t n = std::min<std::uint64_t>(count, size_ - (at - takenSeen_));
        copy(at, n, [&](std::byte* place, std::size_t offset, std::size_t bytes) {
            std::memcpy(place, static_cast<const std::byte*>(from) + offset, bytes);
        });
        if (n > 0) pushed_.store(at + n, std::memory_order_seq_cst);
        return n;
    }
    // By the taking thread: how many there were, `count` at most.
    std::size_t take(void* to, std::size_t count) {
        const std::uint64_t at = taken_.load(std::memory_order_relaxed);
        const std::size_t n = std::min<std::uint64_t>(count, pushed_.load(std::memory_order_acquire) - at);
        copy(at, n, [&](const std::byte* place, std::size_t offset, std::size_t bytes) {
            std::memcpy(static_cast<std::byte*>(to) + offset, place, bytes);
        });
        if (n > 0) taken_.store(at + n, std::memory_order_seq_cst);
        return n;
    }
    // By either thread; the other one can have changed it since.
    std::size_t available() const {
        const std::uint64_t taken = taken_.load(std::memory_order_seq_cst);
        return pushed_.load(std::memory_order_seq_cst) - taken;
    }
    std::size_t room() const { return size_ - available(); }

 private:
    // Calls `part` for what of `n` elements from the position `at` on lies before and after the end of the storage.
    template <class Part>
    void copy(std::uint64_t at, std::size_t n, Part part) {
        if (n == 0) return;
        const std::size_t index = at & (size_ - 1), first = std::min(n, size_ - index);
        part(elements_.get() + index * width_, 0, first * width_);
        if (n > first) part(elements_.get(), first * width_, (n - first) * width_);
    }

    const std::size_t size_;
    const std::size_t width_;
    const std::unique_ptr<std::byte[]> elements_;
    // Each thread writes to a cache line of its own.
    alignas(64) std::atomic<std::uint64_t> pushed_{0};
    std::uint64_t takenSeen_ = 0;  // by the pushing thread
    alignas(64) std::atomic<std::uint64_t> taken_{0};
};

}  // namespace libzepl
