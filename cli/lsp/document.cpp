#include "cli/lsp/document.h"

#include <algorithm>
#include <utility>

namespace cli::lsp {

namespace {

bool startsCharacter(char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }

// UTF-16 units of the character that starts with the byte: beyond the first plane there are two.
std::size_t unitsOf(char lead) { return static_cast<unsigned char>(lead) >= 0xF0 ? 2 : 1; }

}  // namespace

Text::Text(std::string text) : text_(std::move(text)) { findLines(); }

void Text::findLines() {
    lines_.assign(1, 0);
    procedureLines_.assign(1, text_.starts_with(libzepl::byteOrderMark) ? libzepl::byteOrderMark.size() : 0);
    for (std::size_t at = text_.find_first_of("\r\n"); at != std::string::npos; at = text_.find_first_of("\r\n", at)) {
        const bool isBoth = text_[at] == '\r' && at + 1 < text_.size() && text_[at + 1] == '\n';
        const bool hasLineFeed = isBoth || text_[at] == '\n';
        at += isBoth ? 2 : 1;
        lines_.push_back(at);
        if (hasLineFeed) procedureLines_.push_back(at);
    }
}

void Text::replace(const Range& range, std::string_view by) {
    const std::size_t start = offsetOf(range.start), end = std::max(start, offsetOf(range.end));
    text_.replace(start, end - start, by);
    findLines();
}

std::size_t Text::offsetOf(const Position& position) const {
    if (position.line >= lines_.size()) return text_.size();
    std::size_t at = lines_[position.line];
    for (std::size_t units = 0; at < text_.size() && text_[at] != '\n' && text_[at] != '\r';) {
        units += unitsOf(text_[at]);
        if (units > position.character) break;
        do ++at;
        while (at < text_.size() && !startsCharacter(text_[at]));
    }
    return at;
}

std::size_t Text::offsetOf(const libzepl::Place& place) const {
    const std::size_t line = static_cast<std::size_t>(std::max(place.line, 1)) - 1;
    if (line >= procedureLines_.size()) return text_.size();
    return std::min(procedureLines_[line] + static_cast<std::size_t>(std::max(place.column, 1)) - 1, text_.size());
}

Position Text::positionOf(std::size_t offset) const {
    const std::size_t end = std::min(offset, text_.size());
    const auto line = std::upper_bound(lines_.begin(), lines_.end(), end) - 1;
    Position position{static_cast<std::size_t>(line - lines_.begin()), 0};
    for (std::size_t at = *line; at < end; ++at)
        if (startsCharacter(text_[at])) position.character += unitsOf(text_[at]);
    return position;
}

Range Text::rangeOf(const libzepl::Place& place) const {
    if (place.line <= 0) return {};
    const std::size_t start = offsetOf(place);
    return rangeOf(start, std::min(start + static_cast<std::size_t>(std::max(place.length, 1)), text_.size()));
}

}  // namespace cli::lsp
