#include "runtime/diagnostics.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <unordered_set>
#include <utility>

namespace libzepl {

namespace {

constexpr std::size_t maxShown = 120;  // bytes of one line or name

unsigned byteAt(std::string_view text, std::size_t at) { return static_cast<unsigned char>(text[at]); }

bool continuesCharacter(std::string_view text, std::size_t at) { return (byteAt(text, at) & 0xC0) == 0x80; }

// The bytes of the character that `text` starts with, or 0 where that is a control character or no UTF-8.
std::size_t characterLength(std::string_view text) {
    const unsigned lead = byteAt(text, 0);
    if (lead < 0x80) return lead >= 0x20 && lead != 0x7F ? 1 : 0;
    if (lead < 0xC2 || lead > 0xF4) return 0;
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (text.size() < length) return 0;
    std::uint32_t code = lead & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if (!continuesCharacter(text, i)) return 0;
        code = code << 6 | (byteAt(text, i) & 0x3F);
    }
    // From 0x80 to 0x9F are control characters; what else lies below the least code is a longer form than needed.
    constexpr std::array<std::uint32_t, 5> minCode{0, 0, 0xA0, 0x800, 0x10000};
    const bool isSurrogate = code >= 0xD800 && code <= 0xDFFF;
    return code >= minCode[length] && code <= 0x10FFFF && !isSurrogate ? length : 0;
}

std::string escapedByte(unsigned byte) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    return {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
}

// One character of a text, or one byte that is none.
struct Glyph {
    std::size_t bytes = 1;
    std::size_t width = 1;  // columns on a terminal
    std::string shown;
};

Glyph firstGlyph(std::string_view text) {
    const std::size_t bytes = characterLength(text);
    if (bytes == 0) return {1, 4, escapedByte(byteAt(text, 0))};
    return {bytes, 1, std::string(text.substr(0, bytes))};
}

std::string visible(std::string_view text) {
    std::string shown;
    while (!text.empty()) {
        const Glyph glyph = firstGlyph(text);
        shown += glyph.shown;
        text.remove_prefix(glyph.bytes);
    }
    return shown;
}

// The start of the character that the byte at `at` is part of.
std::size_t characterStart(std::string_view text, std::size_t at) {
    std::size_t start = at;
    while (start > 0 && start < text.size() && at - start < 3 && continuesCharacter(text, start)) --start;
    return start;
}

// Gives the lines of a text by their numbers; quick when these rise.
class LineReader {
 public:
    explicit LineReader(std::string_view text) : text_(text) { rewind(); }

    std::optional<std::string_view> line(int number) {
        if (number < number_) rewind();
        for (; number_ < number; ++number_) {
            const std::size_t lineFeed = text_.find('\n', start_);
            if (lineFeed == std::string_view::npos) return std::nullopt;
            start_ = lineFeed + 1;
        }
        std::string_view found = text_.substr(start_, text_.find('\n', start_) - start_);
        if (found.ends_with('\r')) found.remove_suffix(1);
        return found;
    }

 private:
    void rewind() {
        number_ = 1;
        start_ = text_.starts_with(byteOrderMark) ? byteOrderMark.size() : 0;
    }

    std::string_view text_;
    std::size_t start_ = 0;
    int number_ = 1;
};

struct Range {
    std::size_t from, to;
};

// The part of `line` that is shown for a mistake at `caret`.
Range shownRange(std::string_view line, std::size_t caret) {
    if (line.size() <= maxShown) return {0, line.size()};
    const std::size_t room = maxShown - 6;  // dots at both ends
    const std::size_t from = std::min(caret - std::min(caret, room / 2), line.size() - room);
    return {characterStart(line, from), characterStart(line, from + room)};
}

// The line, and under it the caret: tabs stand in both, so that the caret is right whatever their width.
std::string pictureOf(std::string_view line, const Place& place) {
    const std::size_t caret = std::min(static_cast<std::size_t>(std::max(place.column, 1) - 1), line.size());
    const std::size_t caretEnd = caret + static_cast<std::size_t>(std::max(place.length, 1));
    const Range range = shownRange(line, caret);
    std::string shown(range.from > 0 ? 3 : 0, '.');
    std::string blanks(shown.size(), ' ');
    std::string underline;
    for (std::size_t at = range.from; at < range.to;) {
        const bool isTab = line[at] == '\t';
        const Glyph glyph = isTab ? Glyph{1, 1, "\t"} : firstGlyph(line.substr(at));
        shown += glyph.shown;
        if (at < caret)
            blanks.append(glyph.width, isTab ? '\t' : ' ');
        else if (at < caretEnd)
            underline.append(glyph.width, isTab ? '\t' : '~');
        at += glyph.bytes;
    }
    if (range.to < line.size()) shown += "...";
    return "  " + shown + "\n  " + blanks + '^' + underline.substr(underline.empty() ? 0 : 1) + '\n';
}

std::string indented(std::string_view text) {
    std::string result;
    for (char c : text) {
        result += c;
        if (c == '\n') result += "  ";
    }
    return result;
}

constexpr std::string_view suggesting = "did you mean ";

// Knows which remedies a text has given. A suggestion belongs to the name that its message is about.
class GivenRemedies {
 public:
    bool isNew(const Diagnostic& diagnostic) {
        const bool suggests = diagnostic.remedy.starts_with(suggesting);
        return given_.insert((suggests ? diagnostic.message + '\n' : std::string()) + diagnostic.remedy).second;
    }

