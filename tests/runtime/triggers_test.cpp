// Triggers: events, status, and waiting for either.

#include "tests/support/session_support.h"

namespace libzepl {
namespace {

constexpr std::uint32_t top = 0xFFFFFFFF;

TEST(Triggers, EveryReaderHasAllEventsAlsoThoseBeforeItOpened) {
    TestSession session;
    const TriggerId beat = session.addTrigger("beat");
    session.script("write:2 assert:2,5 assert:2,9 switch assert:2,12", beat);
    session.script("read:2 read:3 ?event:2 ?events:2 ?events:3 ?event:3", beat, beat);
    session.script("read:2 3( switch ) ?events:2 3( event:2 ) ?immediate:2", beat);
    EXPECT_EQ(session.run().console, Lines({"5", "1", "2", "5", "3", std::to_string(12 - 10'000'000'000)}));
}

TEST(Triggers, StatusAndEventsFollowTheWriter) {
    const struct {
        const char* steps;
        std::uint32_t status;
        std::vector<std::uint32_t> events;
    } cases[] = {
        {"", top, {}},
        {"assertafter:2,1", 0, {0}},
        {"vouchafter:2,10 assertafter:2,5 vouchafter:2,1", 15, {14}},
        {"vouch:2,100 vouch:2,50 vouch:2,100", 100, {}},
        {"vouch:2,100 assert:2,7 assertafter:2,1", 101, {7, 101}},
        {"assert:2,7 assert:2,7", 7, {7, 7}},
        {"vouch:2,0x7FFFFFFF", top, {}},
        {"vouch:2,0x7FFFFFFE", 0x7FFFFFFE, {}},
        {"vouch:2,0x7FFFFFF0 vouch:2,0xE0000000 vouch:2,0xFFFFFFFE 3( assertafter:2,1 )", 1, {top, 0, 1}},
        {"vouch:2,0x7FFFFFF0 vouch:2,0xF0000000 assert:2,5 vouch:2,0xFFFFFFF5", 5, {5}},
        {"vouchafter:2,0 assertafter:2,0", top, {top}},
    };
    for (const auto& [steps, status, events] : cases) {
        TestSession session;
        const TriggerId beat = session.addTrigger("beat");
        session.collect(beat, 99);
        session.script(std::string("write:2 ") + steps + " ?status:2", beat);
        session.script("read:2 3( switch ) ?status:2", beat);
        const Report report = session.run();
        EXPECT_EQ(report.console, Lines(2, std::to_string(status))) << steps;
        EXPECT_EQ(session.collectedEvents(beat), events) << steps;
        EXPECT_EQ(report.triggers[0].asserted, events.size());
        EXPECT_EQ(report.triggers[0].status, status);
    }
}

TEST(Triggers, GetImmediateTellsAnEventFromTheStatus) {
    TestSession session;
    const TriggerId beat = session.addTrigger("beat");
    session.script("write:2 switch assert:2,7 vouch:2,9", beat);
    session.script("read:2 ?immediate:2 switch ?immediate:2 ?immediate:2", beat);
    EXPECT_EQ(session.run().console,
              Lines({std::to_string(top - 10'000'000'000), "7", std::to_string(9 - 10'000'000'000)}));
}

TEST(Triggers, WhatAReaderVouchesChangesNothing) {
    TestSession session;
    const TriggerId beat = session.addTrigger("beat");
    session.script("write:2 assert:2,5 assert:2,6", beat);
    session.script("read:2 vouch:2,500 vouchafter:2,30 ?status:2 ?events:2 ?event:2", beat);
    EXPECT_EQ(session.run().console, Lines({"6", "2", "5"}));
}

TEST(Triggers, AWriterWaitsWhenTheSlowestReaderHas4096Unread) {
    TestSession session;
    const TriggerId beat = session.addTrigger("beat");
    session.script("write:2 4096( assertafter:2,1 ) vouch:2,9999 say:1 *( assertafter:2,1 )", beat);
    session.script("read:2 6( switch ) ?events:2 event:2 5( switch ) ?events:2", beat);
    const Report report = session.run();
    EXPECT_EQ(report.console, Lines({"1", "4096", "4096"}));
    EXPECT_EQ(report.triggers[0].asserted, 4097U);
}

// `steps` beside the samples 0 to 99 (at 3) and the events (at 2) that an input gives.
Report waitFor(const char* steps, const std::vector<std::uint32_t>& events) {
    TestSession session;
    const PipeId samples = session.input("samples", countUp(100), 8);
    const TriggerId beat = session.addTrigger("beat");
    std::vector<TriggerRow> rows;
    for (const std::uint32_t position : events) rows.push_back({.asserts = true, .position = position});
    session.setInput(beat, rows);
    session.script(std::string("read:2 read:3 ") + steps, beat, samples);
    return session.run();
}

TEST(Triggers, WaitRemovesTheSamplesBeforeTheEvent) {
    const struct {
        const char* steps;
        std::vector<std::uint32_t> events;
        Lines lines;
    } cases[] = {
        {"?wait:2,3 ?get:3 ?wait:2,3 ?get:3", {10, 60}, {"10", "10", "60", "60"}},
        {"?wait:2,3 ?get:3", {0}, {"0", "0"}},
        {"5( get:3 ) ?wait:2,3 ?get:3 ?wait:2,3 ?get:3", {3, 6}, {"3", "5", "6", "6"}},
        {"?wait:2,3 ?wait:2,3 ?get:3", {20, 10}, {"20", "10", "20"}},
        {"?wait:2,3 ?get:3", {0xFFFFFFFF}, {"4294967295", "0"}},
    };
    for (const auto& [steps, events, lines] : cases) EXPECT_EQ(waitFor(steps, events).console, lines) << steps;
}

TEST(Triggers, WaitRemovesUpToTheStatusWhileNoEventComes) {
    TestSession session;
    const PipeId samples = session.input("samples", countUp(100));
    const TriggerId quiet = session.addTrigger("quiet");
    session.script("write:2 vouch:2,49", quiet);
    session.script("read:2 read:3 wait:2,3", quiet, samples);
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
    session.script("read:2 read:3 wait:2,3", quiet, samples);
    session.script("write:2 read:3 *( get:3 vouchafter:2,1 )", quiet, samples);
    const Report report = session.run();
    EXPECT_EQ(report.pipes[0].written, 10000U);
    EXPECT_EQ(report.pipes[0].unread, 0U);
}

TEST(Triggers, ModeAndPropertiesAreZeroUnlessSet) {
    TestSession session;
    const TriggerId plain = session.addTrigger("plain"), set = session.addTrigger("set");
    session.setTriggerMode(set, 5);
    session.setTriggerProperty(set, 3, 7);
    session.script("?mode:2 ?property:2,3 ?mode:3 ?property:3,1 ?property:3,3", plain, set);
    EXPECT_EQ(session.run().console, Lines({"0", "0", "5", "0", "7"}));
}

}  // namespace
}  // namespace libzepl
