// Which ratio of frames contradicts the rate that a file states.

#include "tests/support/rows_sink.h"
#include "tests/support/session_support.h"

namespace libzepl {
namespace {

// Writes `out` samples for each `in` that it reads.
std::string resampling(int in, int out) {
    return "open_read:2 open_write:3 *( " + std::to_string(in) + "( pipe_get:2 ) " + std::to_string(out) +
           "( pipe_put:3,1 ) )";
}

// The notes on the file `f` that is made so, at 1000 frames a second.
Lines notesOn(std::size_t samples, int channels, int in, int out, const UntoldRate& stated) {
    TestSession session({.rate = 1000});
    SinkLog log;
    std::string rows;
    const std::vector<std::int32_t> fed = countUp(samples);
    const PipeId a = session.pipe("a"), b = session.pipe("b"), more = session.pipe("more");
    session.feedMemory(a, fed.data(), samples, channels);
    session.script(resampling(in, out), a, b);
    if (stated.seconds) {
        // The pipe with the fewest frames gives a table its rows.
        session.script(resampling(1, 8), a, more);
        session.setOutput({.name = "t", .isTable = true, .members = {{more}, {b}}},
                          std::make_unique<RowsSink>(rows, std::vector<std::size_t>{4, 4}));
        session.noteJointRate(stated);
    } else {
        session.setOutput(b, std::make_unique<LogSink>(log));
        session.noteRate(b, stated);
    }
    Lines notes = session.run().notes;
    std::erase_if(notes, [](const std::string& note) { return !note.starts_with("f "); });
    return notes;
}

TEST(RateNotes, SayWhatContradictsTheRateOfAFile) {
    const std::string states = "f states the rate of `a`, 1000, and has ", its = "` after its name states its own";
    const std::string half = states + "one frame for 2 of its frames: `rate 500" + its;
    const std::string seconds = "f counts seconds by the rate of `a`, 1000, and has ";
    const struct {
        std::size_t samples;
        int channels, in, out;
        bool seconds;
        std::string note;
    } cases[] = {
        {1000, 1, 1, 1, false, ""},
        {1000, 1, 2, 1, false, half},
        {1000, 1, 1, 2, false, states + "2 frames for each of its frames: `rate 2000" + its},
        {1000, 1, 3, 2, false, ""},
        {10000, 1, 99, 50, false, half},  // within two hundredths
        {10000, 1, 97, 50, false, ""},    // outside them
        {1000, 1, 3, 1, false,
         states + "one frame for 3 of its frames: its own is 333.3333333333333, which no sound file states: write .npy "
                  "or .csv, which state none"},
        {14, 1, 2, 1, false, ""},  // too short to judge
        {16, 1, 2, 1, false, half},
        {7, 1, 1, 8, false, ""},
        {1000, 2, 2, 1, false, ""},  // a sample for each frame of two
        {1000, 1, 4, 1, true, seconds + "one row for 4 of its frames: `seconds every 0.004` counts its own"},
        {1000, 1, 1, 4, true, seconds + "4 rows for each of its frames: `rate 4000` after its columns states its own"},
    };
    for (const auto& each : cases)
        EXPECT_EQ(notesOn(each.samples, each.channels, each.in, each.out, {"f", 1000, false, each.seconds}),
                  each.note.empty() ? Lines() : Lines({each.note}));
    EXPECT_EQ(notesOn(1000, 1, 2, 1, {"f", 500, false, false}), Lines());
    EXPECT_EQ(notesOn(1000, 1, 1, 1, {"f", 1000, true, false}),
              Lines({"f states 1000 frames a second, which is assumed, since no input states a rate: `rate R` in the "
                     "procedure or after the file's name states the right one"}));
}

// A file that has the rate of one of the inputs that it is made from is right.
TEST(RateNotes, OneInputOfTheSameRateIsEnough) {
    for (const bool isSame : {true, false}) {
        TestSession session({.rate = 1000});
        SinkLog log;
        const PipeId a = session.input("a", countUp(1000)), b = session.input("b", countUp(1000));
        const PipeId both = session.pipe("both");
        session.script(std::string("open_read:2 open_read:3 open_write:4 *( 2( pipe_get:2 ) ") +
                           (isSame ? "pipe_get:3" : "2( pipe_get:3 )") + " pipe_put:4,1 )",
                       a, b, both);
        session.setOutput(both, std::make_unique<LogSink>(log));
        session.noteRate(both, {"f", 1000, false, false});
        const Lines notes = session.run().notes;
        EXPECT_EQ(!notes.empty() && notes[0].starts_with("f states"), !isSame);
    }
}

}  // namespace
}  // namespace libzepl
