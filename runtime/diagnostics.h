// Errors and warnings that point at a place in a text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace libzepl {

// A place in a text: line and column count from 1, columns in bytes; line 0 is no place.
struct Place {
    int line = 0;
    int column = 1;
    int length = 1;  // bytes to underline, at least 1
};

enum class Severity {
    error,
    warning,
    caution,  // a command does what its user may not expect
    arrival,  // a caution that the result depends on how the input arrives
};

struct Diagnostic {
    Severity severity = Severity::error;
    Place place;
    std::string message;  // what is wrong, what was given, what is allowed
    std::string remedy;   // what to do next; may be empty
};

// A text with the name that messages call it by.
struct SourceText {
    std::string name;
    std::string text;
};

// One block of text for a mistake, with a closing line feed:
//     heart.zp:7:13: error: unknown pipe `slop`
//       DELTA (ecg, slop)
//                   ^~~~
//       did you mean `slope`?
// Without a place only the first line and the remedy. A line over 120 bytes is shortened around the caret. What is shown
// of the text is valid UTF-8 without control characters, tabs apart: other bytes stand as \xHH.
std::string render(const Diagnostic& diagnostic, const SourceText& source);

// Past so many nobody reads on: who finds more says so once.
inline constexpr std::size_t maxDiagnostics = 1000;

// A block for each diagnostic, in the order of their places; those without a place come first. A remedy that the text has
// given already is not repeated.
std::string render(const std::vector<Diagnostic>& diagnostics, const SourceText& source);

// A byte order mark, which the first line of a text may start with and which no column counts.
inline constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

bool hasErrors(const std::vector<Diagnostic>& diagnostics);

// The name of `candidates` that `given` most likely meant, or an empty text: one that differs in case alone, or by at most
// a third of its letters; two neighbours that changed places count as one letter.
std::string nearestName(std::string_view given, const std::vector<std::string>& candidates);

// "did you mean `slope`?" for the nearest name; empty when there is none near.
std::string suggestion(std::string_view given, const std::vector<std::string>& candidates);

// Candidates among which many names are looked for; each look passes over most of them without comparing letters.
class KnownNames {
 public:
    KnownNames() = default;
    explicit KnownNames(const std::vector<std::string>& names);
    std::string nearest(std::string_view given) const;
    std::string suggestion(std::string_view given) const;

 private:
    struct Candidate {
        std::string name, lower;
        std::uint64_t letters;  // which ones it has
    };
    std::vector<Candidate> candidates_;
};

// `text` between backquotes, as messages name things: control characters and what is no UTF-8 stand as \xHH, and of a
// text over 120 bytes only the beginning is shown.
std::string quoted(std::string_view text);

// An error without a place in a procedure: a file that cannot be read, a module that cannot be loaded. The message names
// the file and the reason; the remedy says what to do.
class Problem : public std::runtime_error {
 public:
    explicit Problem(const std::string& message, std::string remedy = {});
    const std::string& remedy() const { return remedy_; }

 private:
    std::string remedy_;
};

// A Problem about a file: "name: reason".
Problem fileProblem(const std::string& name, const std::string& reason, std::string remedy = {});

}  // namespace libzepl
