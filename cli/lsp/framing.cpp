#include "cli/lsp/framing.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <utility>

namespace cli::lsp {

namespace {

constexpr std::string_view lineEnd = "\r\n", headerEnd = "\r\n\r\n", lengthField = "content-length:";

bool startsAs(std::string_view line, std::string_view inSmallLetters) {
    return line.size() >= inSmallLetters.size() &&
           std::equal(inSmallLetters.begin(), inSmallLetters.end(), line.begin(),
                      [](char small, char c) { return small == std::tolower(static_cast<unsigned char>(c)); });
}

std::optional<std::uint64_t> numberOf(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    while (text.ends_with(' ') || text.ends_with('\t')) text.remove_suffix(1);
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isWhole = error == std::errc() && end == text.data() + text.size();
    return isWhole ? std::optional(number) : std::nullopt;
}

// What the field says; nothing where the header has none, or one that is no number.
std::optional<std::uint64_t> lengthIn(std::string_view header) {
    while (!header.empty()) {
        const std::string_view line = header.substr(0, header.find(lineEnd));
        if (startsAs(line, lengthField)) return numberOf(line.substr(lengthField.size()));
        header.remove_prefix(std::min(line.size() + lineEnd.size(), header.size()));
    }
    return std::nullopt;
}

}  // namespace

void FrameReader::add(std::string_view bytes) {
    const std::size_t skipped = static_cast<std::size_t>(std::min<std::uint64_t>(skip_, bytes.size()));
    skip_ -= skipped;
    bytes_.append(bytes.substr(skipped));
}

std::optional<Frame> FrameReader::next() {
    if (!length_) {
        if (std::optional<Frame> refused = readHeader()) return refused;
        if (!length_) return std::nullopt;
    }
    if (bytes_.size() - at_ < *length_) return std::nullopt;
    Frame frame{bytes_.substr(at_, *length_)};
    at_ += *std::exchange(length_, std::nullopt);
    if (at_ * 2 > bytes_.size()) bytes_.erase(0, std::exchange(at_, 0));
    return frame;
}

// Finds the length of the content that comes next, once the header is there.
std::optional<Frame> FrameReader::readHeader() {
    const std::size_t end = bytes_.find(headerEnd, at_);
    if (end == std::string::npos) {
        if (bytes_.size() - at_ <= maxHeader) return std::nullopt;
        at_ = bytes_.size() - headerEnd.size() + 1;
        return refuse("the header of a message is over " + std::to_string(maxHeader) + " bytes");
    }
    const std::optional<std::uint64_t> length = lengthIn(std::string_view(bytes_).substr(at_, end - at_));
    at_ = end + headerEnd.size();
    if (!length) return refuse("the header of a message has no Content-Length that is a number");
    if (*length > maxContent) {
        const std::size_t there = static_cast<std::size_t>(std::min<std::uint64_t>(*length, bytes_.size() - at_));
        at_ += there;
        skip_ = *length - there;
        return refuse("a message of " + std::to_string(*length) + " bytes, and at most " + std::to_string(maxContent) +
                      " are taken");
    }
    length_ = static_cast<std::size_t>(*length);
    return std::nullopt;
}

std::optional<Frame> FrameReader::refuse(std::string mistake) {
    bytes_.erase(0, std::exchange(at_, 0));
    return Frame{{}, std::move(mistake)};
}

std::string framed(std::string_view content) {
    return "Content-Length: " + std::to_string(content.size()) + "\r\n\r\n" + std::string(content);
}

}  // namespace cli::lsp
