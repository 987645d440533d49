// The memory that a session may use, counted, and the arenas that tasks take theirs from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <unordered_map>
#include <vector>

namespace libzepl {

// Counts bytes against a limit.
class MemoryBudget {
 public:
    explicit MemoryBudget(std::uint64_t limit) : limit_(limit) {}
    // False, with nothing counted, when the limit would be passed.
    bool take(std::uint64_t bytes);
    void giveBack(std::uint64_t bytes) { used_ -= bytes; }
    std::uint64_t limit() const { return limit_; }

 private:
    std::uint64_t limit_;
    std::uint64_t used_ = 0;
};

struct FreeDeleter {
    void operator()(void* pointer) const { std::free(pointer); }
};
using AlignedBytes = std::unique_ptr<std::byte[], FreeDeleter>;

// Asks for large pages where the memory is large, before it is first touched: a fault for each of its small pages would
// cost more than filling them.
void preferLargePages(void* memory, std::size_t bytes);

// Zeroed memory aligned to 64 bytes, or null when there is none.
AlignedBytes allocateAligned(std::size_t bytes);

// What one task has taken. All of it goes when the task ends.
class Arena {
 public:
    explicit Arena(MemoryBudget& budget) : budget_(budget) {}
    Arena(const Arena&) = delete;
    Arena& operator=(const Arena&) = delete;
    ~Arena() { clear(); }

    // Both give null when the budget or the machine has no more.
    void* allocateForLife(std::size_t bytes);   // zeroed, aligned to 64 bytes
    void* allocateFromHeap(std::size_t bytes);  // given back by free()
    // False when `pointer` did not come from allocateFromHeap.
    bool free(void* pointer);
    void clear();

 private:
    struct Block {
        AlignedBytes bytes;
        std::size_t size = 0;
    };
    bool makeBlock(std::size_t bytes, Block& block);

    MemoryBudget& budget_;
    std::vector<Block> forLife_;
    std::size_t lastUsed_ = 0;  // bytes taken of the last of `forLife_`, where that is shared
    std::unordered_map<void*, Block> heap_;
};

}  // namespace libzepl
