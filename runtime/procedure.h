// Procedures: the text form in which a user names channels, values and commands, and its parsed form.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "diagnostics.h"
#include "element_type.h"
#include "number.h"

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

struct Expression;  // a tree of runtime/expressions
using ExpressionTree = std::shared_ptr<const Expression>;

struct ConstantDeclaration {
    std::string name;
    Place place;
    ExpressionTree tree;
};

// A number, or a vector's numbers, that an expression gives. Until it is evaluated there is 0, 1 or nothing in its place.
struct Formula {
    enum class Goes {
        rate,      // to the procedure's rate
        capacity,  // to the pipe `declaration`, and so on
        start,     // to `position` among the pipe's
        interleaved,
        channel,
        column,
        limit,
        fileRate,
        variableValue,
        vectorValue,   // to `position` among the vector's
        vectorValues,  // as all of the vector's
        argument,      // to `position` among those of the command `declaration`
    };
    enum class Of { pipes, triggers, variables, vectors, commands };
    Goes goes = Goes::rate;
    Of of = Of::pipes;  // the list that `declaration` counts in
    std::size_t declaration = 0;
    std::size_t position = 0;
    ExpressionTree tree;
    std::string written;
    Place place;
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
    std::vector<ConstantDeclaration> constants;
    std::vector<Formula> formulas;
};

// Parses the text. Every independent mistake is added to `diagnostics`: a statement that cannot be read is left out, and
// reading continues at the next one, up to 1,000 errors. A text over 16 MiB is refused. Names declared twice are reported
// here; whether names and commands exist is the binder's to judge. The words nan and inf are numbers in an argument unless
// the procedure declares them.
Procedure parseProcedure(SourceText source, std::vector<Diagnostic>& diagnostics);

// What the expressions of a procedure depend on beside it.
struct EvaluationSettings {
    std::map<std::string, std::string> values;  // of constants and variables, in place of the declared ones
    std::vector<std::string> words;             // words that commands know: `rate` and `pi` among them stay words
    // The frames of the recording that a pipe is read from. Throws Problem where that cannot be known.
    std::function<std::uint64_t(const Procedure&, const PipeDeclaration&)> frames;
    std::size_t maxValues = std::size_t{1} << 20;  // of a vector that a formula gives
};

// The procedure with literals in place of its expressions and constants. Every independent mistake is added to `diagnostics`;
// a file whose clause has one is left out. Values whose names are neither constants nor variables are passed over.
Procedure evaluated(Procedure procedure, const EvaluationSettings& settings, std::vector<Diagnostic>& diagnostics);

}  // namespace libzepl
