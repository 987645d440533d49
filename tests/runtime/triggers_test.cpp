// Triggers: events, status, and waiting for either.

#include "tests/support/session_support.h"

namespace libzepl {
namespace {

constexpr std::uint32_t top = 0xFFFFFFFF;

TEST(Triggers, EveryReaderSeesAllEventsAndTheStatus) {
    const struct {
        std::initializer_list<const char*> scripts;
        Lines lines;
    } cases[] = {
        // every reader has all events, also those before it opened
        {{"open_write:2 trigger_put:2,5 trigger_put:2,9 task_switch trigger_put:2,12",
          "open_read:2 open_read:3 ?trigger_get:2 ?trigger_num:2 ?trigger_num:3 ?trigger_get:3",
          "open_read:2 3( task_switch ) ?trigger_num:2 3( trigger_get:2 ) ?trigger_get_immediate:2"},
         {"5", "1", "2", "5", "3", "-9999999988"}},
        // an event is distinguished from a status
        {{"open_write:2 task_switch trigger_put:2,7 trigger_set_status:2,9",
          "open_read:2 ?trigger_get_immediate:2 task_switch ?trigger_get_immediate:2 ?trigger_get_immediate:2"},
         {"-5705032705", "7", "-9999999991"}},
        // an event may come before its samples
        {{"open_write:2 trigger_put:2,50", "open_read:2 open_read:4 ?trigger_wait:2,4 ?pipe_get:4"}, {"50", "50"}},
        // what a reader vouches changes nothing
        {{"open_write:2 trigger_put:2,5 trigger_put:2,6",
          "open_read:2 trigger_set_status:2,500 trigger_updt_status:2,30 ?trigger_get_status:2 ?trigger_num:2 "
          "?trigger_get:2"},
         {"6", "2", "5"}},
    };
    for (const auto& [scripts, lines] : cases) {
        TestSession session;
        const TriggerId beat = session.addTrigger("beat");
        EXPECT_EQ(printed(session, scripts, beat, beat, session.input("samples", countUp(100), 8)), lines);
    }
}

TEST(Triggers, StatusAndEventsFollowTheWriter) {
    const struct {
        const char* steps;
        std::uint32_t status;
        std::vector<std::uint32_t> events;
    } cases[] = {
        {"", top, {}},
        {"trigger_updt_put:2,1", 0, {0}},
        {"trigger_updt_status:2,10 trigger_updt_put:2,5 trigger_updt_status:2,1", 15, {14}},
        {"trigger_set_status:2,100 trigger_set_status:2,50 trigger_set_status:2,100", 100, {}},
        {"trigger_set_status:2,100 trigger_put:2,7 trigger_updt_put:2,1", 101, {7, 101}},
        {"trigger_put:2,7 trigger_put:2,7", 7, {7, 7}},
        {"trigger_set_status:2,0x7FFFFFFF", top, {}},
        {"trigger_set_status:2,0x7FFFFFFE", 0x7FFFFFFE, {}},
        {"trigger_set_status:2,0x7FFFFFF0 trigger_set_status:2,0xE0000000 trigger_set_status:2,0xFFFFFFFE 3( "
         "trigger_updt_put:2,1 )",
         1,
         {top, 0, 1}},
        {"trigger_set_status:2,0x7FFFFFF0 trigger_set_status:2,0xF0000000 trigger_put:2,5 "
         "trigger_set_status:2,0xFFFFFFF5",
         5,
         {5}},
        {"trigger_updt_status:2,0 trigger_updt_put:2,0", top, {top}},
    };
    for (const auto& [steps, status, events] : cases) {
        TestSession session;
        const TriggerId beat = session.addTrigger("beat");
        session.collect(beat, 99);
        session.script(std::string("open_write:2 ") + steps + " ?trigger_get_status:2", beat);
        session.script("open_read:2 3( task_switch ) ?trigger_get_status:2", beat);
        const Report report = session.run();
        EXPECT_EQ(report.console, Lines(2, std::to_string(status))) << steps;
        EXPECT_EQ(session.collectedEvents(beat), events) << steps;
        EXPECT_EQ(report.triggers[0].asserted, events.size());
        EXPECT_EQ(report.triggers[0].status, status);
    }
}

TEST(Triggers, AWriterWaitsWhenTheSlowestReaderHas4096Unread) {
    TestSession session;
    const TriggerId beat = session.addTrigger("beat");
    session.script(
        "open_write:2 4096( trigger_updt_put:2,1 ) trigger_set_status:2,9999 printf:1 *( trigger_updt_put:2,1 )", beat);
    session.script("open_read:2 6( task_switch ) ?trigger_num:2 trigger_get:2 5( task_switch ) ?trigger_num:2", beat);
    const Report report = session.run();
    EXPECT_EQ(report.console, Lines({"1", "4096", "4096"}));
    EXPECT_EQ(report.triggers[0].asserted, 4097U);
}

TEST(Triggers, WaitRemovesTheSamplesBeforeTheEvent) {
    const struct {
        const char* steps;
        std::vector<TriggerRow> events;
        Lines lines;
    } cases[] = {
        {"open_read:2 open_read:3 ?trigger_wait:2,3 ?pipe_get:3 ?trigger_wait:2,3 ?pipe_get:3",
         {{true, 10}, {true, 60}},
         {"10", "10", "60", "60"}},
        {"open_read:2 open_read:3 ?trigger_wait:2,3 ?pipe_get:3", {{true, 0}}, {"0", "0"}},
        {"open_read:2 open_read:3 5( pipe_get:3 ) ?trigger_wait:2,3 ?pipe_get:3 ?trigger_wait:2,3 ?pipe_get:3",
         {{true, 3}, {true, 6}},
         {"3", "5", "6", "6"}},
        {"open_read:2 open_read:3 ?trigger_wait:2,3 ?trigger_wait:2,3 ?pipe_get:3",
         {{true, 20}, {true, 10}},
         {"20", "10", "20"}},
        {"open_read:2 open_read:3 ?trigger_wait:2,3 ?pipe_get:3", {{true, top}}, {"4294967295", "0"}},
    };
    for (const auto& [steps, events, lines] : cases) {
        TestSession session;
        const TriggerId beat = session.addTrigger("beat");
        session.setInput(beat, events);
        EXPECT_EQ(printed(session, {steps}, beat, session.input("samples", countUp(100), 8)), lines) << steps;
    }
}

TEST(Triggers, WaitRemovesUpToTheStatusWhileNoEventComes) {
    TestSession session;
    const PipeId samples = session.input("samples", countUp(100));
    const TriggerId quiet = session.addTrigger("quiet");
    session.script("open_write:2 trigger_set_status:2,49", quiet);
    session.script("open_read:2 open_read:3 trigger_wait:2,3", quiet, samples);
    const Report report = session.run();
    EXPECT_EQ(report.pipes[0].unread, 50U);
    EXPECT_EQ(statesOf(report)[1], "waiting");
    EXPECT_EQ(report.notes, Lines({"SCRIPT (line 2) waits for an event of `quiet`",
                                   "SCRIPT (line 2) left 50 samples of `samples` unread"}));
}

TEST(Triggers, AQuietTriggerDamsNothingUp) {
    TestSession session;
    const PipeId samples = session.input("samples", countUp(10000), 16);
    const TriggerId quiet = session.addTrigger("quiet");
    session.script("open_read:2 open_read:3 trigger_wait:2,3", quiet, samples);
    session.script("open_write:2 open_read:3 *( pipe_get:3 trigger_updt_status:2,1 )", quiet, samples);
    const Report report = session.run();
    EXPECT_EQ(report.pipes[0].written, 10000U);
    EXPECT_EQ(report.pipes[0].unread, 0U);
}

TEST(Triggers, ModeAndPropertiesAreZeroUnlessSet) {
    TestSession session;
    const TriggerId plain = session.addTrigger("plain"), set = session.addTrigger("set");
    session.setTriggerMode(set, 5);
    session.setTriggerProperty(set, 3, 7);
    session.script(
        "?trigger_get_opmode:2 ?trigger_get_property:2,3 ?trigger_get_opmode:3 ?trigger_get_property:3,1 "
        "?trigger_get_property:3,3",
        plain, set);
    EXPECT_EQ(session.run().console, Lines({"0", "0", "5", "0", "7"}));
}

}  // namespace
}  // namespace libzepl
