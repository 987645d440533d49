// The characteristic curves of thermocouples: pairs of voltage and temperature, closer where the curve bends.
#pragma once

#include <cstdint>

namespace zcmds {

constexpr int thermocouplePoints = 40;
constexpr int thermocoupleTypeCount = 10;

struct ThermocoupleType {
    std::int16_t voltageTable[thermocouplePoints];      // hundredths of a millivolt, rising (B repeats its first)
    std::int16_t temperatureTable[thermocouplePoints];  // tenths of a degree Celsius, rising
    const char* letter;                                 // one character
};

extern const ThermocoupleType thermocoupleTypes[thermocoupleTypeCount];

}  // namespace zcmds
