#include "runtime/base/memory.h"

#include <sys/mman.h>

#include <cstring>
#include <utility>

namespace libzepl {

namespace {

constexpr std::size_t alignment = 64;
constexpr std::size_t sharedBlock = 16384;  // small requests share blocks of this size

// The gap before an aligned block with its header, and what the arena keeps of it.
constexpr std::uint64_t gap = 64, record = 96;
constexpr std::uint64_t largeBlock = 131072, page = 4096;  // from this size on, blocks are whole pages

constexpr std::size_t roundedUp(std::size_t bytes) { return (bytes + alignment - 1) / alignment * alignment; }

}  // namespace

std::uint64_t costOf(std::uint64_t bytes) {
    if (bytes > SIZE_MAX / 2) return bytes;
    const std::uint64_t cost = roundedUp(bytes == 0 ? 1 : bytes) + gap + record;
    return cost < largeBlock ? cost : cost + page;
}

bool MemoryBudget::reserve(std::uint64_t bytes) {
    std::uint64_t used = used_.load(std::memory_order_relaxed);
    do
        if (bytes > limit_ - used) return false;
    while (!used_.compare_exchange_weak(used, used + bytes, std::memory_order_relaxed));
    return true;
}

// The advice may be refused; then pages stay small.
void preferLargePages(void* memory, std::size_t bytes) {
    constexpr std::uintptr_t largePage = std::uintptr_t{2} << 20;
    const auto begin = reinterpret_cast<std::uintptr_t>(memory), end = begin + bytes;
    const std::uintptr_t first = (begin + largePage - 1) / largePage * largePage, last = end / largePage * largePage;
    if (first < last) ::madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
}

AlignedBytes allocateUnset(std::size_t bytes) {
    if (bytes > SIZE_MAX / 2) return nullptr;
    const std::size_t size = roundedUp(bytes == 0 ? 1 : bytes);
    void* pointer = std::aligned_alloc(alignment, size);
    if (pointer == nullptr) return nullptr;
    preferLargePages(pointer, size);
    return AlignedBytes(static_cast<std::byte*>(pointer));
}

AlignedBytes allocateAligned(std::size_t bytes) {
    AlignedBytes memory = allocateUnset(bytes);
    if (memory != nullptr) std::memset(memory.get(), 0, roundedUp(bytes == 0 ? 1 : bytes));
    return memory;
}

bool Arena::makeBlock(std::size_t bytes, Block& block) {
    if (!block.charge.reserve(budget_, costOf(bytes))) return false;
    block.bytes = allocateUnset(bytes);
    block.size = bytes;
    return block.bytes != nullptr;
}

void* Arena::allocateForTask(std::size_t bytes) {
    if (bytes > SIZE_MAX / 2) return nullptr;
    const std::size_t size = roundedUp(bytes == 0 ? 1 : bytes);
    if (forLife_.empty() || size > forLife_.back().size - lastUsed_) {
        Block block;
        if (!makeBlock(size > sharedBlock ? size : sharedBlock, block)) return nullptr;
        forLife_.push_back(std::move(block));
        lastUsed_ = 0;
    }
    void* pointer = forLife_.back().bytes.get() + lastUsed_;
    lastUsed_ += size;
    return std::memset(pointer, 0, size);
}

void* Arena::allocateFromHeap(std::size_t bytes) {
    Block block;
    if (!makeBlock(bytes, block)) return nullptr;
    void* pointer = std::memset(block.bytes.get(), 0, bytes);
    heap_.emplace(pointer, std::move(block));
    return pointer;
}

bool Arena::free(void* pointer) {
    const auto found = heap_.find(pointer);
    if (found == heap_.end()) return false;
    heap_.erase(found);
    return true;
}

void Arena::clear() {
    forLife_.clear();
    heap_.clear();
    lastUsed_ = 0;
}

}  // namespace libzepl
