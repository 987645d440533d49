// THERMO turns the raw readings of a thermocouple into temperatures, with compensation for the cold junction, all in
// integers and over two piecewise-linear curves.

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>

#include "frame/cursors.h"
#include "frame/exact.h"
#include "frame/vector_clones.h"
#include "host/memory.h"
#include "host/parameters.h"
#include "host/system_info.h"
#include "lookup/thermocouple_types.h"
#include "module/commands.h"

namespace zcmds {

const char* const thermoSignature =
    "( in     pipe     int16  src  ,   ( const  storage  int16   ttype  |     const  storage  string  ttype ),   "
    "const  storage  int16  mul ,   const  storage  int16  div ,   [ in     storage  int16  offset , ]   "
    "out    pipe     int16  dest   [ , in   storage  int16  cjc ] )";

namespace {

constexpr std::int16_t absent = 0;  // what an offset or a cold junction that is not given reads as

// From a raw reading to hundredths of a millivolt, in integers.
struct Scaling {
    std::int32_t mul;          // with the sign of div
    std::uint32_t reciprocal;  // of div's magnitude, in units of 2^-shift
    std::int32_t shift;
};

struct ThermoState {
    const ThermocoupleType* type;
    Scaling scaling;             // of the reading less its offset
    const std::int16_t* offset;  // taken from the raw reading
    const std::int16_t* cjc;     // temperature of the cold junction, tenths of a degree Celsius
    PipeHandle dest;
    const std::int16_t* temperatures;  // the temperature of every voltage from the type's first to its last
};

std::int16_t lookup(std::int16_t key, const std::int16_t* keys, const std::int16_t* values) {
    std::int32_t low = 0, high = thermocouplePoints - 1, mid = high / 2;
    if (key >= keys[high]) return values[high];
    if (key <= keys[0]) return values[0];
    do {
        if (keys[mid] == key) return values[mid];
        (keys[mid] < key ? low : high) = mid;
        mid = (low + high) / 2;
    } while (mid != low);
    return wrap<std::int16_t>(values[low] +
                              (values[high] - values[low]) * (key - keys[low]) / (keys[high] - keys[low]));
}

std::int32_t voltageSpan(const ThermocoupleType& type) {
    return type.voltageTable[thermocouplePoints - 1] - type.voltageTable[0];
}

// The curve from voltage to temperature, written out for every voltage: at most 18 KB, and the samples need no search.
const std::int16_t* temperaturesOf(const ThermocoupleType& type) {
    const std::int32_t span = voltageSpan(type);
    auto* all = static_cast<std::int16_t*>(zepl::ralloc(static_cast<std::size_t>(span + 1) * sizeof(std::int16_t)));
    for (std::int32_t i = 0; i <= span; ++i)
        all[i] = lookup(static_cast<std::int16_t>(type.voltageTable[0] + i), type.voltageTable, type.temperatureTable);
    return all;
}

// The factor mul / div. Products of two int16 have up to 31 bits; multiplied by the reciprocal and shifted they give the
// quotient toward zero, exactly: the reciprocal is too large by less than 2^-30 of itself.
Scaling scalingBy(std::int16_t mul, std::int16_t div) {
    const auto divisor = static_cast<std::uint32_t>(std::abs(div));
    const auto shift = 30 + static_cast<std::int32_t>(std::bit_width(divisor));
    return {.mul = div < 0 ? -mul : mul,
            .reciprocal = static_cast<std::uint32_t>((std::uint64_t{1} << shift) / divisor + 1),
            .shift = shift};
}

// The measured voltage. The reading less its offset wraps, the scaled one saturates.
std::int16_t scaledVoltage(std::int16_t x, std::int16_t offset, Scaling by) {
    const std::int32_t product = wrap<std::int16_t>(x - offset) * by.mul;
    const auto magnitude = static_cast<std::uint32_t>(std::abs(product));
    const auto quotient = static_cast<std::int32_t>(std::uint64_t{magnitude} * by.reciprocal >> by.shift);
    return saturate<std::int16_t>(product < 0 ? -quotient : quotient);
}

// No other task runs within a block, so the offset and the cold junction stay as they are. Voltages first, for all samples:
// they fit vectors, what the curve gives does not.
ZCMDS_VECTOR_CLONES void convertBlock(const ThermoState& state, std::int16_t* x, std::int32_t n) {
    const ThermocoupleType& type = *state.type;
    const std::int16_t *const temperatures = state.temperatures, offset = *state.offset;
    const std::int16_t c = lookup(*state.cjc, type.temperatureTable, type.voltageTable);
    const Scaling scaling = state.scaling;
    for (std::int32_t i = 0; i < n; ++i) x[i] = wrap<std::int16_t>(scaledVoltage(x[i], offset, scaling) + c);
    const std::int32_t first = type.voltageTable[0], span = voltageSpan(type);
    for (std::int32_t i = 0; i < n; ++i) x[i] = temperatures[std::clamp(x[i] - first, 0, span)];
}

const ThermocoupleType* typeIn(Slot slot, ParamMask kind) {
    std::int32_t index = 0;
    if (kind == constantInt16) {
        index = *valueIn<std::int16_t>(slot);
    } else {
        const char* text = valueIn<char>(slot);
        while (index < thermocoupleTypeCount && std::strcmp(text, thermocoupleTypes[index].letter) != 0) ++index;
    }
    if (index < 0 || index >= thermocoupleTypeCount) zepl::param_error_msg(ParamError::notPositive, 2);
    return &thermocoupleTypes[index];
}

void requireKind(ParamList list, std::int32_t position, ParamMask kind) {
    if (zepl::param_type(list, position) != kind) zepl::param_error_msg(ParamError::wrongKind, position);
}

// Positions 5 to 7 are [offset,] dest [, cjc]; with six in all, a pipe at position 5 means that the offset is left out.
void readStreams(ParamList list, const Slot* params, std::int32_t count, ThermoState& state) {
    const bool hasOffset = count == 7 || (count == 6 && zepl::param_type(list, 5) != pipeInt16);
    const std::int32_t dest = hasOffset ? 6 : 5, cjc = dest + 1;
    if (hasOffset && count == 7) requireKind(list, 5, variableInt16);
    requireKind(list, dest, pipeInt16);
    if (cjc == 6 && count == 6) requireKind(list, cjc, variableInt16);
    state.dest = handleIn<PipeHandle>(params[dest]);
    state.offset = hasOffset ? valueIn<std::int16_t>(params[5]) : &absent;
    state.cjc = cjc <= count ? valueIn<std::int16_t>(params[cjc]) : &absent;
}

}  // namespace

std::uint32_t thermo(ParamList list) {
    ThermoState state;
    std::int32_t count;
    const Slot* params =
        zepl::param_process(list, &count, 5, 7, pipeInt16, stringKind | constantInt16, constantInt16, constantInt16,
                            pipeInt16 | variableInt16, pipeInt16 | variableInt16, variableInt16);
    state.type = typeIn(params[2], zepl::param_type(list, 2));
    const std::int16_t mul = *valueIn<std::int16_t>(params[3]), div = *valueIn<std::int16_t>(params[4]);
    if (div == 0 || div == -32768) zepl::param_error_msg(ParamError::notPositive, 4);
    state.scaling = scalingBy(mul, div);
    readStreams(list, params, count, state);
    state.temperatures = temperaturesOf(*state.type);

    StreamReader reader;
    StreamWriter writer;
    const auto capacity = static_cast<std::int32_t>(zepl::sys_get_info(SysInfo::defaultBlock));
    void* buffer;
    openWriter(writer, state.dest, capacity, &buffer);
    openReaderOnBuffer(reader, handleIn<PipeHandle>(params[1]), buffer, capacity);
    for (;;) {
        writer.pending = reader.refill();
        convertBlock(state, static_cast<std::int16_t*>(reader.ptr), writer.pending);
        writer.flush();
    }
}

}  // namespace zcmds
