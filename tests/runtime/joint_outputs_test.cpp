// Outputs that take several pipes side by side: which frames come, what waits, what ends them, and what is said of the rest.

#include "tests/support/session_support.h"

namespace libzepl {
namespace {

// The frames that came, as "1 2", and whether the sink was finished.
struct FrameLog {
    Lines frames;
    int finished = 0;
};

class FrameLogSink : public JointSink {
 public:
    FrameLogSink(FrameLog& log, std::vector<std::size_t> widths) : log_(log), widths_(std::move(widths)) {}
    void write(const void* const* columns, std::size_t frames) override {
        for (std::size_t frame = 0; frame < frames; ++frame) {
            std::string line;
            for (std::size_t i = 0; i < widths_.size(); ++i)
                for (std::size_t k = 0; k < widths_[i]; ++k) {
                    const auto* column = static_cast<const std::int32_t*>(columns[i]);
                    line += (line.empty() ? "" : " ") + std::to_string(column[frame * widths_[i] + k]);
                }
            log_.frames.push_back(std::move(line));
        }
    }
    void finish() override { ++log_.finished; }

 private:
    FrameLog& log_;
    std::vector<std::size_t> widths_;
};

// Attaches a table `t` of these pipes, each of as many elements to a frame as is written.
void setTable(Session& session, FrameLog& log, std::vector<JointMember> members,
              std::optional<std::uint64_t> limit = {}) {
    std::vector<std::size_t> widths;
    for (const JointMember& member : members) widths.push_back(member.channels);
    session.setOutput({.name = "t", .isTable = true, .members = std::move(members), .limit = limit},
                      std::make_unique<FrameLogSink>(log, std::move(widths)));
}

Lines framesUpTo(std::int32_t count, std::int32_t from = 0) {
    Lines frames;
    for (std::int32_t n = from; n < count; ++n) frames.push_back(std::to_string(n) + " " + std::to_string(n));
    return frames;
}

TEST(JointOutputs, TakeAFrameWhenEveryPipeHasItsSample) {
    for (const FeedPolicy feed :
         {FeedPolicy{}, FeedPolicy{FeedPolicy::Kind::pieces, 7, 0}, FeedPolicy{FeedPolicy::Kind::whole, 0, 0},
          FeedPolicy{FeedPolicy::Kind::random, 0, 5}, FeedPolicy{FeedPolicy::Kind::lockstep, 0, 0}}) {
        FrameLog log;
        TestSession session({.feed = feed});
        const PipeId a = session.input("a", countUp(5000), 8), b = session.pipe("b", 3000);
        session.task("ABS", session.input("source", countUp(5000)), b);
        setTable(session, log, {{a}, {b}});
        EXPECT_EQ(session.run().notes, Lines());
        EXPECT_EQ(log.frames, framesUpTo(5000));
        EXPECT_EQ(log.finished, 1);
    }
}

TEST(JointOutputs, TakeWholeFramesOfInterleavedPipesOverTheEndOfTheirStorage) {
    FrameLog log;
    TestSession session;
    const PipeId three = session.input("three", countUp(3 * 50 + 2), 8), one = session.input("one", countUp(60));
    setTable(session, log, {{three, 3}, {one}});
    EXPECT_EQ(
        session.run().notes,
        Lines({"`t` has 50 rows, all that `three` has; not written: 2 samples of `three` and 10 samples of `one`"}));
    ASSERT_EQ(log.frames.size(), 50U);
    for (std::int32_t n = 0; n < 50; ++n)
        EXPECT_EQ(log.frames[static_cast<std::size_t>(n)], std::to_string(3 * n) + " " + std::to_string(3 * n + 1) +
                                                               " " + std::to_string(3 * n + 2) + " " +
                                                               std::to_string(n));
}

TEST(JointOutputs, WhatIsAheadWaitsInItsPipe) {
    FrameLog log;
    TestSession session;
    const PipeId a = session.input("a", countUp(3000), 8), b = session.pipe("b", 8);
    session.script("open_read:2 open_read:3 open_write:4 3000( pipe_get:2 ) 3000( move:3,4 )", a,
                   session.input("source", countUp(3000), 8), b);
    setTable(session, log, {{a}, {b}});
    EXPECT_EQ(session.run().notes, Lines());
    EXPECT_EQ(log.frames, framesUpTo(3000));
}

TEST(JointOutputs, WithoutMemoryTheReasonNamesWhoIsBehind) {
    FrameLog log;
    TestSession session({.memoryLimit = 3 << 20});
    const PipeId a = session.input("a", countUp(2000000)), early = session.pipe("early"), late = session.pipe("late");
    session.script("open_read:2 open_write:3 open_write:4 100( move:2,3 ) 100( pipe_put:4,1 ) *( move:2,3 )", a, early,
                   late);
    setTable(session, log, {{late}, {early}});
    const Report report = session.run();
    EXPECT_EQ(report.status, Report::Status::failed);
    EXPECT_EQ(
        report.reason,
        "the pipe `early` needs more than 262144 elements to keep the procedure moving, and no memory is left for "
        "it; `t` waits for `late`, which is 262144 samples behind `early`");
    EXPECT_EQ(report.remedy, "raise --memory, or write the pipes to files of their own");
    EXPECT_EQ(log.frames.size(), 100U);
}

TEST(JointOutputs, AShortPipeEndsItsTableAndCutsNothingElse) {
    for (const bool copies : {false, true}) {
        FrameLog log;
        TestSession session;
        const PipeId a = session.input("a", countUp(9000), 8), other = session.output("other");
        const PipeId b = session.input("b", countUp(5));
        // The table holds up an input, or a task that has something else to write.
        const PipeId held = copies ? session.pipe("held", 8) : a;
        if (copies)
            session.script("open_read:2 open_write:3 open_write:4 *( pipe_get:2 pipe_put:3,$ pipe_put:4,$ )", a, held,
                           other);
        else
            session.task("ABS", a, other);
        setTable(session, log, {{held}, {b}});
        EXPECT_EQ(session.run().notes,
                  Lines({std::string("`t` has 5 rows, all that `b` has; not written: 8995 samples of `") +
                         (copies ? "held`" : "a`")}));
        EXPECT_EQ(log.frames, framesUpTo(5));
        EXPECT_EQ(session.collected<std::int32_t>(other), countUp(9000));
    }
}

TEST(JointOutputs, SharePipesWithOtherOutputs) {
    FrameLog first, second;
    SinkLog own;
    TestSession session;
    const PipeId a = session.input("a", countUp(3000)), b = session.input("b", countUp(3000));
    setTable(session, first, {{a}, {b}});
    setTable(session, second, {{b}, {a}}, 10);
    session.setOutput(a, std::make_unique<LogSink>(own));
    EXPECT_EQ(session.run().notes, Lines());
    EXPECT_EQ(first.frames, framesUpTo(3000));
    EXPECT_EQ(second.frames, framesUpTo(10));
    EXPECT_EQ(own.elements, countUp(3000));
}

TEST(JointOutputs, EndTheRunByTheirLimit) {
    FrameLog log;
    TestSession session;
    const PipeId a = session.pipe("a"), b = session.pipe("b");
    session.script("open_write:2 pipe_put:2,0 *( pipe_put:2,1 )", a);
    session.script("open_write:2 pipe_put:2,0 *( pipe_put:2,1 )", b);
    setTable(session, log, {{a}, {b}}, 3);
    EXPECT_EQ(session.run().notes, Lines());
    EXPECT_EQ(log.frames, Lines({"0 0", "1 1", "1 1"}));
}

TEST(JointOutputs, MoveTimeByTheirFramesWhereThereAreNoInputs) {
    FrameLog log;
    TestSession session({.rate = 1000});
    const PipeId a = session.pipe("a"), b = session.pipe("b");
    session.script("open_write:2 *( pipe_put:2,1 )", a);
    session.script("open_write:2 4( task_pause:10 pipe_put:2,1 ?sys_get_time ) *( pipe_put:2,1 )", b);
    setTable(session, log, {{a}, {b}}, 20);
    const Report report = session.run();
    EXPECT_EQ(log.frames.size(), 20U);
    EXPECT_EQ(report.console.size(), 4U);
    EXPECT_EQ(report.status, Report::Status::ok);
}

TEST(JointOutputs, WithoutALimitEndWithTheShortestOfTheirPipes) {
    const struct {
        const char* second;
        Report::Status status;
        const char* reason;
    } cases[] = {
        // A generator beside an input is held up where the input ends.
        {"open_write:3 *( pipe_put:3,7 )", Report::Status::ok, ""},
        // A loop that continues by itself, too.
        {"open_read:2 open_write:3 2000( move:2,3 ) *( pipe_put:3,7 )", Report::Status::ok, ""},
    };
    for (const auto& [second, status, reason] : cases) {
        FrameLog log;
        TestSession session;
        const PipeId a = session.input("a", countUp(2000)), b = session.pipe("b");
        session.script(second, a, b);
        setTable(session, log, {{a}, {b}});
        const Report report = session.run();
        EXPECT_EQ(report.status, status) << second << report.reason;
        EXPECT_EQ(report.reason, reason) << second;
        EXPECT_EQ(log.frames.size(), 2000U) << second;
    }
}

TEST(JointOutputs, ThatNothingWouldEndAreRefusedOrFail) {
    FrameLog log;
    TestSession generated;
    const PipeId a = generated.pipe("a"), b = generated.pipe("b");
    for (const PipeId id : {a, b}) generated.script("open_write:2 *( pipe_put:2,1 )", id);
    setTable(generated, log, {{a}, {b}});
    const Report refused = generated.run();
    EXPECT_EQ(refused.status, Report::Status::refused);
    EXPECT_EQ(refused.reason, "the output of `t` depends on no input, so nothing would end it");
    EXPECT_EQ(refused.remedy, "give it a limit: `limit N` after its columns");

    TestSession held({.patience = 100000});
    const PipeId source = held.input("source", countUp(100)), x = held.pipe("x"), y = held.pipe("y");
    for (const PipeId id : {x, y})
        held.script("open_read:2 open_write:3 100( move:2,3 ) *( pipe_put:3,9 )", source, id);
    setTable(held, log, {{x}, {y}});
    const Report cut = held.run();
    EXPECT_EQ(cut.status, Report::Status::failed);
    EXPECT_EQ(cut.reason.substr(0, 36), "the output of `t` has no limit, and ") << cut.reason;
    EXPECT_EQ(cut.channel, "t");
}

// The frames of the time that a pausing task waits for come, although a table of them waits for that task.
TEST(JointOutputs, LetTheFramesComeThatAPauseWaitsFor) {
    FrameLog log;
    TestSession session({.block = 16, .rate = 1000});
    const PipeId a = session.input("a", countUp(5000), 16), b = session.pipe("b");
    const PipeId copy = session.pipe("copy", 16);
    session.task("ABS", a, copy);
    session.script("open_write:2 3( task_pause:1000 digital_set_bit:1,1 digital_set_bit:1,0 pipe_put:2,1 )", b);
    setTable(session, log, {{copy}, {b}});
    const Report report = session.run();
    EXPECT_EQ(log.frames, Lines({"0 1", "1 1", "2 1"}));
    ASSERT_EQ(report.digital.size(), 6U);
    EXPECT_GE(report.digital[0].frame, 1000U);
    EXPECT_EQ(report.notes, Lines({"`t` has 3 rows, all that `b` has; not written: 4997 samples of `copy`"}));
}

TEST(JointOutputs, MisuseIsRefused) {
    FrameLog log;
    TestSession session, other;
    const PipeId a = session.pipe("a"), foreign = other.pipe("foreign");
    EXPECT_THROW(setTable(session, log, {}), Problem);
    EXPECT_THROW(setTable(session, log, {{a, 0}}), Problem);
    EXPECT_THROW(setTable(session, log, {{foreign}}), Problem);
    EXPECT_THROW(session.setOutput({.name = "t", .members = {{a}}}, nullptr), Problem);
    session.input("in", countUp(1));
    EXPECT_EQ(session.run().status, Report::Status::ok);
    EXPECT_THROW(setTable(session, log, {{a}}), Problem);
}

}  // namespace
}  // namespace libzepl
