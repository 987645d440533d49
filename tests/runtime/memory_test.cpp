// What tasks allocate, and the session's limit.

#include "runtime/base/memory.h"
#include "tests/support/session_support.h"

namespace libzepl {
namespace {

constexpr std::uint64_t limit = 8 << 20;

TEST(Memory, IsZeroedAndAlignedForEachTaskAnew) {
    const std::string steps = "?ralloc:1 ?ralloc:63 ?ralloc:64 ?ralloc:65 ?ralloc:0 ?ralloc:100000 ?ralloc:7";
    TestSession session;
    session.script(steps + " exit:0");
    session.script("task_switch " + steps);
    EXPECT_EQ(session.run().console, Lines(14, "1"));
}

TEST(Memory, TheLimitEndsTheRunWithTheTaskAndTheRequest) {
    const struct {
        const char* steps;
        const char* what;
    } cases[] = {
        {"ralloc:9000000", "9000000 bytes"},
        {"*( ralloc:1000000 task_switch )", "1000000 bytes"},
        {"*( malloc:1000000 )", "1000000 bytes"},
        {"malloc:0x7FFFFFFFFFFFFFFF", "9223372036854775807 bytes"},
        {"ralloc:-1", "18446744073709551615 bytes"},
        {"open_read:2 pbuf_open:2,3000000", "a buffer of 12000000 bytes"},
        {"open_write:2 pipe_put:2,1 open_read:3 pipe_num_complete:3,5000000", "the pipe `written` of 5000000 elements"},
        {"open_write:3 pipe_put:3,1", "the pipe `huge`"},
    };
    for (const auto& [steps, what] : cases) {
        TestSession session({.memoryLimit = limit});
        const PipeId written = session.pipe("written"), huge = session.pipe("huge", 2000000);
        session.script(steps, written, std::string_view(steps).starts_with("open_write:2") ? written : huge);
        const Report report = session.run();
        EXPECT_EQ(report.tasks[0].text, std::string("memory ran out at ") + what + ": the limit is 8388608 bytes");
        EXPECT_EQ(report.tasks[0].remedy, "ask for less, or raise the limit with --memory");
        EXPECT_EQ(statesOf(report)[0], "fault");
        EXPECT_EQ(report.status, Report::Status::failed);
    }
}

TEST(Memory, RequestsCountInWhole64s) {
    for (const std::uint64_t whole : std::initializer_list<std::uint64_t>{64, 128, 65536}) {
        EXPECT_EQ(costOf(whole - 63), costOf(whole)) << whole;
        EXPECT_EQ(costOf(whole + 1), costOf(whole) + 64) << whole;
    }
}

// Many small things must come to the session's limit before they come to the machine's.
TEST(Memory, SmallThingsCountWithAllThatTheyTake) {
    for (const std::string things :
         {"50000( malloc:0 )", "50000( malloc:1 )", "50000( malloc:65 )", "9000( malloc:1000 )", "100( malloc:140000 )",
          "300000( ralloc:1 )", "2000( ralloc:9000 )", "200000( pbuf_open:2,0 )", "300000( digital_set_bit:1,1 )"}) {
        Lines printed;
        const auto run = [&](std::uint64_t most) {
            TestSession session({.memoryLimit = most});
            session.script("open_read:2 ?heap " + things + " ?heap exit:0", session.input("source", countUp(1)));
            const Report report = session.run();
            printed = report.console;
            return report.tasks[0].text;
        };
        EXPECT_EQ(run(std::uint64_t{8} << 30), "ended itself with code 0");
        const std::int64_t taken = std::stoll(printed.at(1)) - std::stoll(printed.at(0));
        if (taken == 0) GTEST_SKIP() << "an instrumented allocator does not say what it has given";
        // The stack and the record of the task come on top.
        const std::string text = run(static_cast<std::uint64_t>(taken) + 270000);
        EXPECT_TRUE(text.starts_with("memory ran out at ")) << things << ": " << text << ", " << taken;
    }
}

TEST(Memory, WhatASessionKeepsCountsToo) {
    const auto collects = [](TestSession& session) {
        const PipeId source = session.input("source", countUp(4000000)), copy = session.output("copy", 4000000);
        session.task("ABS", source, copy);
    };
    TestSession session({.memoryLimit = limit});
    collects(session);
    EXPECT_EQ(session.run().reason, "no memory is left for what is to be collected");
    TestSession printing({.memoryLimit = limit});
    printing.script("*( printf:1 )");
    EXPECT_EQ(printing.run().tasks[0].text, "memory ran out at what it prints: the limit is 8388608 bytes");
    TestSession many({.memoryLimit = limit});
    EXPECT_THROW(for (int i = 0; i < 4000; ++i) many.task("ABS", textConstant("x")), Problem);
    EXPECT_THROW(many.setInput(many.addTrigger("rows"), std::vector<TriggerRow>(2000000)), Problem);
}

TEST(Memory, ComesBackWhenItIsFreedOrTheTaskEnds) {
    TestSession session({.memoryLimit = limit});
    session.script("100( malloc:3000000 free:$ ) ralloc:3000000 malloc:2000000 exit:1");
    session.script("task_switch 100( malloc:3000000 free:$ ) ralloc:3000000 malloc:2000000 RaiseException:0xC0000094");
    session.script("2( task_switch ) ralloc:5000000 exit:2");
    const Report report = session.run();
    EXPECT_EQ(statesOf(report), Lines({"exited exit 1", "fault code 3221225620", "exited exit 2"}));
}

TEST(Memory, NoTaskStartsWhenThereIsNoRoomForEveryStack) {
    TestSession session({.memoryLimit = limit});
    SinkLog log;
    session.setOutput(session.pipe("dropped"), std::make_unique<LogSink>(log));
    for (int i = 0; i < 33; ++i) session.script("printf:1");
    const Report report = session.run();
    EXPECT_EQ(report.status, Report::Status::failed);
    EXPECT_EQ(report.console, Lines());
    std::size_t stacks = 0;
    while (report.tasks.at(stacks).state != State::fault) ++stacks;
    const TaskReport& failed = report.tasks[stacks];
    EXPECT_TRUE(failed.text.starts_with("memory ran out at its stack: the limit is 8388608 bytes, and the stacks of " +
                                        std::to_string(stacks) + " tasks hold "))
        << failed.text;
    EXPECT_EQ(failed.remedy, "use fewer tasks, or raise the limit with --memory");
    EXPECT_FALSE(report.outputsFinished);
    EXPECT_EQ(log.finished, 0);
}

}  // namespace
}  // namespace libzepl
