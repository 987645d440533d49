// Outputs that take several pipes side by side: which frames come, what waits, what ends them, and what is said of the rest.

#include "tests/support/rows_sink.h"
#include "tests/support/session_support.h"

namespace libzepl {
namespace {

using Rows = std::vector<std::int32_t>;  // frame by frame

// A session with a table `t`.
struct TableSession : TestSession {
    using TestSession::TestSession;

    void table(std::vector<JointMember> members, std::optional<std::uint64_t> limit = {}) {
        std::vector<std::size_t> widths;
        for (const JointMember& member : members) widths.push_back(member.channels * sizeof(std::int32_t));
        setOutput({.name = "t", .isTable = true, .members = std::move(members), .limit = limit},
                  std::make_unique<RowsSink>(bytes, std::move(widths)));
    }
    Rows rows() const {
        Rows rows(bytes.size() / sizeof(std::int32_t));
        if (!rows.empty()) std::memcpy(rows.data(), bytes.data(), bytes.size());
        return rows;
    }

    std::string bytes{};
};

// 0 0, 1 1, 2 2 and so on.
Rows pairsUpTo(std::int32_t count) {
    Rows rows;
    for (std::int32_t n = 0; n < count; ++n) rows.insert(rows.end(), {n, n});
    return rows;
}

TEST(JointOutputs, TakeAFrameWhenEveryPipeHasItsSample) {
    for (const FeedPolicy::Kind kind :
         {FeedPolicy::Kind::pieces, FeedPolicy::Kind::whole, FeedPolicy::Kind::random, FeedPolicy::Kind::lockstep}) {
        TableSession session({.feed = {kind, 7, 5}});
        const PipeId a = session.input("a", countUp(5000), 8), b = session.pipe("b", 3000);
        session.task("ABS", session.input("source", countUp(5000)), b);
        session.table({{a}, {b}});
        EXPECT_EQ(session.run().notes, Lines());
        EXPECT_EQ(session.rows(), pairsUpTo(5000));
    }
}

TEST(JointOutputs, TakeWholeFramesOfInterleavedPipesOverTheEndOfTheirStorage) {
    TableSession session;
    const PipeId three = session.input("three", countUp(3 * 50 + 2), 8), one = session.input("one", countUp(60));
    session.table({{three, 3}, {one}});
    EXPECT_EQ(
        session.run().notes,
        Lines({"`t` has 50 rows, all that `three` has; not written: 2 samples of `three` and 10 samples of `one`"}));
    Rows expected;
    for (std::int32_t n = 0; n < 50; ++n) expected.insert(expected.end(), {3 * n, 3 * n + 1, 3 * n + 2, n});
    EXPECT_EQ(session.rows(), expected);
}

// One task writes 100 samples of each pipe, and then the rest of one before the other's.
TEST(JointOutputs, WhatIsAheadWaitsWhileThereIsMemoryAndThenTheReasonNamesWhoIsBehind) {
    for (const bool isEnough : {true, false}) {
        const std::string rest = isEnough ? "9900" : "1999900";
        TableSession session({.memoryLimit = 3 << 20});
        const PipeId a = session.input("a", countUp(2000000)), early = session.pipe("early");
        const PipeId late = session.pipe("late");
        session.script("open_read:2 open_write:3 open_write:4 100( pipe_get:2 pipe_put:3,$ pipe_put:4,7 ) " + rest +
                           "( move:2,3 ) " + rest + "( pipe_put:4,7 ) exit:0",
                       a, early, late);
        session.table({{late}, {early}});
        const Report report = session.run();
        EXPECT_EQ(session.rows().size(), isEnough ? 20000U : 200U);
        if (isEnough) continue;
        EXPECT_EQ(
            report.reason,
            "the pipe `early` needs more than 262144 elements to keep the procedure moving, and no memory is left "
            "for it; `t` waits for `late`, which is 262144 samples behind `early`");
        EXPECT_EQ(report.remedy, "raise --memory, or write the pipes to files of their own");
    }
}

TEST(JointOutputs, AShortPipeEndsItsTableAndCutsNothingElse) {
    for (const bool copies : {false, true}) {
        TableSession session;
        const PipeId a = session.input("a", countUp(9000), 8), other = session.output("other");
        const PipeId b = session.input("b", countUp(5));
        // The table holds up an input, or a task that has something else to write.
        const PipeId held = copies ? session.pipe("held", 8) : a;
        if (copies)
            session.script("open_read:2 open_write:3 open_write:4 *( pipe_get:2 pipe_put:3,$ pipe_put:4,$ )", a, held,
                           other);
        else
            session.task("ABS", a, other);
        session.table({{held}, {b}});
        EXPECT_EQ(session.run().notes, Lines({"`t` has 5 rows, all that `b` has; not written: 8995 samples of `" +
                                              std::string(copies ? "held`" : "a`")}));
        EXPECT_EQ(session.rows(), pairsUpTo(5));
        EXPECT_EQ(session.collected<std::int32_t>(other), countUp(9000));
    }
}

TEST(JointOutputs, SharePipesWithOtherOutputsAndEndTheRunByTheirLimit) {
    SinkLog own;
    TableSession session;
    const PipeId a = session.pipe("a"), b = session.pipe("b");
    for (const PipeId id : {a, b}) session.script("open_write:2 pipe_put:2,0 *( pipe_put:2,1 )", id);
    session.table({{a}, {b}}, 3);
    session.setOutput(a, std::make_unique<LogSink>(own), 3000);
    EXPECT_EQ(session.run().notes, Lines());
    EXPECT_EQ(session.rows(), Rows({0, 0, 1, 1, 1, 1}));
    EXPECT_EQ(own.elements.size(), 3000U);
}

// A generator and a loop that continues by itself are held up where the input ends.
TEST(JointOutputs, WithoutALimitEndWithTheShortestOfTheirPipes) {
    for (const char* second :
         {"open_write:3 *( pipe_put:3,7 )", "open_read:2 open_write:3 2000( move:2,3 ) *( pipe_put:3,7 )"}) {
        TableSession session;
        const PipeId a = session.input("a", countUp(2000)), b = session.pipe("b");
        session.script(second, a, b);
        session.table({{a}, {b}});
        EXPECT_EQ(session.run().status, Report::Status::ok) << second;
        EXPECT_EQ(session.rows().size(), 4000U) << second;
    }
}

TEST(JointOutputs, ThatNothingWouldEndAreRefusedOrFail) {
    const struct {
        const char* steps;
        const char* reason;
        Report::Status status;
    } cases[] = {
        {"open_write:3 *( pipe_put:3,1 )", "the output of `t` depends on no input, so nothing would end it",
         Report::Status::refused},
        {"open_read:2 open_write:3 100( move:2,3 ) *( pipe_put:3,9 )", "the output of `t` has no limit, and SCRIPT ",
         Report::Status::failed},
    };
    for (const auto& [steps, reason, status] : cases) {
        TableSession session({.patience = 100000});
        const PipeId source = session.input("source", countUp(100)), x = session.pipe("x"), y = session.pipe("y");
        for (const PipeId id : {x, y}) session.script(steps, source, id);
        session.table({{x}, {y}});
        const Report report = session.run();
        EXPECT_EQ(report.status, status);
        EXPECT_TRUE(report.reason.starts_with(reason)) << report.reason;
        EXPECT_EQ(report.channel, "t");
        EXPECT_EQ(report.remedy.substr(0, 50), "give it a limit: `limit N` after its columns" +
                                                   std::string(status == Report::Status::failed ? "; or, " : ""));
    }
}

// The frames of the time that a pausing task waits for come, although a table of them waits for that task.
TEST(JointOutputs, LetTheFramesComeThatAPauseWaitsFor) {
    TableSession session({.block = 16, .rate = 1000});
    const PipeId b = session.pipe("b"), copy = session.pipe("copy", 16);
    session.task("ABS", session.input("a", countUp(5000), 16), copy);
    session.script("open_write:2 3( task_pause:1000 digital_set_bit:1,1 digital_set_bit:1,0 pipe_put:2,1 )", b);
    session.table({{copy}, {b}});
    const Report report = session.run();
    EXPECT_EQ(session.rows(), Rows({0, 1, 1, 1, 2, 1}));
    ASSERT_EQ(report.digital.size(), 6U);
    EXPECT_GE(report.digital[0].frame, 1000U);
}

TEST(JointOutputs, MisuseIsRefused) {
    TableSession session, other;
    const PipeId a = session.pipe("a"), foreign = other.pipe("foreign");
    for (const std::vector<JointMember>& members :
         std::vector<std::vector<JointMember>>{{}, {{a, 0}}, {{a}, {foreign}}})
        EXPECT_THROW(session.table(members), Problem);
    EXPECT_THROW(session.setOutput({.name = "t", .members = {{a}}}, nullptr), Problem);
}

}  // namespace
}  // namespace libzepl