 private:
    std::unordered_set<std::string> given_;
};

std::string renderWith(const Diagnostic& diagnostic, const SourceText& source, LineReader& lines, bool givesRemedy) {
    const Place& place = diagnostic.place;
    const bool hasPlace = place.line > 0;
    std::string text = visible(source.name);
    if (hasPlace) text.append(":").append(std::to_string(place.line)).append(":").append(std::to_string(place.column));
    if (!text.empty()) text += ": ";
    text += diagnostic.severity == Severity::error     ? "error: "
            : diagnostic.severity == Severity::warning ? "warning: "
                                                       : "caution: ";
    text += indented(diagnostic.message) + '\n';
    if (const auto line = hasPlace ? lines.line(place.line) : std::nullopt) text += pictureOf(*line, place);
    if (givesRemedy && !diagnostic.remedy.empty()) text += "  " + indented(diagnostic.remedy) + '\n';
    return text;
}

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    for (char& c : lower)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return lower;
}

constexpr std::size_t maxName = 64;  // longer ones are no slips of the finger

// The letters that were added, left out, replaced, or swapped with their neighbour between two names.
std::size_t editDistance(std::string_view a, std::string_view b) {
    using Row = std::array<std::size_t, maxName + 1>;
    std::array<Row, 3> rows{};  // the current one and the two before it
    for (std::size_t i = 0; i <= a.size(); ++i) {
        Row &row = rows[i % 3], &above = rows[(i + 2) % 3];
        const Row& twoAbove = rows[(i + 1) % 3];
        for (std::size_t j = 0; j <= b.size(); ++j) {
            row[j] = i + j;
            if (i == 0 || j == 0) continue;
            const std::size_t replaced = above[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            row[j] = std::min({above[j] + 1, row[j - 1] + 1, replaced});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                row[j] = std::min(row[j], twoAbove[j - 2] + 1);
        }
    }
    return rows[a.size() % 3][b.size()];
}

std::uint64_t lettersIn(std::string_view text) {
    std::uint64_t letters = 0;
    for (char c : text) letters |= std::uint64_t{1} << (static_cast<unsigned char>(c) & 63);
    return letters;
}

}  // namespace

std::string render(const Diagnostic& diagnostic, const SourceText& source) {
    LineReader lines(source.text);
    return renderWith(diagnostic, source, lines, true);
}

std::string render(const std::vector<Diagnostic>& diagnostics, const SourceText& source) {
    std::vector<const Diagnostic*> ordered;
    for (const Diagnostic& diagnostic : diagnostics) ordered.push_back(&diagnostic);
    std::stable_sort(ordered.begin(), ordered.end(), [](const Diagnostic* a, const Diagnostic* b) {
        return std::pair(a->place.line, a->place.column) < std::pair(b->place.line, b->place.column);
    });
    LineReader lines(source.text);
    GivenRemedies remedies;
    std::string text;
    for (const Diagnostic* diagnostic : ordered)
        text += renderWith(*diagnostic, source, lines, remedies.isNew(*diagnostic));
    return text;
}

bool hasErrors(const std::vector<Diagnostic>& diagnostics) {
    return std::any_of(diagnostics.begin(), diagnostics.end(),
                       [](const Diagnostic& diagnostic) { return diagnostic.severity == Severity::error; });
}

KnownNames::KnownNames(const std::vector<std::string>& names) {
    for (const std::string& name : names)
        if (name.size() <= maxName) candidates_.push_back({name, lowerCase(name), lettersIn(lowerCase(name))});
}

std::string KnownNames::nearest(std::string_view given) const {
    if (given.size() > maxName) return {};
    const std::string wanted = lowerCase(given);
    const std::uint64_t letters = lettersIn(wanted);
    const Candidate* nearest = nullptr;
    std::size_t minDistance = maxName;
    for (const Candidate& candidate : candidates_) {
        const std::size_t length = candidate.lower.size(), most = std::min(length / 3, minDistance - 1);
        // One letter's change alters the length by one at most, and which letters there are by two.
        if (length > wanted.size() + most || wanted.size() > length + most) continue;
        if (static_cast<std::size_t>(std::popcount(letters ^ candidate.letters)) > 2 * most) continue;
        const std::size_t distance = editDistance(wanted, candidate.lower);
        if (distance > most) continue;
        nearest = &candidate;
        minDistance = distance;
        if (distance == 0) break;
    }
    return nearest == nullptr ? std::string() : nearest->name;
}

std::string KnownNames::suggestion(std::string_view given) const {
    const std::string name = nearest(given);
    return name.empty() ? std::string() : std::string(suggesting) + quoted(name) + "?";
}

std::string nearestName(std::string_view given, const std::vector<std::string>& candidates) {
    return KnownNames(candidates).nearest(given);
}

std::string suggestion(std::string_view given, const std::vector<std::string>& candidates) {
    return KnownNames(candidates).suggestion(given);
}

std::string quoted(std::string_view text) {
    if (text.size() <= maxShown) return '`' + visible(text) + '`';
    return '`' + visible(text.substr(0, characterStart(text, maxShown - 3))) + "...`";
}

Problem::Problem(const std::string& message, std::string remedy)
    : std::runtime_error(message), remedy_(std::move(remedy)) {}

Problem fileProblem(const std::string& name, const std::string& reason, std::string remedy) {
    return Problem(name + ": " + reason, std::move(remedy));
}

}  // namespace libzepl
