// The record of an endless wave and what runs it, shared by the periodic waveforms and BIRAMP. The wave is driven by a phase
// that goes from -1 to just under +1 in one cycle. Where a whole number of cycles fits a table, the table is computed once
// and replayed; otherwise every sample is computed as it is due.
#pragma once

#include <cstdint>
#include <new>

#include "frame/cursors.h"
#include "host/memory.h"

namespace zcmds {

// The names of the modes are fixed, and so UpperCamel.
enum class WaveMode : std::uint32_t {
    ReplayTable = 0,     // the table holds samples of `dest`
    ModulatedTable = 1,  // the table holds the wave as doubles; each is multiplied by a sample of the amplitude pipe
    Direct = 2,          // no table
};

enum class WaveType : std::uint32_t { triangle = 0, square = 1, sine = 2, cosine = 3, sawtooth = 4, twoSlopes = 5 };

struct WaveState;

// Turns `n` phases into the shape's values there, in place. One call does for many samples.
using WaveFunction = void(const WaveState& state, double* phases, std::int32_t n);

struct WaveState {
    WaveMode mode{};
    bool amplitudeModulated = false;
    bool frequencyModulated = false;
    WaveType waveType{};
    ParamMask elementType = 0;             // of `dest`
    std::uint32_t elementSize = 0;         // of `dest`, bytes
    WaveFunction* waveFunction = nullptr;  // the shape, from -1 to 1
    double amplitude = 0;                  // what the shape is multiplied by
    double offset = 0;                     // added after that
    double knee = 0;                       // BIRAMP's: the phase at which it turns
    PipeHandle amplitudePipe{};            // none if not modulated
    PipeHandle frequencyPipe{};            // none if not modulated
    PipeHandle destPipe{};
    StreamReader* amplitudeReader = nullptr;  // null if not modulated
    StreamReader* frequencyReader = nullptr;  // null if not modulated
    StreamWriter* writer = nullptr;
    std::uint32_t cycleSamples = 0;  // the smallest whole number of samples in whole cycles; 0 if none fits
    bool exactCycle = false;         // there is such a number
    double phaseStep = 0;            // from sample to sample; a cycle spans 2
    double phase = 0;                // of the next sample
    std::uint32_t tableLength = 0;   // samples in a pass
    void* table = nullptr;           // null in Direct
};

// The maximum number of samples in a table, and in a block without one.
inline constexpr std::uint32_t maxTableSamples = 4096;

// A cursor that lasts as long as the task.
template <class Cursor>
Cursor* newCursor() {
    return new (zepl::malloc(sizeof(Cursor))) Cursor{};
}

// Takes the type of `dest` from its position, where a pipe must be: with optional parameters before it, the masks let
// other kinds come there.
void setElementType(WaveState& state, ParamList list, std::int32_t dest);

// The samples of as many whole cycles as fit a table.
constexpr std::uint32_t wholeCycles(std::uint32_t cycleSamples) {
    return maxTableSamples / cycleSamples * cycleSamples;
}

// Fills the table and generates forever.
std::uint32_t runWave(WaveState& state);

}  // namespace zcmds
