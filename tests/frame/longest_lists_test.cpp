// Every command at the greatest number of parameters that it takes.

#include <map>
#include <sstream>

#include "tests/support/call.h"

namespace libzepl {
namespace {

constexpr int ready = -1;

struct Longest {
    const char* commands;
    std::string list;
    int code = ready, position = 0;  // of its refusal
};

const std::vector<Longest> longestLists{
    {"ABS DELTA SQRT CTCOUNT CTRATE", "int16, int16"},
    {"CANGLE CMAG", "int16, int16, int16"},
    {"POLAR", "int16, int16, int16, int16"},
    {"OFFSET REPLICATE", "int16, 1, int16"},
    {"SCALE SKIP RSUM", "int16, 1, 1, 1, int16"},
    {"BOUND DECIBEL", "int16, 1, 2, int16"},
    {"RANGE", "int16, inside, 1, 2, int16"},
    {"HIGH LOW", "int16, 2, int16, int32"},
    {"AVERAGE RMS STDDEV VARIANCE", "int16, 2, int16, int32", 9, 4},
    {"BAVERAGE", "int16, 2, 2, int16"},
    {"BINTEGRATE INTEGRATE", "int16, int16, 1"},
    {"RAVERAGE", "int16, 1, int16, 1"},
    {"FFT", "1, 4, 0, double, double, double, double"},
    {"MIXRFFT", "8, FORWARD, KAISER, 1.0, int16, int16, FULL, PARTS, int16, int16"},
    {"CROSSPOWER", "int16, int16, 4, HAMMING, double, double, double"},
    {"CORRELATE", "int16, int16, 0, 0, 15, double"},
    {"DFT", "0, 4, 0, [1]:int32, double, double, double"},
    {"FIRFILTER", "int32, 1, [0, 0, 0, 0, 0]:float, 5, 1, 4, 4, double"},
    {"FIRLOWPASS", "int16, 32, 12, int16"},
    {"MTSFILT", "int16, 2, 1, 32, int16"},
    {"COSINEWAVE SAWTOOTH SINEWAVE SQUAREWAVE TRIANGLE",
     "2, 1, 1.0, 0.0, 1.0, int16, \"AMPLITUDE\", int16, \"FREQUENCY\", int16"},
    {"BIRAMP", "1, 2, 3, 4, 0.5, int16"},
    {"CHIRP", "\"LIN\", \"UNIDIR\", 1, 1, 2, 2, 0.0, int16"},
    {"RANDOM", "0, 5, int16"},
    {"PID", "int16, int16, float, 1:float, int16, -5, 5"},
    {"PID1", "int16, variable:int16, 1, 0, 0, variable:int16, int16, -9, 9, 1"},
    {"PIDLATCH", "int16, int16, int16, int16, int16, int16"},
    {"PIDRAMP", "int16, int16, int16, \"LINEAR\""},
    {"PIDSCRAM", "int16, int16, 5, 9, \"LINEAR\", trigger"},
    {"TFUNCTION1", "int16, int16, int16, int16, int16, int16, 1, 1, 2"},
    {"TFUNCTION2", "int32, int32, int32, int32, int32, 1:int32, 1:int32, 2:int32"},
    {"INTERP", "int16, [1, 2]:int16, [1, 2]:int16, int16"},
    {"THERMO", "int16, \"K\", 1, 1, variable:int16, int16, variable:int16"},
    {"FINDMAX", "int16, 8, inside, 0, 7, int16, int16, trigger"},
    {"TOGGLE", "int16, inside, 1, 1, int16, inside, 1, 1, trigger"},
    {"TOGGWT", "int16, trigger, int16, 9, \"FORMAT=STREAM\", int32"},
    {"TAND", "trigger" + more(64, "trigger") + ", 5"},
    {"TOR", "trigger" + more(64, "trigger")},
    {"TCOLLATE", "trigger" + more(16, "trigger")},
    {"NTH", "trigger, 2, trigger"},
    {"TGEN", "5, trigger"},
    {"TRIGSCALE", "trigger, 5, 1, 1, trigger"},
    {"FREQUENCY", "trigger, 5, int16"},
    {"TSTAMP", "trigger, int32"},
    {"TRIGSEND", "trigger, 5" + more(32, "int32")},
    {"TRIGRECV", "int32, trigger"},
    {"PCASSERT", "int16, trigger, int16"},
    {"ALARM", "int16, 1, inside, 5, 5, 3, 9"},
    {"PULSECOUNT", "int16, 1, variable:int16"},
    {"QDCOUNT", "int16, 5, \"REL\", int16"},
    {"QDECODE", "int16, 0, int32, 1"},
    {"PWM", "int16, 1, 15, int16, int16"},
    {"DEXPAND", "int16, [1, 2]:int16, int16, \"SI\""},
    // A pipe must stand at 19, so more thresholds than sixteen come in a vector.
    {"COMPRESS", "int16, 16" + more(16, "1") + ", int16"},
    {"COMPRESS", "int16, 1024" + more(1024, "1") + ", int16", 0, 19},
    {"MERGEF SEPARATE SEPARATEF", "int16" + more(64, "int16")},
    {"BMERGEF", "int16" + more(63, "int16") + ", 5, int16"},
    {"LOADING", "int16, 1, 9, 1, int16, 1"},
    {"MRBLOCK", "int16, int16, 1, int16"},
    {"PCOUNT PVALUE", "int16, variable:int16"},
    {"DISCARD", "int16" + more(31, "int16")},
};

// The most parameters that the command takes, by its refusal of more than any does.
std::size_t greatestCount(const std::string& command) {
    TestSession session({.setUpOnly = true});
    addCall(session, command + " (5" + more(1099, "5") + ")");
    return static_cast<std::size_t>(session.run().tasks[0].index.value_or(0) - 1);
}

// No command takes a vector at its end. A mask that was not passed would be whatever is on the stack, so each type is
// tried there.
void expectMaskAtEnd(const std::string& command, const std::string& list, std::size_t count) {
    const std::string front = command + " (" + list.substr(0, list.rfind(',') + 1);
    for (const ElementType type : allElementTypes)
        expectRefused({front + "[0]:" + std::string(nameOf(type)) + ")"}, 0, static_cast<int>(count));
}

TEST(LongestLists, EveryCommandTakesAsManyParametersAsItSays) {
    std::map<std::string, std::size_t> longest;
    for (const auto& [commands, list, code, position] : longestLists) {
        std::istringstream names(commands);
        for (std::string name; names >> name;) {
            const std::string call = name + " (" + list + ")";
            const std::size_t count = parseCall(call).commands[0].arguments.size();
            longest[name] = std::max(longest[name], count);
            if (code == ready) {
                expectReady({call});
                expectMaskAtEnd(name, list, count);
            } else {
                expectRefused({call}, code, position);
            }
        }
    }
    for (const Command& command : testLibrary().commands()) {
        if (command.module != testLibrary().modules()[0].name) continue;
        EXPECT_EQ(longest[command.name], greatestCount(command.name)) << command.name;
    }
}

}  // namespace
}  // namespace libzepl
