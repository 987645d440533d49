// Generators: what they make depends on no block and no pipe, with a modulator on its samples alone.
#pragma once

#include "tests/determinism/cases.h"

namespace libzepl {

// A wave that is computed sample by sample, one that is repeated, and a modulated one.
inline Case waveCase(const std::string& command) {
    return {command,
            "\npipe stepped : TYPE to \"result\" limit 1301\n"
            "pipe repeated : TYPE to \"result\" limit 1301\n"
            "pipe loudness : TYPE from \"samples-1001\"\n"
            "pipe pitch : TYPE from \"wave-1107\"\n"
            "pipe modulated : TYPE to \"result\"\n" +
                command + " (9000, 33.7183, stepped)\n" + command + " (-900, 1000, 440.0, 0.25, 125.0, repeated)\n" +
                command + " (1000, 50, modulated, \"AMPLITUDE\", loudness, \"FREQUENCY\", pitch)\n"};
}

inline const Cases generatorsCases{
    waveCase("SINEWAVE"),
    waveCase("COSINEWAVE"),
    waveCase("SQUAREWAVE"),
    waveCase("TRIANGLE"),
    waveCase("SAWTOOTH"),
    {"BIRAMP", R"(
pipe repeated : TYPE to "result" limit 1301
pipe long     : TYPE to "result" limit 5003
BIRAMP (-30000, 20000, 37, 11, 5.5, repeated)
BIRAMP (100, -9000, 3000, 2000, long)
)"},
    {"CHIRP", R"(
pipe once  : TYPE to "result" limit 2503
pipe there : TYPE to "result" limit 1301
CHIRP ("LOG", "UNIDIR", 20000, 2100, 200, 5, 0.5, once)
CHIRP ("QUAD", "BIDIR", 300, 301, 10, 100, -1.0, there)
)"},
    {"RANDOM", R"(
pipe one   : TYPE to "result" limit 1301
pipe other : TYPE to "result" limit 1001
RANDOM (0, 12345, one)
RANDOM (0, 0, other)
)"},
};

}  // namespace libzepl
