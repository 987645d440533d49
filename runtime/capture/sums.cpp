#include "runtime/capture/sums.h"

#include <algorithm>

#include "runtime/base/vector_clones.h"

namespace libzepl {

LIBZEPL_VECTOR_CLONES std::uint64_t PrefixSum::sumOfMany(const std::byte* from, std::size_t words, std::uint64_t key) {
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < words; ++i) {
        std::uint64_t word;
        std::memcpy(&word, from + i * sizeof word, sizeof word);
        sum += term(word, key + (i + 1) * step);
    }
    return sum;
}

void PrefixSum::addPiece(const void* from, std::size_t bytes) {
    constexpr std::size_t least = 8;  // words that vectors are worth while for
    const auto* next = static_cast<const std::byte*>(from);
    if (partialBytes_ > 0) {
        const std::size_t n = std::min(bytes, sizeof partial_ - partialBytes_);
        std::memcpy(reinterpret_cast<std::byte*>(&partial_) + partialBytes_, next, n);
        partialBytes_ += n;
        next += n;
        bytes -= n;
        if (partialBytes_ < sizeof partial_) return;
        addWord(&partial_);
        partial_ = partialBytes_ = 0;
    }
    const std::size_t words = bytes / sizeof partial_;
    if (words >= least) {
        sum_ += sumOfMany(next, words, key_);
        key_ += words * step;
        next += words * sizeof partial_;
    } else {
        for (std::size_t i = 0; i < words; ++i, next += sizeof partial_) addWord(next);
    }
    bytes -= words * sizeof partial_;
    if (bytes > 0) std::memcpy(&partial_, next, bytes);
    partialBytes_ = bytes;
}

std::uint64_t sumOf(const void* from, std::size_t bytes) {
    PrefixSum sum;
    sum.add(from, bytes);
    return sum.value();
}

}  // namespace libzepl
