#include "runtime/capture/sums.h"

#include <algorithm>
#include <cstring>

#include "runtime/base/vector_clones.h"

namespace libzepl {

namespace {

// Odd numbers whose bits look random: of the golden ratio, and of the square root of 2.
constexpr std::uint64_t a = 0x9E3779B97F4A7C15, b = 0x6A09E667F3BCC909;

// A multiplication of 32 by 32 bits, which vectors of the processor have; the word itself counts too, for the halves that happen
// to be multiplied by 0.
inline std::uint64_t term(std::uint64_t word, std::uint64_t key) {
    const std::uint64_t mixed = word + key;
    return word + (mixed & 0xFFFFFFFF) * (mixed >> 32);
}

inline std::uint64_t sumOfWords(const std::byte* from, std::size_t words, std::uint64_t key) {
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < words; ++i) {
        std::uint64_t word;
        std::memcpy(&word, from + i * sizeof word, sizeof word);
        sum += term(word, key + (i + 1) * a);
    }
    return sum;
}
LIBZEPL_VECTOR_CLONES std::uint64_t sumOfMany(const std::byte* from, std::size_t words, std::uint64_t key) {
    return sumOfWords(from, words, key);
}

}  // namespace

void PrefixSum::add(const void* from, std::size_t bytes) {
    const auto* next = static_cast<const std::byte*>(from);
    if (partialBytes_ > 0) {
        const std::size_t n = std::min(bytes, sizeof partial_ - partialBytes_);
        std::memcpy(reinterpret_cast<std::byte*>(&partial_) + partialBytes_, next, n);
        partialBytes_ += n;
        next += n;
        bytes -= n;
        if (partialBytes_ < sizeof partial_) return;
        sum_ += term(partial_, key_ += a);
        partial_ = partialBytes_ = 0;
    }
    const std::size_t words = bytes / sizeof partial_;
    sum_ += words < 8 ? sumOfWords(next, words, key_) : sumOfMany(next, words, key_);
    key_ += words * a;
    next += words * sizeof partial_;
    bytes -= words * sizeof partial_;
    std::memcpy(&partial_, next, bytes);
    partialBytes_ = bytes;
}

std::uint64_t PrefixSum::value() const { return partialBytes_ == 0 ? sum_ : sum_ + term(partial_, key_ + a); }

void OutputSum::add(const void* const* columns, std::uint64_t first, std::uint64_t frames) {
    for (std::size_t i = 0; i < sums_.size(); ++i)
        sums_[i].add(static_cast<const std::byte*>(columns[i]) + first * frameBytes_[i], frames * frameBytes_[i]);
    count_ += frames;
}

std::uint64_t OutputSum::value() const {
    std::uint64_t value = sums_.front().value();
    for (std::size_t i = 1; i < sums_.size(); ++i) value = (value ^ value >> 32) * b + sums_[i].value();
    return value;
}

std::uint64_t sumOf(const void* from, std::size_t bytes) {
    PrefixSum sum;
    sum.add(from, bytes);
    return sum.value();
}

}  // namespace libzepl
