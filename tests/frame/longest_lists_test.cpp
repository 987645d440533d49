// Every command at the greatest number of parameters that it takes.

#include <map>
#include <sstream>

#include "tests/support/call.h"
#include "tests/support/given.h"

namespace libzepl {
namespace {

struct Longest {
    const char* commands;
    std::string list;
    std::string outcome = "ready";
};

const std::vector<Longest> longestLists{
    {"ABS DELTA SQRT CTCOUNT CTRATE", "i16 i16"},
    {"CANGLE CMAG", "i16 i16 i16"},
    {"POLAR", "i16 i16 i16 i16"},
    {"OFFSET REPLICATE", "i16 1 i16"},
    {"SCALE SKIP RSUM", "i16 1 1 1 i16"},
    {"BOUND DECIBEL", "i16 1 2 i16"},
    {"RANGE", "i16 inside 1 2 i16"},
    {"HIGH LOW", "i16 2 i16 i32"},
    {"AVERAGE RMS STDDEV VARIANCE", "i16 2 i16 i32", "error code 9 at 4"},
    {"BAVERAGE", "i16 2 2 i16"},
    {"BINTEGRATE INTEGRATE", "i16 i16 1"},
    {"RAVERAGE", "i16 1 i16 1"},
    {"FFT", "1 4 0 f64 f64 f64 f64"},
    {"MIXRFFT", "8 'FORWARD 'KAISER 1.0 i16 i16 'FULL 'PARTS i16 i16"},
    {"CROSSPOWER", "i16 i16 4 'HAMMING f64 f64 f64"},
    {"CORRELATE", "i16 i16 0 0 15 f64"},
    {"DFT", "0 4 0 [1]l f64 f64 f64"},
    {"FIRFILTER", "i32 1 v5 5 1 4 4 f64"},
    {"FIRLOWPASS", "i16 32 12 i16"},
    {"MTSFILT", "i16 2 1 32 i16"},
    {"COSINEWAVE SAWTOOTH SINEWAVE SQUAREWAVE TRIANGLE", "2 1 1.0 0.0 1.0 i16 AMPLITUDE i16 FREQUENCY i16"},
    {"BIRAMP", "1 2 3 4 0.5 i16"},
    {"CHIRP", "LIN UNIDIR 1 1 2 2 0.0 i16"},
    {"RANDOM", "0 5 i16"},
    {"PID", "i16 i16 f32 1f i16 -5 5"},
    {"PID1", "i16 =0 1 0 0 =0 i16 -9 9 1"},
    {"PIDLATCH", "i16 i16 i16 i16 i16 i16"},
    {"PIDRAMP", "i16 i16 i16 LINEAR"},
    {"PIDSCRAM", "i16 i16 5 9 LINEAR event"},
    {"TFUNCTION1", "i16 i16 i16 i16 i16 i16 1 1 2"},
    {"TFUNCTION2", "i32 i32 i32 i32 i32 1l 1l 2l"},
    {"INTERP", "i16 [1,2] [1,2] i16"},
    {"THERMO", "i16 K 1 1 =0 i16 =0"},
    {"FINDMAX", "i16 8 inside 0 7 i16 i16 event"},
    {"TOGGLE", "i16 inside 1 1 i16 inside 1 1 event"},
    {"TOGGWT", "i16 event i16 9 FORMAT=STREAM i32"},
    {"TAND", repeated("event", 65) + " 5"},
    {"TOR", repeated("event", 65)},
    {"TCOLLATE", repeated("event", 17)},
    {"NTH", "event 2 event"},
    {"TGEN", "5 event"},
    {"TRIGSCALE", "event 5 1 1 event"},
    {"FREQUENCY", "event 5 i16"},
    {"TSTAMP", "event i32"},
    {"TRIGSEND", "event 5" + repeated("i32", 32)},
    {"TRIGRECV", "i32 event"},
    {"PCASSERT", "i16 event i16"},
    {"ALARM", "i16 1 inside 5 5 3 9"},
    {"PULSECOUNT", "i16 1 =0"},
    {"QDCOUNT", "i16 5 REL i16"},
    {"QDECODE", "i16 0 i32 1"},
    {"PWM", "i16 1 15 i16 i16"},
    {"DEXPAND", "i16 [1,2] i16 SI"},
    // A pipe must stand at 19, so more thresholds than sixteen come in a vector.
    {"COMPRESS", "i16 16" + repeated("1", 16) + " i16"},
    {"COMPRESS", "i16 1024" + repeated("1", 1024) + " i16", "refused at 19"},
    {"MERGEF SEPARATE SEPARATEF", repeated("i16", 65)},
    {"BMERGEF", repeated("i16", 64) + " 5 i16"},
    {"LOADING", "i16 1 9 1 i16 1"},
    {"MRBLOCK", "i16 i16 1 i16"},
    {"PCOUNT PVALUE", "i16 =0"},
    {"DISCARD", repeated("i16", 32)},
};

// The most parameters that the command takes, by its refusal of more than any does.
std::size_t greatestCount(const std::string& command) {
    TestSession session({.setUpOnly = true});
    addCall(session, command + repeated("5", 1100));
    return static_cast<std::size_t>(session.run().tasks[0].index.value_or(0) - 1);
}

std::string outcomeOf(const std::string& command, TestSession& session, std::vector<TaskArgument> arguments) {
    session.addTask({.command = command, .arguments = std::move(arguments)});
    const Report report = session.run();
    return report.status == Report::Status::ok ? "ready" : statesOf(report)[0];
}

// No command takes a vector at its end. A mask that was not passed would be whatever stands on the stack, so each type is
// tried there.
void expectMaskAtEnd(const std::string& command, const std::string& list) {
    for (const ElementType type : allElementTypes) {
        TestSession session({.setUpOnly = true});
        std::vector<TaskArgument> arguments = argumentsIn(session, list);
        arguments.back() = session.use(session.addVector("last", type, {}));
        const std::string at = std::to_string(arguments.size());
        EXPECT_EQ(outcomeOf(command, session, arguments), "refused at " + at) << command << " " << list;
    }
}

TEST(LongestLists, EveryCommandTakesAsManyParametersAsItSays) {
    std::map<std::string, std::size_t> longest;
    for (const auto& [commands, list, outcome] : longestLists) {
        std::istringstream names(commands);
        for (std::string name; names >> name;) {
            TestSession session({.setUpOnly = true});
            const std::vector<TaskArgument> arguments = argumentsIn(session, list);
            longest[name] = std::max(longest[name], arguments.size());
            EXPECT_EQ(outcomeOf(name, session, arguments), outcome) << name << " " << list;
            if (outcome == "ready") expectMaskAtEnd(name, list);
        }
    }
    for (const Command& command : testLibrary().commands()) {
        if (command.module != testLibrary().modules()[0].name) continue;
        EXPECT_EQ(longest[command.name], greatestCount(command.name)) << command.name;
    }
}

}  // namespace
}  // namespace libzepl
