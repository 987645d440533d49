// Frames: what the processes of a batch say to each other, and what its journal consists of. A frame that did not arrive whole, or
// that something else has written into, is known by its length and its digest.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

// A digest of bytes; `before` continues one.
constexpr std::uint64_t digestOf(std::string_view bytes, std::uint64_t before = 14695981039346656037U) {
    for (const char c : bytes)
        before = (before ^ static_cast<unsigned char>(c)) * 1099511628211U;  // FNV-1a (Fowler, Noll and Vo, 1991)
    return before;
}
std::string hexOf(std::uint64_t digest);

// Texts in one, and back; nothing where it is none of such.
std::string packed(const std::vector<std::string>& texts);
std::optional<std::vector<std::string>> unpacked(std::string_view bytes);

struct Frame {
    char kind = 0;
    std::string content;
};

// Writes the frame whole, with calls alone that a signal's handler may make; false where it cannot be written.
bool writeFrame(int descriptor, char kind, std::string_view content) noexcept;

// Takes frames out of bytes as they come.
class FrameReader {
 public:
    // Reads once from the descriptor. False at its end, and where it cannot be read.
    bool readFrom(int descriptor);
    // The next whole frame. Nothing while there is none, and once isBroken().
    std::optional<Frame> next();
    bool isBroken() const { return broken_; }
    std::size_t taken() const { return taken_; }  // bytes of whole frames so far

 private:
    std::string bytes_;
    std::size_t at_ = 0, taken_ = 0;
    bool broken_ = false;
};

}  // namespace cli
