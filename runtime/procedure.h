// Procedures: the text form in which a user names channels, values and commands, and its parsed form.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "runtime/diagnostics.h"
#include "runtime/element_type.h"
#include "runtime/number.h"

namespace libzepl {

// from FILE or to FILE, with what may follow.
struct FileClause {
    std::string path;                                               // as written; "-" is standard input or output
    Place place;                                                    // of the path
    std::optional<std::int64_t> channel;                            // from 1
    std::optional<std::variant<std::int64_t, std::string>> column;  // from 1, or the column's heading
    std::string conversion;                                         // after `convert`; empty when none is asked for
    std::optional<std::uint64_t> limit;                             // elements or events
    bool partial = false;                                           // reads what is there of a file that is cut
    std::string format;                                             // after `format`; empty: as the name ends
    std::optional<double> rate;                                     // frames a second, that the output states
    bool withSeconds = false;                                       // a trigger's file has a column of seconds
};

struct PipeDeclaration {
    std::string name;
    Place place;  // of the name
    ElementType type = ElementType::int16;
    std::optional<std::uint64_t> capacity;  // elements
    std::vector<Number> starts;
    std::optional<FileClause> from;
    std::optional<FileClause> to;
    Place capacityPlace;                      // of its number
    std::optional<std::int64_t> interleaved;  // channels, frame by frame
};

struct TriggerDeclaration {
    std::string name;
    Place place;
    std::optional<FileClause> from;
    std::optional<FileClause> to;
};

struct VariableDeclaration {
    std::string name;
    Place place;
    ElementType type = ElementType::int16;
    Number value;
};

struct VectorDeclaration {
    std::string name;
    Place place;
    ElementType type = ElementType::int16;
    std::vector<Number> values;
    std::optional<FileClause> from;
    std::optional<std::int64_t> interleaved;
};

// One argument of a command: a name or bare word, a number, or a text.
struct Argument {
    enum class Kind { word, number, text };
    Kind kind = Kind::word;
    std::string written;  // as it is in the procedure, without a number's type
    std::string text;     // the word; the number as written; the text without its quotes and with its escapes resolved
    Number number;        // for Kind::number
    std::optional<ElementType> type;  // the type written after a number, as in 5:int32
    Place place;
};

struct CommandUse {
    std::string command;
    Place place;  // of the command's name
    std::vector<Argument> arguments;
};

struct Procedure {
    SourceText source;
    std::optional<double> rate;  // frames a second
    bool lockstep = false;       // `feed lockstep`
    std::vector<PipeDeclaration> pipes;
    std::vector<TriggerDeclaration> triggers;
    std::vector<VariableDeclaration> variables;
    std::vector<VectorDeclaration> vectors;
    std::vector<CommandUse> commands;
};

// Parses the text. Every independent mistake is added to `diagnostics`: a statement that cannot be read is left out, and
// reading continues at the next one, up to 1,000 errors. A text over 16 MiB is refused. Names declared twice are reported
// here; whether names and commands exist is the binder's to judge. The words nan and inf are numbers in an argument unless
// the procedure declares them.
Procedure parseProcedure(SourceText source, std::vector<Diagnostic>& diagnostics);

}  // namespace libzepl
