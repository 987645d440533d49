// Sums of the streams of a capture, by which damage is told from a file that was cut short.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "runtime/capture/sums.h"

namespace libzepl {

// After so many bytes of a stream each, its file of sums has the sum of all until there.
inline constexpr std::array<std::uint64_t, 2> sumSpans{64, 1024};

// Writes to the file at that place; gives the system's error, 0 for none.
int writeAt(int file, const void* from, std::uint64_t bytes, std::uint64_t offset) noexcept;

// Ties the streams of a capture together: a sum over the sums of both.
std::uint64_t jointSum(std::uint64_t first, std::uint64_t second);

// Of a stream that grows. Every call gives the system's error, 0 for none.
class SumWriter {
 public:
    void open(int file, std::uint64_t span) {
        file_ = file;
        span_ = span;
    }
    int file() const { return file_; }
    // The bytes that come next.
    int add(const std::byte* from, std::uint64_t bytes) noexcept;
    // Over all so far.
    std::uint64_t value() const { return sum_.value(); }
    // No more come: adds the sum of a last span that is not full, the size of the stream, and a sum over those of all streams.
    int finish(std::uint64_t joint) noexcept;

 private:
    int append(const std::uint64_t* words, std::size_t count) noexcept;

    int file_ = -1;
    std::uint64_t span_ = 1, size_ = 0, words_ = 0;
    PrefixSum sum_;
};

// The sums as a file has them.
class StreamSums {
 public:
    StreamSums(const std::filesystem::path& file, std::uint64_t span);

    // The stream's size, where the file has its end.
    std::optional<std::uint64_t> size() const { return size_; }
    // Up to here there are sums, of whole spans.
    std::uint64_t summed() const { return size_ ? *size_ / span_ * span_ : words_.size() * span_; }
    std::uint64_t value() const { return words_.empty() ? 0 : words_.back(); }
    // False where both have their ends, and are not of one capture.
    static bool fitTogether(const StreamSums& first, const StreamSums& second) {
        const std::uint64_t joint = jointSum(first.value(), second.value());
        return !first.size_ || !second.size_ || (first.joint_ == joint && second.joint_ == joint);
    }
    std::uint64_t wholeSpans(std::uint64_t bytes) const { return bytes / span_ * span_; }
    // The first byte of the span that does not have its sum; none where all of these bytes have theirs, as far as there are sums.
    template <class Bytes>
    std::optional<std::uint64_t> firstDamage(const Bytes& bytes) const {
        std::vector<std::byte> part(span_);
        PrefixSum sum;
        const std::uint64_t end = bytes.size();
        for (std::uint64_t at = 0, i = 0; at < end && i < words_.size(); at += span_, ++i) {
            const std::uint64_t n = end - at < span_ ? end - at : span_;
            if (n < span_ && size_ != end) break;
            bytes.read(at, part.data(), n);
            sum.add(part.data(), n);
            if (sum.value() != words_[i]) return at;
        }
        return std::nullopt;
    }

 private:
    std::uint64_t span_;
    std::vector<std::uint64_t> words_;
    std::optional<std::uint64_t> size_{};
    std::uint64_t joint_ = 0;
};

}  // namespace libzepl
