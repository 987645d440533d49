// The engine of BINTEGRATE, INTEGRATE, RAVERAGE and RSUM: a running sum over a stream, given every `decim` inputs, divided
// by a divisor. The sum restarts after `resetCount` inputs, or covers the last `window` inputs only, or runs on. The commands
// differ in how they fill in its record.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/cursors.h"
#include "frame/types.h"

namespace zcmds {

struct RunningSumState {
    PipeHandle src{};                               // input
    PipeHandle dest{};                              // output
    TriggerHandle resetTrigger{};                   // always none: a trigger as reset is refused at set-up
    std::uint32_t resetCount = 0;                   // inputs after which the sum restarts; 0 for never
    std::uint32_t decim = 1;                        // inputs per output, at least 1
    std::uint32_t window = 0;                       // inputs that the sum covers; 0 for all
    alignas(8) std::array<std::byte, 8> divisor{};  // see setDivisor
    StreamReader reader{};
    StreamWriter writer{};
    std::uint32_t sinceReset = 0;  // inputs counted toward resetCount, whole outputs' worth
};

// The divisor in the form in which the loops read it: std::int32_t for streams of integers (an int16 stream uses its low 16
// bits), else float or double as the stream's elements.
template <class Divisor>
void setDivisor(RunningSumState& state, Divisor value) {
    std::memcpy(state.divisor.data(), &value, sizeof value);
}

template <class Divisor>
Divisor divisorOf(const RunningSumState& state) {
    Divisor value;
    std::memcpy(&value, state.divisor.data(), sizeof value);
    return value;
}

// Sets the divisor to an integer, converted for a stream of `pipeType`.
void setDivisorFor(RunningSumState& state, ParamMask pipeType, std::int32_t value);

// Checks the types of an integral at position 2 and its source at position 1: equal, or int32 and int16. True if the
// integral widens its source so.
bool checkIntegralTypes(ParamList list);

// Opens `src` and `dest`.
void openRunningSum(RunningSumState& state);

// Sums forever; 0 for a source of no known type. With `widens` an int16 source is summed to an int32 destination.
std::uint32_t sumByState(RunningSumState& state, ParamMask sourceType, bool widens);

}  // namespace zcmds
