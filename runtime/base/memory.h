// The memory that a session may use, counted, and the arenas that tasks take theirs from.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

namespace libzepl {

// Counts bytes against a limit. Threads can share it.
class MemoryBudget {
 public:
    explicit MemoryBudget(std::uint64_t limit) : limit_(limit) {}
    // False, with nothing counted, when the limit would be passed.
    bool reserve(std::uint64_t bytes);
    void release(std::uint64_t bytes) {
        if (!countsAll_) used_.fetch_sub(bytes, std::memory_order_relaxed);
    }
    // From now on what is released still counts: what has room then has it in whatever order it is taken and released.
    void countAll() { countsAll_ = true; }
    std::uint64_t limit() const { return limit_; }

 private:
    std::uint64_t limit_;
    std::atomic<std::uint64_t> used_{0};
    bool countsAll_ = false;
};

// What a session has taken of a budget for one thing, and gives back with it.
class Charge {
 public:
    Charge() = default;
    Charge(Charge&& other) noexcept
        : budget_(std::exchange(other.budget_, nullptr)), bytes_(std::exchange(other.bytes_, 0)) {}
    Charge& operator=(Charge&& other) noexcept {
        std::swap(budget_, other.budget_);
        std::swap(bytes_, other.bytes_);
        return *this;
    }
    ~Charge() {
        if (budget_ != nullptr) budget_->release(bytes_);
    }
    // Once for each. False, with nothing counted, when the limit would be passed.
    bool reserve(MemoryBudget& budget, std::uint64_t bytes) {
        if (!budget.reserve(bytes)) return false;
        budget_ = &budget;
        bytes_ = bytes;
        return true;
    }

 private:
    MemoryBudget* budget_ = nullptr;
    std::uint64_t bytes_ = 0;
};

// The most that an allocation of so many bytes takes of the machine, with what its alignment and the allocator's own records
// cost.
std::uint64_t costOf(std::uint64_t bytes);

struct FreeDeleter {
    void operator()(void* pointer) const { std::free(pointer); }
};
using AlignedBytes = std::unique_ptr<std::byte[], FreeDeleter>;

// Asks for large pages where the memory is large, before it is first touched: a fault for each of its small pages would
// cost more than filling them.
void preferLargePages(void* memory, std::size_t bytes);

// Memory aligned to 64 bytes, or null when there is none: zeroed, or as it comes, for what is written before it is read.
AlignedBytes allocateAligned(std::size_t bytes);
AlignedBytes allocateUnset(std::size_t bytes);

// What one task has taken. All of it goes when the task ends.
class Arena {
 public:
    explicit Arena(MemoryBudget& budget) : budget_(budget) {}
    Arena(const Arena&) = delete;
    Arena& operator=(const Arena&) = delete;

    // Both give null when the budget or the machine has no more.
    void* allocateForTask(std::size_t bytes);   // zeroed, aligned to 64 bytes
    void* allocateFromHeap(std::size_t bytes);  // given back by free()
    // False when `pointer` did not come from allocateFromHeap.
    bool free(void* pointer);
    void clear();

 private:
    struct Block {
        AlignedBytes bytes;
        std::size_t size = 0;
        Charge charge;
    };
    bool makeBlock(std::size_t bytes, Block& block);

    MemoryBudget& budget_;
    std::vector<Block> forLife_;
    std::size_t lastUsed_ = 0;  // bytes taken of the last of `forLife_`, where that is shared
    std::unordered_map<void*, Block> heap_;
};

}  // namespace libzepl
