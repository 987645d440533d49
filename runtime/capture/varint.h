// Numbers as a capture has them: seven bits to a byte, the lowest first, the top bit set where more follow; or of fixed width,
// the lowest byte first.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace libzepl {

class ByteWriter {
 public:
    void byte(std::uint8_t value) { bytes_.push_back(static_cast<std::byte>(value)); }
    void varint(std::uint64_t value) {
        for (; value >= 0x80; value >>= 7) byte(static_cast<std::uint8_t>(value | 0x80));
        byte(static_cast<std::uint8_t>(value));
    }
    void fixed(std::uint64_t value, std::size_t bytes) {
        for (std::size_t i = 0; i < bytes; ++i) byte(static_cast<std::uint8_t>(value >> (8 * i)));
    }
    void raw(const void* from, std::size_t bytes) {
        const auto* first = static_cast<const std::byte*>(from);
        bytes_.insert(bytes_.end(), first, first + bytes);
    }
    void text(std::string_view text) {
        varint(text.size());
        raw(text.data(), text.size());
    }
    const std::vector<std::byte>& bytes() const { return bytes_; }

 private:
    std::vector<std::byte> bytes_;
};

static_assert(std::endian::native == std::endian::little);

// A few numbers, written one after the other to a place that has room for them.
class RecordWriter {
 public:
    explicit RecordWriter(std::byte* to) : next_(to) {}

    void byte(std::uint8_t value) { *next_++ = static_cast<std::byte>(value); }
    void varint(std::uint64_t value) {
        for (; value >= 0x80; value >>= 7) byte(static_cast<std::uint8_t>(value | 0x80));
        byte(static_cast<std::uint8_t>(value));
    }
    void word(std::uint64_t value) {
        std::memcpy(next_, &value, sizeof value);
        next_ += sizeof value;
    }
    const std::byte* end() const { return next_; }

 private:
    std::byte* next_;
};

}  // namespace libzepl
