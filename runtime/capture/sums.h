// Sums over what an output takes, by which two runs are compared.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace libzepl {

// A 64-bit sum over the bytes so far, however they are cut into pieces. Each word of eight bytes, the last one filled up
// with zeros, adds itself and the product of the halves of word + (n + 1) * a, for its place n.
class PrefixSum {
 public:
    void add(const void* from, std::size_t bytes);
    std::uint64_t value() const;

 private:
    std::uint64_t sum_ = 0;      // over whole words
    std::uint64_t key_ = 0;      // n * a for the next word
    std::uint64_t partial_ = 0;  // the next word, as far as it is there
    std::size_t partialBytes_ = 0;
};

// Over the frames of an output: of one pipe, of several side by side, or a trigger's events.
class OutputSum {
 public:
    // The bytes that each of its columns has to a frame.
    explicit OutputSum(std::vector<std::size_t> frameBytes)
        : frameBytes_(std::move(frameBytes)), sums_(frameBytes_.size()) {}

    // The frames from `first` on of those that the columns have.
    void add(const void* const* columns, std::uint64_t first, std::uint64_t frames);
    std::uint64_t count() const { return count_; }
    std::uint64_t value() const;

 private:
    std::vector<std::size_t> frameBytes_;
    std::vector<PrefixSum> sums_;
    std::uint64_t count_ = 0;
};

// The same over one piece of bytes.
std::uint64_t sumOf(const void* from, std::size_t bytes);

}  // namespace libzepl
