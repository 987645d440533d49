// Bounded channels must not stop a flow that unbounded ones would let run, and must not grow without need.

#include "tests/support/session_support.h"

namespace libzepl {
namespace {

// One source is split over two paths, and the reader takes `lead` of the first before as many of the second.
struct Split {
    TestSession session;
    PipeId joined;

    Split(std::size_t count, const std::string& lead, SessionOptions options = {}) : session(std::move(options)) {
        const PipeId source = session.input("source", countUp(count));
        const PipeId first = session.pipe("first", 8), second = session.pipe("second", 8);
        joined = session.output("joined");
        session.script("open_read:2 open_write:3 open_write:4 *( pipe_get:2 pipe_put:3,$ pipe_put:4,$ )", source, first,
                       second);
        session.script("open_read:2 open_read:3 open_write:4 *( " + lead + "( pipe_get:2 ) " + lead + "( move:3,4 ) )",
                       first, second, joined);
    }
};

TEST(Growth, APathThatIsNotReadYetDoesNotStopTheOther) {
    Split split(10000, "100");
    split.session.input("unread", countUp(100000));  // must not end the run before a channel grows
    EXPECT_EQ(split.session.run().status, Report::Status::ok);
    EXPECT_EQ(split.session.collected<std::int32_t>(split.joined), countUp(10000));
}

TEST(Growth, TheMemoryLimitEndsItWithTheChannelsName) {
    Split split(2000000, "2000000", {.memoryLimit = 3 << 20});
    const Report report = split.session.run();
    EXPECT_EQ(report.status, Report::Status::failed);
    EXPECT_EQ(
        report.reason,
        "the pipe `second` needs more than 262144 elements to keep the procedure moving, and no memory is left for it");
    EXPECT_EQ(report.remedy, "raise --memory, or let its reader keep pace with its other branch");
}

TEST(Growth, AChainLeadsOverSeveralWriters) {
    TestSession session;
    const PipeId source = session.input("source", countUp(2000));
    const PipeId a = session.pipe("a", 4), b = session.pipe("b", 4), c = session.pipe("c", 4);
    const PipeId late = session.pipe("late", 4), joined = session.output("joined");
    session.script("open_read:2 open_write:3 open_write:4 *( pipe_get:2 pipe_put:4,$ pipe_put:3,$ )", source, a, late);
    session.script("open_read:2 open_write:3 *( move:2,3 )", a, b);
    session.script(
        "open_read:2 open_write:3 pbuf_open:2,4 pbuf_open:3,4 *( pbuf_set_min_cnt:2,0 copy:2,3 task_switch )", b, c);
    session.script("open_read:2 open_read:3 open_write:4 *( 500( pipe_get:2 ) 500( move:3,4 ) )", c, late, joined);
    session.run();
    EXPECT_EQ(session.collected<std::int32_t>(joined), countUp(2000));
}

TEST(Growth, ATriggerGrowsLikeAPipe) {
    TestSession session;
    const PipeId source = session.input("source", countUp(20000)), samples = session.pipe("samples", 8);
    const TriggerId beat = session.addTrigger("beat");
    session.script("open_read:2 open_write:3 open_write:4 *( move:2,3 trigger_updt_put:4,1 )", source, samples, beat);
    session.script("open_read:2 open_read:3 2( 10000( pipe_get:2 ) 10000( trigger_get:3 ) ) ?trigger_get_status:3",
                   samples, beat);
    EXPECT_EQ(session.run().console, Lines({"19999"}));
}

TEST(Growth, AnInputsPipeGrowsWhenOneOfItsReadersHoldsItUp) {
    TestSession session;
    const PipeId source = session.input("source", countUp(1000), 8), copy = session.pipe("copy", 8);
    const PipeId joined = session.output("joined");
    session.script("open_read:2 open_write:3 *( move:2,3 )", source, copy);
    session.script("open_read:2 open_read:3 open_write:4 *( 100( pipe_get:2 ) 100( move:3,4 ) )", copy, source, joined);
    session.run();
    EXPECT_EQ(session.collected<std::int32_t>(joined), countUp(1000));
}

TEST(Growth, AnEventThatComesWithLaterFramesLetsTheFramesCome) {
    TestSession session;
    const PipeId source = session.input("source", countUp(1000), 16);
    const TriggerId beat = session.addTrigger("beat");
    session.setInput(beat, {{.asserts = true, .position = 500}});
    EXPECT_EQ(printed(session, {"open_read:2 open_read:3 ?trigger_get:2 pipe_rem:3,$ ?pipe_get:3"}, beat, source),
              Lines({"500", "500"}));
}

TEST(Growth, ALimitedOutputIsNotStarvedByAPipeThatNobodyReads) {
    TestSession session;
    const PipeId unread = session.pipe("unread"), tone = session.output("tone", 100000);
    session.script(
        "open_write:2 open_write:3 pbuf_open:2,1000 pbuf_open:3,1000 *( fill:2,1000 pbuf_set_cnt:3,1000 pbuf_put:3 )",
        unread, tone);
    session.run();
    EXPECT_EQ(session.collected<std::int32_t>(tone).size(), 100000U);
}

// The reader waits for more of `brief`, and holds `copy` up, but not what goes to the output.
TEST(Growth, AnOutputGetsAllOfAPipeThatAnotherReaderHoldsUp) {
    for (const bool collected : {true, false}) {
        TestSession session;
        const PipeId source = session.input("source", countUp(1000)), brief = session.input("brief", countUp(10));
        const PipeId copy = session.pipe("copy", 8);
        SinkLog log;
        if (collected)
            session.collect(copy);
        else
            session.setOutput(copy, std::make_unique<LogSink>(log));
        session.task("ABS", source, copy);
        session.script("open_read:2 open_read:3 *( pipe_get:3 pipe_get:2 )", copy, brief);
        const Report report = session.run();
        EXPECT_EQ(collected ? session.collected<std::int32_t>(copy) : log.elements, countUp(1000));
        EXPECT_EQ(report.notes, Lines({"SCRIPT (line 2) waits for 1 sample of `brief`, 0 are there",
                                       "SCRIPT (line 2) left 990 samples of `copy` unread"}));
    }
}

TEST(Growth, NothingGrowsForATaskThatStarvesAtAnEndedInput) {
    TestSession session;
    const PipeId source = session.input("source", countUp(20)), copy = session.pipe("copy", 8),
                 held = session.pipe("held", 8);
    session.script("open_read:2 open_write:3 *( move:2,3 )", source, copy);
    session.script("open_write:2 *( pipe_put:2,# )", held);
    session.script("open_read:2 open_read:3 100( pipe_get:2 )", copy, held);
    const Report report = session.run();
    EXPECT_EQ(report.pipes[2].written, 8U);
    EXPECT_EQ(report.notes, Lines({"SCRIPT (line 2) waits for room in `held`",
                                   "SCRIPT (line 3) waits for 1 sample of `copy`, 0 are there"}));
}

}  // namespace
}  // namespace libzepl
