// The frames of the language server's protocol: header lines, an empty line, and as many bytes as `Content-Length` says.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace cli::lsp {

inline constexpr std::size_t maxHeader = 4096;                        // bytes
inline constexpr std::uint64_t maxContent = std::uint64_t{64} << 20;  // a procedure has 16 MiB at most

// What came: a message's content, or why a frame has none. After a mistake reading continues with the next frame.
struct Frame {
    std::string content{};
    std::string mistake{};
};

class FrameReader {
 public:
    void add(std::string_view bytes);
    // The next frame that is complete.
    std::optional<Frame> next();

 private:
    std::optional<Frame> readHeader();
    std::optional<Frame> refuse(std::string mistake);

    std::string bytes_;
    std::size_t at_ = 0;                   // what of `bytes_` has been read
    std::optional<std::size_t> length_{};  // of the content that comes next
    std::uint64_t skip_ = 0;               // bytes of a content that is too long
};

std::string framed(std::string_view content);

}  // namespace cli::lsp
