// Parameter kinds and masks, error codes, modes and selectors: the numbers of the host's interface.
#pragma once

#include <cstdint>

namespace zepl {

// A set of parameter kinds; one bit is one kind, and is also what param_type gives for a parameter of that kind.
using ParamMask = std::uint32_t;

// One kind of parameter each, with what its slot holds.
inline namespace kinds {

inline constexpr ParamMask variableInt16 = 0x1;         // address of the variable, 16 bits
inline constexpr ParamMask variableInt32 = 0x2;         // address of the variable, 32 bits
inline constexpr ParamMask constantInt16 = 0x4;         // address of the value, 16 bits
inline constexpr ParamMask constantInt32 = 0x8;         // address of the value, 32 bits
inline constexpr ParamMask triggerKind = 0x10;          // trigger handle
inline constexpr ParamMask pipeInt16 = 0x40;            // pipe handle
inline constexpr ParamMask pipeInt32 = 0x80;            // pipe handle
inline constexpr ParamMask hostKeyword = 0x100;         // address of a 32-bit word with the keyword's value
inline constexpr ParamMask stringKind = 0x200;          // address of the zero-ended text
inline constexpr ParamMask vectorInt16 = 0x400;         // vector handle
inline constexpr ParamMask vectorInt32 = 0x800;         // vector handle
inline constexpr ParamMask variableFloat = 0x1000;      // address of the variable, 32 bits
inline constexpr ParamMask pipeFloat = 0x2000;          // pipe handle
inline constexpr ParamMask variableDouble = 0x4000;     // address of the variable, 64 bits
inline constexpr ParamMask pipeDouble = 0x8000;         // pipe handle
inline constexpr ParamMask constantFloat = 0x10000;     // address of the value, 32 bits
inline constexpr ParamMask vectorFloat = 0x20000;       // vector handle
inline constexpr ParamMask constantDouble = 0x40000;    // address of the value, 64 bits
inline constexpr ParamMask vectorDouble = 0x80000;      // vector handle
inline constexpr ParamMask declaredKeyword = 0x200000;  // address of the zero-ended word, of a set in the signature

}  // namespace kinds

// Unions of kinds that many positions share, and the brackets of a repeated group.
inline namespace masks {

inline constexpr ParamMask anyPipe = pipeInt16 | pipeInt32 | pipeFloat | pipeDouble;
inline constexpr ParamMask integerPipe = pipeInt16 | pipeInt32;
inline constexpr ParamMask constantInteger = constantInt16 | constantInt32;
inline constexpr ParamMask variableInteger = variableInt16 | variableInt32;
inline constexpr ParamMask anyInteger = variableInteger | constantInteger;
inline constexpr ParamMask constantReal = constantFloat | constantDouble;
inline constexpr ParamMask constantScalar = constantInteger | constantReal;
inline constexpr ParamMask variableScalar = variableInteger | variableFloat | variableDouble;
inline constexpr ParamMask anyScalar = variableScalar | constantScalar;
inline constexpr ParamMask anyVector = vectorInt16 | vectorInt32 | vectorFloat | vectorDouble;
inline constexpr ParamMask anyKeyword = hostKeyword | declaredKeyword;
// The masks between these two are applied over and over for the rest of the list.
inline constexpr ParamMask beginRepeat = 0x10000000;
inline constexpr ParamMask endRepeat = 0x20000000;

static_assert(anyPipe == 0xa0c0 && anyScalar == 0x5500f && constantScalar == 0x5000c && anyVector == 0xa0c00);

}  // namespace masks

// What param_error_msg reports, by the reason.
enum class ParamError : std::uint32_t {
    vectorLengthMismatch = 1,  // a vector's length is not the count that another parameter requires
    unusableLength = 2,        // vectors that must be equally long are not, or a block length cannot be factored
    typeMismatch = 3,          // an element type differs from that of the parameter it is tied to
    inconsistentValues = 4,    // two values contradict each other, such as limits in the wrong order
    outOfRange = 5,            // a number lies outside the range that the command allows
    notPositive = 6,           // a number that must be positive (or not negative) is not, or a count is too small
    unknownWord = 7,           // a string or keyword is not one that the command knows
    missing = 8,               // a required parameter is missing where it was expected
    tooMany = 9,               // the position is the first that is too many
    wrongKind = 10,            // a parameter of this kind cannot be at the position
};

// The mode of pipe_open and trigger_open.
enum class OpenMode : std::uint32_t { read = 0, write = 1 };

// What sys_get_info gives, by selector. Other selectors give 0 unless the session sets them.
enum class SysInfo : std::uint32_t {
    boardOption = 4,          // zero or not chooses DEXPAND's mode
    clock = 11,               // the running clock, which wraps
    clockUnitsPerFrame = 14,  // the clock's units in one frame
    clockRunning = 15,        // not zero from the first delivery of input to the end of the run
    defaultBlock = 17,        // the default block size in elements, always positive
    blockTransfer = 30,       // not zero when commands should move data by pbufs
};

// What RaiseException is given.
enum class Fault : std::uint32_t {
    integerDivide = 0xC0000094,    // a zero divisor
    integerOverflow = 0xC0000095,  // a quotient that its type does not hold
};

}  // namespace zepl
