// The table of a wave and the three loops that generate it.

#include <algorithm>
#include <cstring>
#include <limits>

#include "frame/element_type.h"
#include "frame/exact.h"
#include "frame/vector_clones.h"
#include "generators/wave_state.h"
#include "host/parameters.h"

namespace zcmds {

namespace {

// Samples that are computed together, between two looks at what is pending and what the modulators have.
constexpr std::int32_t batchSize = 256;

// A block without a table is sent once so many are pending.
constexpr std::int32_t maxBlock = maxTableSamples;

// An integer modulator has full scale at its type's positive limit; a floating one is a plain factor.
template <class Element>
constexpr double scaled(double x) {
    if constexpr (std::is_integral_v<Element>)
        return x / static_cast<double>(std::numeric_limits<Element>::max());
    else
        return x;
}

// One cycle spans 2. The wrap is one-sided: what falls below -1 is never brought back.
inline double nextPhase(double phase, double step) {
    phase += step;
    return phase >= 1.0 ? phase - 2.0 : phase;
}

template <class Element>
ZCMDS_VECTOR_CLONES void storeWave(Element* to, const double* shape, std::int32_t n, double amplitude, double offset) {
    for (std::int32_t i = 0; i < n; ++i) to[i] = roundTo<Element>(shape[i] * amplitude + offset);
}

template <class Element>
ZCMDS_VECTOR_CLONES void storeModulated(Element* to, const double* shape, const Element* modulator, std::int32_t n,
                                        double amplitude, double offset) {
    for (std::int32_t i = 0; i < n; ++i)
        to[i] = roundTo<Element>(scaled<Element>(shape[i] * amplitude * static_cast<double>(modulator[i])) + offset);
}

// Truncates where the other two round, and keeps low bits where they give the most negative value: users compare these bits.
template <class Element>
ZCMDS_VECTOR_CLONES void storeModulatedTable(Element* to, const double* wave, const Element* modulator, std::int32_t n,
                                             double offset) {
    for (std::int32_t i = 0; i < n; ++i)
        to[i] = truncateTo<Element>(scaled<Element>(static_cast<double>(modulator[i]) * wave[i]) + offset);
}

// The shape's next `n` values. The phases are summed one by one, so that their rounding adds up over the samples: the drift
// is part of the wave.
void nextShape(WaveState& state, double* shape, std::int32_t n) {
    double phase = state.phase;
    for (std::int32_t i = 0; i < n; ++i) {
        shape[i] = phase;
        phase = nextPhase(phase, state.phaseStep);
    }
    state.phase = phase;
    state.waveFunction(state, shape, n);
}

template <class Element>
void fillReplayTable(WaveState& state) {
    double shape[batchSize];
    auto* table = static_cast<Element*>(state.table);
    for (std::uint32_t left = state.tableLength; left > 0;) {
        const std::int32_t n = static_cast<std::int32_t>(std::min<std::uint32_t>(left, batchSize));
        nextShape(state, shape, n);
        storeWave(table, shape, n, state.amplitude, state.offset);
        table += n;
        left -= static_cast<std::uint32_t>(n);
    }
}

[[noreturn]] void replayTable(WaveState& state) {
    StreamWriter& writer = *state.writer;
    const std::size_t bytes = std::size_t{state.tableLength} * state.elementSize;
    for (;;) {
        std::memcpy(writer.ptr, state.table, bytes);
        writer.pending = static_cast<std::int32_t>(state.tableLength);
        writer.flush();
    }
}

void fillModulatedTable(WaveState& state) {
    auto* table = static_cast<double*>(state.table);
    const auto length = static_cast<std::int32_t>(state.tableLength);
    nextShape(state, table, length);
    for (std::int32_t i = 0; i < length; ++i) table[i] *= state.amplitude;
}

// Waits until the modulator has a sample; what is pending goes out first.
void awaitSample(StreamReader& reader, StreamWriter& writer) {
    while (reader.count == 0) flushAndRefill(reader, writer);
}

// Takes `n` samples of a modulator, which are there. They are read at the width of `dest`, whatever the modulator's type.
template <class Element>
const Element* take(StreamReader& reader, std::int32_t n) {
    const auto* samples = static_cast<Element*>(reader.ptr);
    reader.ptr = static_cast<Element*>(reader.ptr) + n;
    reader.count -= n;
    return samples;
}

// The place of the next `n` samples of the wave.
template <class Element>
Element* append(StreamWriter& writer, std::int32_t n) {
    auto* place = static_cast<Element*>(writer.ptr);
    writer.ptr = place + n;
    writer.pending += n;
    return place;
}

template <class Element>
[[noreturn]] void modulateTable(WaveState& state) {
    StreamReader& reader = *state.amplitudeReader;
    StreamWriter& writer = *state.writer;
    const auto* table = static_cast<const double*>(state.table);
    const auto length = static_cast<std::int32_t>(state.tableLength);
    for (;;) {
        for (std::int32_t at = 0; at < length;) {
            awaitSample(reader, writer);
            const std::int32_t n = std::min(reader.count, length - at);
            storeModulatedTable(append<Element>(writer, n), table + at, take<Element>(reader, n), n, state.offset);
            at += n;
        }
        if (writer.pending > 0) writer.flush();
    }
}

// The same as nextShape under a modulated frequency; the phase stays at the last of the `n` samples, since the step to the
// next may have to be waited for.
template <class Element>
void nextShapeModulated(WaveState& state, double* shape, std::int32_t n) {
    const Element* modulator = take<Element>(*state.frequencyReader, n - 1);
    double phase = state.phase;
    shape[0] = phase;
    for (std::int32_t i = 1; i < n; ++i) {
        phase = nextPhase(phase, scaled<Element>(state.phaseStep * static_cast<double>(modulator[i - 1])));
        shape[i] = phase;
    }
    state.phase = phase;
    state.waveFunction(state, shape, n);
}

template <class Element>
void stepModulated(WaveState& state) {
    awaitSample(*state.frequencyReader, *state.writer);
    const auto modulator = static_cast<double>(*take<Element>(*state.frequencyReader, 1));
    state.phase = nextPhase(state.phase, scaled<Element>(state.phaseStep * modulator));
}

// As many samples as can be computed before a modulator runs out or the block is full. The frequency's modulator is asked
// for after each sample, so its last value gives one more.
std::int32_t samplesAtOnce(const WaveState& state) {
    std::int32_t n = std::min(batchSize, maxBlock - state.writer->pending);
    if (state.amplitudeModulated) n = std::min(n, state.amplitudeReader->count);
    if (state.frequencyModulated) n = std::min(n, state.frequencyReader->count + 1);
    return n;
}

template <class Element>
[[noreturn]] void generateDirectly(WaveState& state) {
    StreamWriter& writer = *state.writer;
    double shape[batchSize];
    for (;;) {
        if (state.amplitudeModulated) awaitSample(*state.amplitudeReader, writer);
        const std::int32_t n = samplesAtOnce(state);
        if (state.frequencyModulated)
            nextShapeModulated<Element>(state, shape, n);
        else
            nextShape(state, shape, n);
        auto* to = append<Element>(writer, n);
        if (state.amplitudeModulated)
            storeModulated(to, shape, take<Element>(*state.amplitudeReader, n), n, state.amplitude, state.offset);
        else
            storeWave(to, shape, n, state.amplitude, state.offset);
        if (state.frequencyModulated) stepModulated<Element>(state);
        if (writer.pending >= maxBlock) writer.flush();
    }
}

}  // namespace

void setElementType(WaveState& state, ParamList list, std::int32_t dest) {
    state.elementType = zepl::param_type(list, dest);
    state.elementSize = elementSizeOf(state.elementType);
    if (state.elementSize == 0) zepl::param_error_msg(ParamError::wrongKind, dest);
}

std::uint32_t runWave(WaveState& state) {
    return forElementType(state.elementType, [&]<class Element>() -> std::uint32_t {
        switch (state.mode) {
            case WaveMode::ReplayTable:
                fillReplayTable<Element>(state);
                replayTable(state);
            case WaveMode::ModulatedTable:
                fillModulatedTable(state);
                modulateTable<Element>(state);
            case WaveMode::Direct:
                generateDirectly<Element>(state);
        }
        return 0;
    });
}

}  // namespace zcmds
