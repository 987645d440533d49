// Virtual time: how it moves, and what tasks see of it.

#include "host/system_info.h"
#include "tests/support/session_support.h"

namespace libzepl {
namespace {

TEST(Time, PausesEndAtTheirFrame) {
    const struct {
        double rate;
        const char* steps;
        Lines lines;
    } cases[] = {
        {1000,
         "task_pause:20 ?pipe_num:2 ?sys_get_time task_pause:5 ?pipe_num:2 ?sys_get_time task_pause:1 ?pipe_num:2",
         {"20", "20000", "25", "25000", "26"}},
        {360, "task_pause:20 ?pipe_num:2 ?sys_get_time", {"7", "7200"}},
        {360, "10( task_pause:20 ) ?pipe_num:2 ?sys_get_time", {"72", "72000"}},
        {360, "task_pause:1000 ?pipe_num:2 ?sys_get_time", {"360", "360000"}},
        {0.5,
         "task_pause:1 ?pipe_num:2 ?sys_get_time task_pause:2000 ?pipe_num:2 ?sys_get_time",
         {"0", "1", "1", "1001"}},
        {1000, "task_pause:0 ?sys_get_time task_pause:5000 ?pipe_num:2 ?sys_get_time", {"3000", "1000", "5003000"}},
    };
    for (const auto& [rate, steps, lines] : cases) {
        TestSession session({.feed = {.piece = 3}, .rate = rate});
        const PipeId source = session.input("source", countUp(1000));
        session.script("open_read:2 *( pipe_get:2 )", source);
        session.script(std::string("open_read:2 ") + steps, source);
        EXPECT_EQ(session.run().console, lines) << steps;
    }
}

TEST(Time, TheClockStartsWhereItIsSetAndWraps) {
    TestSession session({.rate = 1000.0, .startTime = 0xFFFFFFFF});
    session.script("?sys_get_time ?sys_get_info:11 task_pause:1 ?sys_get_time ?sys_get_info:11 digital_set_bit:3,1");
    const Report report = session.run();
    EXPECT_EQ(report.console, Lines({"4294967295", "4294967295", "999", "999"}));
    EXPECT_EQ(report.digital.at(0).frame, 1U);
}

TEST(Time, JumpsToTheNextPauseWhenNothingElseCanMove) {
    TestSession session;
    EXPECT_EQ(printed(session, {"task_pause:5000 ?sys_get_time",
                                "task_pause:1000 ?sys_get_time task_pause:100000 ?sys_get_time"}),
              Lines({"1000000", "5000000", "101000000"}));
}

TEST(Time, JumpsWhileALoopThatNoInputFeedsSpins) {
    TestSession session;
    const PipeId loop = session.loop("loop", {1}), source = session.input("source", countUp(10));
    session.script("open_read:2 open_write:3 *( move:2,3 task_switch )", loop, loop);
    session.script("task_pause:50 ?sys_get_time");
    session.task("ABS", source, session.output("copy"));
    EXPECT_EQ(session.run().console, Lines({"50000"}));
}

TEST(Time, WithoutInputsMovesWithTheFirstLimitedOutput) {
    TestSession session;
    const PipeId tone = session.output("tone", 100), twice = session.output("twice", 200);
    session.script("open_write:2 open_write:3 *( pipe_put:2,1 pipe_put:3,1 pipe_put:3,1 task_switch )", tone, twice);
    session.script("10( task_switch ) ?sys_get_time");
    EXPECT_EQ(session.run().console, Lines({"10000"}));
}

TEST(Time, WithoutInputsPausesEndWithinWhatIsPutAtOnce) {
    TestSession session;
    const PipeId tone = session.output("tone", 5000);
    session.script("open_write:2 pbuf_open:2,1000 *( fill:2,1000 )", tone);
    session.script("task_pause:20 ?sys_get_time task_pause:5 ?sys_get_time task_pause:4000 ?sys_get_time");
    EXPECT_EQ(session.run().console, Lines({"20000", "25000", "4025000"}));
}

// The reader of the frames waits for a task that pauses, and their pipe is full before the pause ends.
TEST(Time, FramesCatchUpWithAJump) {
    TestSession session;
    const PipeId source = session.input("source", countUp(1000), 10), start = session.pipe("start");
    const std::int16_t none = 0;
    const VariableId flag = session.addVariable("flag", ElementType::int16, &none);
    session.script("open_read:2 open_read:3 pipe_get:3 *( pipe_get:2 )", source, start);
    session.script("open_write:2 task_pause:100 pipe_put:2,1", start);
    session.task("PCASSERT", flag, session.addTrigger("mark"));
    EXPECT_EQ(session.run().triggers[0].status, 1000U);
}

TEST(Time, SelectorsAnswerWhatIsSetOrStandard) {
    const char* steps =
        "?sys_get_info:4 ?sys_get_info:14 ?sys_get_info:17 ?sys_get_info:30 ?sys_get_info:99 ?sys_get_info:15 "
        "open_read:2 pipe_get:2 ?sys_get_info:15";
    const auto answers = [&](SessionOptions options) {
        TestSession session(std::move(options));
        return printed(session, {steps}, session.input("source", countUp(10)));
    };
    EXPECT_EQ(answers({}), Lines({"0", "1000", "1024", "1", "0", "0", "1"}));
    EXPECT_EQ(answers({.block = 64, .info = {{4, 9}, {99, 3}, {15, 5}}}),
              Lines({"9", "1000", "64", "1", "3", "5", "5"}));
    EXPECT_EQ(answers({.feed = {.kind = FeedPolicy::Kind::whole}, .info = {{14, 1}, {30, 0}, {17, 7}}}),
              Lines({"0", "1", "7", "0", "0", "1", "1"}));
}

TEST(Time, WithoutInputsTheClockRunsFromTheSetUpsOn) {
    TestSession session;
    EXPECT_EQ(printed(session, {"?sys_get_info:15 task_switch ?sys_get_info:15"}), Lines({"0", "1"}));
}

TEST(Time, TicksOfTheRealClockAreNanoseconds) {
    EXPECT_EQ(zepl::u64UsToSysTicks(1, 0), 1000U);
    EXPECT_EQ(zepl::u64UsToSysTicks(1, 2), ((std::uint64_t{2} << 32) + 1) * 1000);
}

}  // namespace
}  // namespace libzepl
