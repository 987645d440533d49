// Signature strings: what a module says of a command's parameters, and the search for types of untyped literals.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "diagnostics.h"
#include "number.h"

namespace libzepl {

enum class Direction { in, out, constant };
enum class SignatureKind { none, pipe, storage, trigger };  // none: it follows from the type

// What stands after direction and kind.
struct SignatureType {
    enum class Form {
        scalars,    // a choice of scalar types, a class being the choice of its types
        vectors,    // a choice of vectors
        string,     // a text
        keyword,    // a word of `words`, or of the host's set `set` where `words` is empty
        typeOf,     // kind and element type of `reference`
        elementOf,  // element type of `reference`, kind from the words in front
        contentOf,  // as elementOf; of a vector: a vector with the same content
        none,       // a trigger
        choice,     // any of `choices`, such as (anyscalar vector[uint32] | int16)
    };
    Form form = Form::none;
    std::vector<std::string> scalars;  // "int8", "int16", "uint16", "int32", "uint32", "float", "double"
    std::string reference;             // of typeof, elementof, contentof; for `vectors`, of its element type, or empty
    std::string index;                 // of a vector: the type of its length, or the parameter in valueof()
    bool indexIsValue = false;         // whether `index` came in valueof()
    std::string set;                   // the keyword set's name
    std::vector<std::string> words;    // its words, where declared in braces
    std::vector<SignatureType> choices;
};

struct SignatureParameter {
    Direction direction = Direction::in;
    SignatureKind kind = SignatureKind::none;
    SignatureType type;
    std::string name;
};

// A node of a parsed signature.
struct SignatureNode {
    enum class Form { parameter, sequence, alternatives, optional, oneOrMore, zeroOrMore };
    Form form = Form::sequence;
    SignatureParameter parameter;         // of a parameter
    std::vector<SignatureNode> children;  // of all others; of a group: one, its sequence or its alternatives
};

struct Signature {
    SignatureNode root;
};

// A mistake in a signature string; the message says its place, too, as the byte counted from 1.
class SignatureError : public Problem {
 public:
    SignatureError(const std::string& message, int offset);
    int offset() const { return offset_; }  // bytes from the start of the string

 private:
    int offset_;
};

// Parses a signature string of at most 65,536 bytes with brackets at most 32 deep. Throws SignatureError.
//
// Commas separate and mean nothing else. One is needed between two parameters; beside a bracketed group it can be left
// out, and it can come after the last or before the first part of a group or an alternative, since groups carry
// their commas inside. Two commas in a row are refused.
Signature parseSignature(std::string_view text);

// Throws what parseSignature() would; gives every word of the sets that the signature declares in braces.
std::vector<std::string> checkSignature(std::string_view text);

// The signature laid out for reading: a parameter a line, groups indented, alternatives told in words.
std::string layOut(const Signature& signature);

// An argument, as far as its name could be resolved: exactly one of these.
struct ResolvedArgument {
    enum class Kind { pipe, trigger, variable, vector, number, text, word };
    Kind kind = Kind::number;
    ElementType type = ElementType::int16;  // of a pipe, variable, vector; of a number with a written type
    bool typed = false;                     // whether a number has a written type
    Number number;
    std::string text;        // the text, or the bare word
    std::size_t length = 0;  // of a vector
};

// What a resolved argument is passed as.
struct BoundArgument {
    zepl::ParamMask kind = 0;                       // exactly one kind
    const SignatureParameter* parameter = nullptr;  // the signature's, where the list was matched
};

// The kinds that `arguments` take when they are matched against the signature: alternatives in the signature's order,
// and for an untyped number its types in order of preference (integer: int16, int32, double, float; with a point:
// double, float), searched until the whole list fits; a type only where it holds the value. A value from
// 32768 to 65535 for a uint16 is passed as int16 where int32 is not admitted, and likewise for uint32. A variable
// fits where a constant does; only a variable fits `out`. Where a type is taken from another parameter and that is
// int32, an int16 variable or typed number fits too. A vector matches whatever its length, the length is the
// command's to judge; `valueof` likewise. Nothing when no choice fits, or none is found within a bound on the search
// that only a hostile signature reaches.
std::optional<std::vector<BoundArgument>> matchSignature(const Signature& signature,
                                                         const std::vector<ResolvedArgument>& arguments);

// The kinds that arguments take by themselves, for a command without a signature or a list that fits none: an integer
// int16, or int32 where int16 does not hold it, else double; a number with a point double; a word of `region` the
// host's keyword, any other word a declared keyword.
std::vector<BoundArgument> defaultKinds(const std::vector<ResolvedArgument>& arguments);

// Why `arguments` don't fit, for people: a line for each parameter with the signature's name for it, what it admits,
// and what was given, for the alternative that fits furthest; `names` are the arguments as the user wrote them.
std::string explainMismatch(const Signature& signature, const std::vector<ResolvedArgument>& arguments,
                            const std::vector<std::string>& names);

// The values of the host's keyword set `region`: inside 0, outside 1. Nothing for another word.
std::optional<std::int32_t> regionValue(std::string_view word);

}  // namespace libzepl
