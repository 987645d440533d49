// How runs end: each of these would go on for ever, or end too soon, if its rule failed.

#include "tests/support/session_support.h"

namespace libzepl {
namespace {

TEST(Ends, WhenEveryOutputHasItsCount) {
    TestSession session;
    const PipeId source = session.input("source", countUp(100000));
    const PipeId small = session.output("small", 10), large = session.output("large", 5000);
    const TriggerId beat = session.addTrigger("beat");
    session.collect(beat, 3);
    session.task("ABS", source, small);
    session.task("ABS", source, large);
    session.script("open_write:2 *( trigger_updt_put:2,10 )", beat);
    const Report report = session.run();
    EXPECT_EQ(session.collectedEvents(beat), std::vector<std::uint32_t>({9, 19, 29}));
    EXPECT_EQ(session.collected<std::int32_t>(small), countUp(10));
    EXPECT_EQ(session.collected<std::int32_t>(large), countUp(5000));
    EXPECT_LT(report.pipes[0].written, 20000U);
}

TEST(Ends, WhatGoesOnByItselfEndsWithTheInputsAndIsNamed) {
    const std::string named = "SCRIPT (line 1) was still running by itself when the inputs had ended";
    const struct {
        const char* steps;
        Lines notes;
    } cases[] = {
        {"open_write:3 *( pipe_put:3,1 )", {"nobody reads `unread`"}},
        {"open_write:3 *( pipe_put:3,1 task_switch )", {"nobody reads `unread`"}},
        {"open_read:2 open_write:3 *( move:2,3 task_switch )", {named}},  // a loop, from its starts
        {"open_read:2 open_write:3 open_read:5 pipe_get:5 *( move:2,3 task_switch )",
         {named, "SCRIPT (line 1) left 4999 samples of `source` unread"}},
        {"open_write:4 *( trigger_updt_put:4,1 )", {"nobody reads `unheard`"}},
        {"open_write:4 *( trigger_updt_put:4,1 task_switch )", {"nobody reads `unheard`"}},
        {"open_write:4 *( trigger_updt_status:4,1 task_switch )", {"nobody reads `unheard`"}},
        {"*( task_pause:20 )", {named}},
        {"*( digital_set_bit:1,1 task_switch )", {named}},
        {"*( task_switch )", {}},  // changes nothing
    };
    for (const auto& [steps, notes] : cases) {
        TestSession session;
        const PipeId source = session.input("source", countUp(5000)), copy = session.output("copy");
        const PipeId loop = session.loop("loop", {1, 2});
        session.script(steps, loop, std::string(steps).starts_with("open_read") ? loop : session.pipe("unread"),
                       session.addTrigger("unheard"), source);
        session.task("ABS", source, copy);
        EXPECT_EQ(session.run().notes, notes) << steps;
        EXPECT_EQ(session.collected<std::int32_t>(copy), countUp(5000)) << steps;
    }
}

TEST(Ends, WhatOnlyPollsIsNotNamedBesideWhatGoesOn) {
    TestSession session;
    const PipeId source = session.input("source", countUp(500)), ring = session.loop("ring", {1});
    session.script("open_read:2 open_write:3 *( move:2,3 task_switch )", ring, ring);
    session.script("open_read:2 *( task_switch )", source);
    session.script("open_read:2 open_write:3 *( move:2,3 )", session.loop("there", {1}), session.pipe("back"));
    EXPECT_EQ(session.run().notes, Lines({"SCRIPT (line 1) was still running by itself when the inputs had ended",
                                          "SCRIPT (line 2) left 500 samples of `source` unread"}));
}

TEST(Ends, AGeneratorDoesNotKeepARunGoingForAnOutputThatDependsOnAnother) {
    TestSession session;
    const PipeId tone = session.pipe("tone", 8), brief = session.output("brief", 10);
    const TriggerId never = session.addTrigger("never");
    session.collect(never, 5);
    session.script("open_write:2 *( pipe_put:2,1 )", tone);
    session.task("ABS", tone, session.pipe("copy", 8));
    session.task("ABS", tone, session.output("enough", 30));
    session.script("open_write:2 *( task_switch )", never);
    session.script("open_write:2 3( pipe_put:2,# )", brief);
    const Report report = session.run();
    EXPECT_EQ(report.status, Report::Status::ok);
    EXPECT_EQ(report.notes, Lines({"SCRIPT (line 1) was still running by itself when nothing more could come of it",
                                   "ABS (line 2) was still running by itself when nothing more could come of it",
                                   "ABS (line 3) was still running by itself when nothing more could come of it",
                                   "the output of `brief` has 3 samples of the 10 asked for",
                                   "the output of `never` has 0 events of the 5 asked for"}));
}

TEST(Ends, EventsThatComeWithHeldUpFramesKeepNoRunGoing) {
    TestSession session;
    const PipeId source = session.input("source", countUp(1000), 16);
    session.setInput(session.addTrigger("beat"), {{.asserts = true, .position = 500}});
    session.script("open_read:2", source);
    const Report report = session.run();
    EXPECT_EQ(report.pipes[0].written, 16U);
    EXPECT_EQ(report.triggers[0].asserted, 0U);
    EXPECT_EQ(report.notes, Lines({"SCRIPT (line 1) left 16 samples of `source` unread",
                                   "the input of `source` was held up after 16 of its 1000 samples",
                                   "the input of `beat` was held up after 0 of its 1 rows", "nobody reads `beat`"}));
}

TEST(Ends, AnOutputThatDependsOnNoInputNeedsALimit) {
    TestSession session;
    const PipeId tone = session.pipe("tone");
    session.task("ABS", session.input("source", countUp(10)), session.output("fed"));
    session.script("open_write:2 *( pipe_put:2,1 )", tone);
    session.task("ABS", tone, session.output("louder"));
    const Report report = session.run();
    EXPECT_EQ(report.status, Report::Status::refused);
    EXPECT_EQ(report.reason, "the output of `louder` depends on no input, so nothing would end it");
    EXPECT_EQ(report.remedy, "give it a limit: to FILE limit N");
}

TEST(Ends, AnOutputWhoseWriterHasEndedNeedsNoLimit) {
    for (const auto kind : {FeedPolicy::Kind::pieces, FeedPolicy::Kind::whole}) {
        const bool whole = kind == FeedPolicy::Kind::whole;
        TestSession session({.feed = {.kind = kind}});
        const PipeId middle = session.pipe("middle"), result = session.output("result");
        session.script(
            std::string("open_read:2 open_write:3 ") + (whole ? "3( move:2,3 ) " : "") + "RaiseException:0xC0000094",
            session.input("source", countUp(10)), middle);
        session.task("ABS", middle, result);
        EXPECT_EQ(session.run().status, Report::Status::failed);
        EXPECT_EQ(session.collected<std::int32_t>(result), countUp(whole ? 3 : 0));
    }
}

TEST(Ends, AReaderThatWaitsForVeryMuchGetsIt) {
    TestSession session;
    const PipeId source = session.input("source", countUp(1)), much = session.pipe("much");
    session.script("open_read:2 open_write:3 pipe_get:2 150000( pipe_put:3,7 task_switch )", source, much);
    session.script("open_read:2 pbuf_open:2,150000 pbuf_set_min_cnt:2,150000 ?pbuf_get:2", much);
    EXPECT_EQ(session.run().console, Lines({"150000"}));
}

// The reader's takes and what the session keeps end with the patience for the writer, which only took once.
TEST(Ends, AHoldThatWritesMoreThanThePatienceFails) {
    for (const bool read : {true, false}) {
        TestSession session({.patience = 2000});
        const PipeId source = session.input("source", countUp(1)), held = session.pipe("held");
        const PipeId result = read ? session.output("result") : held;
        if (!read) session.collect(held);
        session.script("open_read:2 open_write:3 pipe_get:2 *( pipe_put:3,7 task_switch )", source, held);
        if (read) session.task("ABS", held, result);
        const Report report = session.run();
        EXPECT_EQ(report.status, Report::Status::failed);
        EXPECT_TRUE(report.outputsFinished);
        EXPECT_EQ(report.channel, read ? "result" : "held");
        const std::size_t count = session.collected<std::int32_t>(result).size();
        EXPECT_TRUE(count >= 2000 && count < 4000) << count;
    }
}

TEST(Ends, AGeneratorThatGivesLittleInARoundIsServedBesideAShortRecording) {
    TestSession session;
    const PipeId copy = session.output("copy"), tone = session.output("tone", 300000);
    session.task("ABS", session.input("source", countUp(10)), copy);
    session.script("open_write:2 *( pipe_put:2,# task_switch )", tone);
    EXPECT_EQ(session.run().notes, Lines());
    EXPECT_EQ(session.collected<std::int32_t>(copy), countUp(10));
    EXPECT_EQ(session.collected<std::int32_t>(tone), countUp(300000));
}

// A task that takes all of an input, value by value, and then goes round for ever with what it holds itself.
std::uint64_t roundsOfALoop(bool alone) {
    TestSession session({.feed = {.kind = FeedPolicy::Kind::whole}});
    const PipeId source = session.input("source", countUp(1000)), ring = session.loop("ring", {1});
    session.script("open_read:2 open_read:3 open_write:4 1000( pipe_get:2 task_switch ) *( move:3,4 task_switch )",
                   source, ring, ring);
    if (!alone) session.script("*( task_switch )");
    return session.run().pipes[1].written;
}

TEST(Ends, ALoopEndsAloneAsItEndsBesideAnotherTask) { EXPECT_EQ(roundsOfALoop(true), roundsOfALoop(false)); }

TEST(Ends, AStopRequestEndsALongTurnAndKeepsTheOutputs) {
    Session* running = nullptr;
    std::string console;
    const auto stop = [&](std::string_view text) {
        console += text;
        running->requestStop();
    };
    TestSession session({.feed = {.kind = FeedPolicy::Kind::whole}, .console = stop});
    running = &session;
    const PipeId source = session.input("source", countUp(10000));
    SinkLog log;
    session.setOutput(source, std::make_unique<LogSink>(log));
    session.script("open_read:2 100( pipe_get:2 task_switch ) printf:1 *( pipe_get:2 task_switch )", source);
    const Report report = session.run();
    EXPECT_GT(report.pipes[0].unread, 9000U);
    EXPECT_EQ(report.status, Report::Status::interrupted);
    EXPECT_EQ(report.notes[0], "the run was stopped on request");
    EXPECT_EQ(log.elements, countUp(10000));
    EXPECT_EQ(log.finished, 1);
    EXPECT_EQ(console, "1\n");
}

TEST(Ends, AfterTheSetUpsWhereNoMoreIsAsked) {
    TestSession session({.setUpOnly = true});
    const PipeId copy = session.pipe("copy");
    SinkLog log;
    session.setOutput(copy, std::make_unique<LogSink>(log));
    session.task("ABS", session.input("source", countUp(10)), copy);
    const Report report = session.run();
    EXPECT_EQ(report.status, Report::Status::ok);
    EXPECT_EQ(report.pipes[1].written, 0U);
    EXPECT_EQ(log.finished, 0);
}

}  // namespace
}  // namespace libzepl
