#include "runtime/capture/sums.h"

#include <algorithm>
#include <cstring>

namespace libzepl {

namespace {

__extension__ using Wide = unsigned __int128;

// Odd numbers whose bits look random: of the golden ratio, and of the square root of 2.
constexpr std::uint64_t a = 0x9E3779B97F4A7C15, b = 0x6A09E667F3BCC909;

std::uint64_t term(std::uint64_t word, std::uint64_t key) {
    const Wide product = Wide{word + key} * b;
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
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
    std::uint64_t sum = sum_, key = key_;
    for (; bytes >= sizeof(std::uint64_t); next += sizeof(std::uint64_t), bytes -= sizeof(std::uint64_t)) {
        std::uint64_t word;
        std::memcpy(&word, next, sizeof word);
        sum += term(word, key += a);
    }
    sum_ = sum;
    key_ = key;
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
    for (std::size_t i = 1; i < sums_.size(); ++i) value = term(value, a) + sums_[i].value();
    return value;
}

std::uint64_t sumOf(const void* from, std::size_t bytes) {
    PrefixSum sum;
    sum.add(from, bytes);
    return sum.value();
}

}  // namespace libzepl
