#include "cli/batch_frames.h"

#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>

namespace cli {

namespace {

struct Header {
    std::uint32_t mark = 0x7A656250;
    std::uint32_t size = 0;  // of the content
    std::uint64_t digest = 0;
    std::uint64_t kind = 0;
};

constexpr std::uint32_t maxSize = std::uint32_t{1} << 28;

std::uint64_t digestOfFrame(std::uint64_t kind, std::string_view content) { return digestOf(content) ^ kind; }

}  // namespace

std::string hexOf(std::uint64_t digest) {
    std::array<char, 16> text;
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), digest, 16).ptr};
}

std::string packed(const std::vector<std::string>& texts) {
    std::string bytes;
    for (const std::string& text : texts) {
        const auto size = static_cast<std::uint32_t>(text.size());
        bytes.append(reinterpret_cast<const char*>(&size), sizeof size).append(text);
    }
    return bytes;
}

std::optional<std::vector<std::string>> unpacked(std::string_view bytes) {
    std::vector<std::string> texts;
    while (!bytes.empty()) {
        std::uint32_t size = 0;
        if (bytes.size() < sizeof size) return std::nullopt;
        std::memcpy(&size, bytes.data(), sizeof size);
        bytes.remove_prefix(sizeof size);
        if (bytes.size() < size) return std::nullopt;
        texts.emplace_back(bytes.substr(0, size));
        bytes.remove_prefix(size);
    }
    return texts;
}

bool writeFrame(int descriptor, char kind, std::string_view content) noexcept {
    Header header;
    header.size = static_cast<std::uint32_t>(std::min<std::size_t>(content.size(), maxSize));
    content = content.substr(0, header.size);
    header.kind = static_cast<unsigned char>(kind);
    header.digest = digestOfFrame(header.kind, content);
    std::array<iovec, 2> parts{{{&header, sizeof header}, {const_cast<char*>(content.data()), content.size()}}};
    for (std::size_t left = sizeof header + content.size(); left > 0;) {
        const ::ssize_t done = ::writev(descriptor, parts.data(), 2);
        if (done < 0 && errno == EINTR) continue;
        if (done <= 0) return false;
        auto gone = static_cast<std::size_t>(done);
        left -= gone;
        for (iovec& part : parts) {
            const std::size_t of = std::min(gone, part.iov_len);
            part.iov_base = static_cast<char*>(part.iov_base) + of;
            part.iov_len -= of;
            gone -= of;
        }
    }
    return true;
}

bool FrameReader::readFrom(int descriptor) {
    std::array<char, 65536> piece;
    ::ssize_t got = 0;
    do got = ::read(descriptor, piece.data(), piece.size());
    while (got < 0 && errno == EINTR);
    if (got <= 0) return false;
    bytes_.erase(0, at_);
    at_ = 0;
    bytes_.append(piece.data(), static_cast<std::size_t>(got));
    return true;
}

std::optional<Frame> FrameReader::next() {
    Header header, expected;
    if (broken_ || bytes_.size() - at_ < sizeof header) return std::nullopt;
    std::memcpy(&header, bytes_.data() + at_, sizeof header);
    broken_ = header.mark != expected.mark || header.size > maxSize || header.kind > 127;
    if (broken_ || bytes_.size() - at_ - sizeof header < header.size) return std::nullopt;
    Frame frame{static_cast<char>(header.kind), bytes_.substr(at_ + sizeof header, header.size)};
    broken_ = digestOfFrame(header.kind, frame.content) != header.digest;
    if (broken_) return std::nullopt;
    at_ += sizeof header + header.size;
    taken_ += sizeof header + header.size;
    return frame;
}

}  // namespace cli
