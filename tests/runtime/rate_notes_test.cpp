// Which ratio of frames contradicts the rate that a file states.

#include "tests/support/session_support.h"

namespace libzepl {
namespace {

class RatedSource : public Source {
 public:
    RatedSource(std::size_t count, int channels, std::optional<double> rate)
        : left_(count), channels_(channels), rate_(rate) {}
    std::size_t read(void* to, std::size_t count) override {
        count = std::min(count, left_);
        std::memset(to, 0, count * sizeof(std::int32_t));
        left_ -= count;
        return count;
    }
    std::optional<std::uint64_t> length() const override { return left_; }
    int channels() const override { return channels_; }
    std::optional<double> rate() const override { return rate_; }

 private:
    std::size_t left_;
    int channels_;
    std::optional<double> rate_;
};

// Writes `out` samples for each `in` that it reads.
std::string resampling(int in, int out) {
    return "open_read:2 open_write:3 *( " + std::to_string(in) + "( pipe_get:2 ) " + std::to_string(out) +
           "( pipe_put:3,1 ) )";
}

struct RateCase {
    const char* what;
    std::size_t samples;
    int in, out;
    UntoldRate stated;
    const char* note;  // after "f.wav"; empty for none
    int channels = 1;
    double rate = 1000;  // of the input
};

const UntoldRate right{"f.wav", 1000, false, false};
const UntoldRate seconds{"f.wav", 1000, false, true};

const RateCase rateCases[] = {
    {"one for each", 1000, 1, 1, right, ""},
    {"half", 1000, 2, 1, right,
     " states the rate of `a`, 1000, and has one frame for 2 of its frames: `rate 500` after its name states its own"},
    {"twice", 1000, 1, 2, right,
     " states the rate of `a`, 1000, and has 2 frames for each of its frames: `rate 2000` after its name states its own"},
    {"no whole ratio", 1000, 3, 2, right, ""},
    {"within two hundredths", 10000, 99, 50, right,
     " states the rate of `a`, 1000, and has one frame for 2 of its frames: `rate 500` after its name states its own"},
    {"outside two hundredths", 10000, 97, 50, right, ""},
    {"a rate that is no whole number", 1000, 3, 1, right,
     " states the rate of `a`, 1000, and has one frame for 3 of its frames: its own is 333.3333333333333, which no sound "
     "file states: write .npy or .csv, which state none"},
    {"too short to judge", 14, 2, 1, right, ""},
    {"just long enough", 16, 2, 1, right,
     " states the rate of `a`, 1000, and has one frame for 2 of its frames: `rate 500` after its name states its own"},
    {"an input of few samples", 7, 1, 8, right, ""},
    {"another rate than the input's", 1000, 2, 1, {"f.wav", 500, false, false}, ""},
    {"the frames of the input are several samples", 1000, 2, 1, right, "", 2},
    {"an input that states the rate",
     1000,
     2,
     1,
     {"f.wav", 250, false, false},
     " states the rate of `a`, 250, and has one frame for 2 of its frames: `rate 125` after its name states its own",
     1,
     250},
    {"assumed",
     1000,
     1,
     1,
     {"f.wav", 1000, true, false},
     " states 1000 frames a second, which is assumed, since no input states a rate: `rate R` in the procedure or after "
     "the file's name states the right one"},
    {"seconds of fewer", 1000, 4, 1, seconds,
     " counts seconds by the rate of `a`, 1000, and has one row for 4 of its frames: `seconds every 0.004` counts its own"},
    {"seconds of more", 1000, 1, 4, seconds,
     " counts seconds by the rate of `a`, 1000, and has 4 rows for each of its frames: `rate 4000` after its columns "
     "states its own"},
};

class NoFrames : public JointSink {
    void write(const void* const*, std::size_t) override {}
    void finish() override {}
};

TEST(RateNotes, SayWhatContradictsTheRateOfAFile) {
    for (const RateCase& each : rateCases) {
        TestSession session;
        SinkLog log;
        const PipeId a = session.pipe("a"), b = session.pipe("b"), long_ = session.pipe("long");
        session.setInput(a, std::make_unique<RatedSource>(each.samples, each.channels, each.rate));
        session.script(resampling(each.in, each.out), a, b);
        if (each.stated.seconds) {
            // The pipe with the fewest frames gives the table its rows.
            session.script(resampling(1, 8), a, long_);
            session.setOutput({.name = "f.wav", .isTable = true, .members = {{long_}, {b}}},
                              std::make_unique<NoFrames>());
            session.noteJointRate(each.stated);
        } else {
            session.setOutput(b, std::make_unique<LogSink>(log));
            session.noteRate(b, each.stated);
        }
        Lines notes = session.run().notes;
        std::erase_if(notes, [](const std::string& note) { return !note.starts_with("f.wav "); });
        const std::string expected = *each.note == '\0' ? "" : std::string("f.wav") + each.note;
        EXPECT_EQ(notes, expected.empty() ? Lines() : Lines({expected})) << each.what;
    }
}

// A file that has the rate of one of the inputs that it is made from is right.
TEST(RateNotes, OneInputOfTheSameRateIsEnough) {
    for (const double rateOfSecond : {1000.0, 500.0}) {
        TestSession session;
        SinkLog log;
        const PipeId a = session.pipe("a"), b = session.pipe("b"), both = session.pipe("both");
        session.setInput(a, std::make_unique<RatedSource>(1000, 1, 1000));
        session.setInput(b, std::make_unique<RatedSource>(1000, 1, rateOfSecond));
        session.script(
            "open_read:2 open_read:3 open_write:4 *( pipe_get:2 pipe_get:2 pipe_get:3 pipe_get:3 pipe_put:4,1 )", a, b,
            both);
        session.setOutput(both, std::make_unique<LogSink>(log));
        session.noteRate(both, right);
        EXPECT_EQ(session.run().notes.size(), rateOfSecond == 1000 ? 1U : 0U) << rateOfSecond;
    }
}

}  // namespace
}  // namespace libzepl
