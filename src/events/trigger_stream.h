// A trigger as a stream of words: each gives how far the position has moved since the word before, at first from the
// position before sample 0.
#pragma once

#include <cstdint>

namespace zcmds {

// Set in a word that says: no assertion up to and including the new position. A word without it asserts there. The other
// bits are the distance, so assertions more than 0x7FFFFFFF apart cannot be sent.
inline constexpr std::uint32_t statusBit = 0x80000000;

inline constexpr std::int32_t maxWords = 32;  // of a block

}  // namespace zcmds
