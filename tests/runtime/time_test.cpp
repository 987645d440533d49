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
        {1000, "pause:20 ?num:2 ?time pause:5 ?num:2 ?time pause:1 ?num:2", {"20", "20000", "25", "25000", "26"}},
        {360, "pause:20 ?num:2 ?time", {"7", "7200"}},
        {360, "10( pause:20 ) ?num:2 ?time", {"72", "72000"}},
        {360, "pause:1000 ?num:2 ?time", {"360", "360000"}},
        {0.5, "pause:1 ?num:2 ?time pause:2000 ?num:2 ?time", {"0", "1", "1", "1001"}},
        {1000, "pause:0 ?time pause:5000 ?num:2 ?time", {"3000", "1000", "5003000"}},
    };
    for (const auto& [rate, steps, lines] : cases) {
        TestSession session({.feed = {.piece = 3}, .rate = rate});
        const PipeId source = session.input("source", countUp(1000));
        session.script("read:2 *( get:2 )", source);
        session.script(std::string("read:2 ") + steps, source);
        EXPECT_EQ(session.run().console, lines) << steps;
    }
}

TEST(Time, TheClockStartsWhereItIsSetAndWraps) {
    TestSession session({.rate = 1000.0, .startTime = 0xFFFFFFFF});
    session.script("?time ?info:11 pause:1 ?time ?info:11 bit:3,1");
    const Report report = session.run();
    EXPECT_EQ(report.console, Lines({"4294967295", "4294967295", "999", "999"}));
    EXPECT_EQ(report.digital.at(0).frame, 1U);
}

TEST(Time, JumpsToTheNextPauseWhenNothingElseCanMove) {
    TestSession session;
    EXPECT_EQ(printed(session, {"pause:5000 ?time", "pause:1000 ?time pause:100000 ?time"}),
              Lines({"1000000", "5000000", "101000000"}));
}

TEST(Time, JumpsWhileALoopThatNoInputFeedsSpins) {
    TestSession session;
    const PipeId loop = session.loop("loop", {1}), source = session.input("source", countUp(10));
    session.script("read:2 write:3 *( move:2,3 switch )", loop, loop);
    session.script("pause:50 ?time");
    session.task("ABS", source, session.output("copy"));
    EXPECT_EQ(session.run().console, Lines({"50000"}));
}

TEST(Time, WithoutInputsMovesWithTheFirstLimitedOutput) {
    TestSession session;
    const PipeId tone = session.output("tone", 100), twice = session.output("twice", 200);
    session.script("write:2 write:3 *( put:2,1 put:3,1 put:3,1 switch )", tone, twice);
    session.script("10( switch ) ?time");
    EXPECT_EQ(session.run().console, Lines({"10000"}));
}

TEST(Time, WithoutInputsPausesEndWithinWhatIsPutAtOnce) {
    TestSession session;
    const PipeId tone = session.output("tone", 5000);
    session.script("write:2 block:2,1000 *( fill:2,1000 )", tone);
    session.script("pause:20 ?time pause:5 ?time pause:4000 ?time");
    EXPECT_EQ(session.run().console, Lines({"20000", "25000", "4025000"}));
}

// The reader of the frames waits for a task that pauses, and their pipe is full before the pause ends.
TEST(Time, FramesCatchUpWithAJump) {
    TestSession session;
    const PipeId source = session.input("source", countUp(1000), 10), start = session.pipe("start");
    const std::int16_t none = 0;
    const VariableId flag = session.addVariable("flag", ElementType::int16, &none);
    session.script("read:2 read:3 get:3 *( get:2 )", source, start);
    session.script("write:2 pause:100 put:2,1", start);
    session.task("PCASSERT", flag, session.addTrigger("mark"));
    EXPECT_EQ(session.run().triggers[0].status, 1000U);
}

TEST(Time, SelectorsAnswerWhatIsSetOrStandard) {
    const char* steps = "?info:4 ?info:14 ?info:17 ?info:30 ?info:99 ?info:15 read:2 get:2 ?info:15";
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
    EXPECT_EQ(printed(session, {"?info:15 switch ?info:15"}), Lines({"0", "1"}));
}

TEST(Time, TicksOfTheRealClockAreNanoseconds) {
    EXPECT_EQ(zepl::u64UsToSysTicks(1, 0), 1000U);
    EXPECT_EQ(zepl::u64UsToSysTicks(1, 2), ((std::uint64_t{2} << 32) + 1) * 1000);
}

}  // namespace
}  // namespace libzepl
