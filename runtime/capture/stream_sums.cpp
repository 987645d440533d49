#include "runtime/capture/stream_sums.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "runtime/capture/captured_run.h"

namespace libzepl {

int writeAt(int file, const void* from, std::uint64_t bytes, std::uint64_t offset) noexcept {
    const auto* next = static_cast<const std::byte*>(from);
    while (bytes > 0) {
        const ssize_t n = ::pwrite(file, next, bytes, static_cast<off_t>(offset));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return n < 0 ? errno : ENOSPC;
        next += n;
        offset += static_cast<std::uint64_t>(n);
        bytes -= static_cast<std::uint64_t>(n);
    }
    return 0;
}

int SumWriter::append(const std::uint64_t* words, std::size_t count) noexcept {
    const int error = writeAt(file_, words, count * sizeof *words, words_ * sizeof *words);
    words_ += count;
    return error;
}

int SumWriter::add(const std::byte* from, std::uint64_t bytes) noexcept {
    std::array<std::uint64_t, 256> words;
    std::size_t count = 0;
    int error = 0;
    while (bytes > 0 && error == 0) {
        const std::uint64_t n = std::min(bytes, span_ - size_ % span_);
        sum_.add(from, n);
        from += n;
        bytes -= n;
        size_ += n;
        if (size_ % span_ == 0) words[count++] = sum_.value();
        if (count == words.size()) error = append(words.data(), std::exchange(count, 0));
    }
    return error != 0 ? error : append(words.data(), count);
}

int SumWriter::finish(std::uint64_t joint) noexcept {
    const std::array<std::uint64_t, 3> words{sum_.value(), size_, joint};
    return size_ % span_ == 0 ? append(&words[1], 2) : append(words.data(), words.size());
}

std::uint64_t jointSum(std::uint64_t first, std::uint64_t second) {
    const std::array<std::uint64_t, 2> sums{first, second};
    return sumOf(sums.data(), sizeof sums);
}

StreamSums::StreamSums(const std::filesystem::path& file, std::uint64_t span) : span_(span) {
    const std::vector<std::byte> bytes = bytesOfFile(file);
    words_.resize(bytes.size() / sizeof(std::uint64_t));
    if (words_.empty()) return;
    std::memcpy(words_.data(), bytes.data(), words_.size() * sizeof(std::uint64_t));
    const std::size_t count = words_.size();
    if (count < 2 || bytes.size() % sizeof(std::uint64_t) != 0) return;
    const std::uint64_t size = words_[count - 2];
    if (size / span + (size % span == 0 ? 0 : 1) + 2 != count) return;
    size_ = size;
    joint_ = words_.back();
    words_.resize(count - 2);
}

}  // namespace libzepl
