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

// What a declaration or a command has to do with arrays. `NAME[COUNT]` declares an array; expanded() puts a declaration for
// each element in its place, and a command for each index in the place of one that is given whole arrays.
struct ArrayPlace {
    std::int64_t count = 0;  // elements, of one as of all; 0 where there is no array
    std::int64_t index = 0;  // of the element, from 1; 0 for the whole array
    std::string name{};      // of the array that a declared element belongs to

    bool isWhole() const { return count != 0 && index == 0; }
    bool isElement() const { return index != 0; }
};

inline constexpr std::int64_t maxArrayElements = 10000;
inline constexpr std::int64_t unknownCount = -1;  // of an array whose count was refused

// "a[2]"
std::string elementName(const std::string& array, std::int64_t index);
// Why the array of so many elements has none of that index.
std::optional<Diagnostic> indexMistake(const std::string& array, std::int64_t count, std::int64_t index,
                                       const Place& place);

// from FILE or to FILE, with what may follow.
struct FileClause {
    std::string path;                                               // as written; "-" is standard input or output
    Place place;                                                    // of the path
    std::optional<std::int64_t> channel;                            // from 1
    std::optional<std::int64_t> lastChannel;                        // of an array's, the first of which is `channel`
    std::optional<std::variant<std::int64_t, std::string>> column;  // from 1, or the column's heading
    std::optional<std::int64_t> lastColumn;                         // of an array's
    Place channelPlace;                                             // of the number of the channel or column
    std::int64_t elements = 0;  // of the array that takes a channel each, where the file must have just as many; else 0
    std::string conversion;     // after `convert`; empty when none is asked for
    std::optional<std::uint64_t> limit;  // elements or events
    bool partial = false;                // reads what is there of a file that is cut
    std::string format;                  // after `format`; empty: as the name ends
    std::optional<double> rate;          // frames a second, that the output states, or that is asked of an address
    std::optional<double> timeout;       // seconds until an address must have somebody
    bool fill = false;                   // zeros for what an address loses
    bool withSeconds = false;            // a trigger's file has a column of seconds
};

struct Expression;  // a tree of runtime/expressions
using ExpressionTree = std::shared_ptr<const Expression>;

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
    ArrayPlace array{};
    ExpressionTree definition{};  // what gives its samples; null where none does
    std::string definedAs{};      // the definition as it is written
};

struct TriggerDeclaration {
    std::string name;
    Place place;
    std::optional<FileClause> from;
    std::optional<FileClause> to;
    ArrayPlace array{};
};

struct VariableDeclaration {
    std::string name;
    Place place;
    ElementType type = ElementType::int16;
    Number value;
    ArrayPlace array{};
    std::vector<Number> values{};  // of an array's elements, where each has its own
    Place valuesPlace{};
};

struct VectorDeclaration {
    std::string name;
    Place place;
    ElementType type = ElementType::int16;
    std::vector<Number> values;
    std::optional<FileClause> from;
    std::optional<std::int64_t> interleaved;
    ArrayPlace array{};
};

// A file that takes the pipes of an array, a channel each.
struct JointOutput {
    std::string name;  // of the array
    Place place;
    ElementType type = ElementType::int16;
    FileClause to;
    std::vector<std::string> elements;  // names of pipes, in order
};

// A pipe, an array of them or one of its elements, or one of the words index, seconds and hertz where no pipe has that name:
// these count.
struct TableColumn {
    std::string name;
    Place place;
    std::optional<std::int64_t> element{};  // of the array `name`
    std::optional<double> every{};          // the step of one that counts
};

struct TableDeclaration {
    FileClause to;
    Place place;  // of the file's name
    std::vector<TableColumn> columns;
};

// One argument of a command: a name or bare word, a number, or a text.
struct Argument {
    enum class Kind { word, number, text };
    Kind kind = Kind::word;
    std::string written;  // as it is in the procedure, without a number's type
    std::string text;     // the word; the number as written; the text without its quotes and with its escapes resolved
    Number number;        // for Kind::number
    std::optional<ElementType> type;      // the type written after a number, as in 5:int32
    std::optional<std::int64_t> element;  // of an array, the word being its name
    bool givesAll = false;                // all elements of an array, one after the other: `a...`
    Place place;
};

struct CommandUse {
    std::string command;
    Place place;  // of the command's name
    std::vector<Argument> arguments;
    ArrayPlace array{};      // the index for which it works, among so many
    bool isRefused = false;  // its mistake has been reported
};

// "ABS", or "ABS[2]" of a command for one index.
std::string nameOf(const CommandUse& use);

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
        elements,  // as the count of the array
        interleaved,
        channel,
        lastChannel,
        column,
        lastColumn,
        limit,
        fileRate,
        sourceRate,
        sourceTimeout,
        fileTimeout,
        every,          // to column `position` of the table
        columnElement,  // to the column there, as the index of an element
        variableValue,  // to `position` among an array's
        vectorValue,    // to `position` among the vector's
        vectorValues,   // as all of the vector's
        argument,       // to `position` among those of the command `declaration`
        element,        // to the argument there, as the index of an element
    };
    enum class Of { pipes, triggers, variables, vectors, tables, commands };
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
    std::vector<TableDeclaration> tables;
    std::vector<CommandUse> commands;
    std::vector<ConstantDeclaration> constants;
    std::vector<Formula> formulas;
    std::vector<JointOutput> jointOutputs;  // as expanded() finds them
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

// The evaluated procedure with elements in place of its arrays: declarations named `a[1]` and so on, each with its channel of
// the array's file, and a command for each index where whole arrays are given. Every independent mistake is added to
// `diagnostics`: a file with one is left out, a command is marked, and an array whose count is unknown stays as it is.
Procedure expanded(Procedure procedure, std::vector<Diagnostic>& diagnostics);
// One element of an array of pipes, as expanded() declares it.
PipeDeclaration elementOf(const PipeDeclaration& array, std::int64_t index);

}  // namespace libzepl
