// A document that an editor has open, and places in it as the protocol counts them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/diagnostics.h"

namespace cli::lsp {

// Line and column count from 0, columns in UTF-16 units.
struct Position {
    std::size_t line = 0, character = 0;
    bool operator==(const Position&) const = default;
};

struct Range {
    Position start, end;
    bool operator==(const Range&) const = default;
};

// A text in UTF-8 with its lines. For the protocol a carriage return alone ends a line, too; for a procedure it does not.
class Text {
 public:
    explicit Text(std::string text);

    const std::string& bytes() const { return text_; }
    void replace(const Range& range, std::string_view by);

    // A position after the end of its line, or of the text, is that end; one within a character is its start.
    std::size_t offsetOf(const Position& position) const;
    std::size_t offsetOf(const libzepl::Place& place) const;
    Position positionOf(std::size_t offset) const;
    Range rangeOf(std::size_t start, std::size_t end) const { return {positionOf(start), positionOf(end)}; }
    // Of a place that messages point at; of none, the start of the text.
    Range rangeOf(const libzepl::Place& place) const;

 private:
    void findLines();

    std::string text_;
    std::vector<std::size_t> lines_, procedureLines_;  // where they start
};

}  // namespace cli::lsp
