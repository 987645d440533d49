// Sums over what an output takes, by which two runs are compared.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace libzepl {

// A 64-bit sum over the bytes so far, however they are cut into pieces. Each word of eight bytes, the last one filled up
// with zeros, adds itself and the product of the halves of word + (n + 1) * a, for its place n.
class PrefixSum {
 public:
    void add(const void* from, std::size_t bytes) {
        if (partialBytes_ == 0 && bytes == sizeof partial_)
            addWord(from);
        else
            addPiece(from, bytes);
    }
    std::uint64_t value() const { return partialBytes_ == 0 ? sum_ : sum_ + term(partial_, key_ + step); }

 private:
    // An odd number whose bits look random: of the golden ratio.
    static constexpr std::uint64_t step = 0x9E3779B97F4A7C15;
    // A multiplication of 32 by 32 bits, which vectors of the processor have; the word itself counts too, for the halves that
    // happen to be multiplied by 0.
    static std::uint64_t term(std::uint64_t word, std::uint64_t key) {
        const std::uint64_t mixed = word + key;
        return word + (mixed & 0xFFFFFFFF) * (mixed >> 32);
    }
    void addWord(const void* from) {
        std::uint64_t word;
        std::memcpy(&word, from, sizeof word);
        sum_ += term(word, key_ += step);
    }
    static std::uint64_t sumOfMany(const std::byte* from, std::size_t words, std::uint64_t key);
    void addPiece(const void* from, std::size_t bytes);

    std::uint64_t sum_ = 0;      // over whole words
    std::uint64_t key_ = 0;      // n * a for the next word
    std::uint64_t partial_ = 0;  // the next word, as far as it is there
    std::size_t partialBytes_ = 0;
};

// Over the frames of an output: of one pipe, of several side by side, or a trigger's events.
class OutputSum {
 public:
    // The bytes that each of its columns has to a frame.
    explicit OutputSum(const std::vector<std::size_t>& frameBytes) : columns_(frameBytes.size()) {
        for (std::size_t i = 0; i < columns_.size(); ++i) columns_[i].frameBytes = frameBytes[i];
    }

    // The frames from `first` on of those that the columns have.
    void add(const void* const* columns, std::uint64_t first, std::uint64_t frames) {
        for (Column& column : columns_)
            column.sum.add(static_cast<const std::byte*>(*columns++) + first * column.frameBytes,
                           frames * column.frameBytes);
        count_ += frames;
    }
    std::uint64_t count() const { return count_; }
    std::uint64_t value() const {
        constexpr std::uint64_t mixer = 0x6A09E667F3BCC909;  // of the square root of 2
        std::uint64_t value = columns_.front().sum.value();
        for (std::size_t i = 1; i < columns_.size(); ++i)
            value = (value ^ value >> 32) * mixer + columns_[i].sum.value();
        return value;
    }

 private:
    struct Column {
        PrefixSum sum{};
        std::size_t frameBytes = 0;
    };
    std::vector<Column> columns_;
    std::uint64_t count_ = 0;
};

// The same over one piece of bytes.
std::uint64_t sumOf(const void* from, std::size_t bytes);

}  // namespace libzepl
