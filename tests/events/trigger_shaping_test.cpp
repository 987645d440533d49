// NTH, TGEN and TRIGSCALE.

#include "tests/events/events_support.h"

namespace libzepl {
namespace {

const Covers nth("NTH"), tgen("TGEN"), trigscale("TRIGSCALE");

TEST(Nth, EveryNthAssertionPasses) {
    const Counts events = randomEvents(5, 1500, 3);
    for (const int decim : {1, 2, 7, 1000, 100000}) {
        const auto everyNth = [&](const std::vector<Counts>& sources) {
            Counts kept;
            for (std::size_t i = 0; i < sources[0].size(); ++i)
                if ((i + 1) % static_cast<std::size_t>(decim) == 0) kept.push_back(sources[0][i]);
            return kept;
        };
        const std::string call = "NTH (s1, " + std::to_string(decim) + ", out)";
        // A burst between two outputs must not pass half of the count, or its status would not be ahead of the last.
        if (decim <= 2)
            expectFound(call, {events}, everyNth);
        else
            expectFoundUntil(2000, call, {events}, everyNth);
    }
}

TEST(TGen, AssertionsAreAtTheEndsOfThePeriods) {
    for (const auto& [period, expected] :
         {std::pair{"1", Positions{0, 1, 2, 3}},
          {"250", Positions{249, 499, 749, 999}},
          {"1610612736:int32", Positions{0x5FFFFFFF, 0xBFFFFFFF, 0x1FFFFFFF, 0x7FFFFFFF}}}) {
        TestSession session;
        const TriggerId result = session.addTrigger("out");
        session.collect(result, 4);
        addCall(session, std::string("TGEN (") + period + ", out)");
        session.run();
        EXPECT_EQ(session.collectedEvents(result), expected) << period;
    }
}

struct Scaling {
    int offset, mul, div;
};

std::string callOf(const Scaling& by) {
    return "TRIGSCALE " + list("s1", by.offset, std::to_string(by.mul), std::to_string(by.div), "out");
}

// Positions count from 0 again after the wrap, also for the division, so it has to be told of it.
Outcome scaled(const Counts& events, std::int64_t end, const Scaling& by) {
    Positions positions;
    for (const std::int64_t event : events) {
        if (event + by.offset < 0) continue;
        const std::int64_t shifted = static_cast<std::uint32_t>(event) + std::int64_t{by.offset};
        const auto v = static_cast<std::uint32_t>(shifted / by.div * by.mul);
        if (positions.empty() || positions.back() != v) positions.push_back(v);
    }
    const std::int64_t done = static_cast<std::uint32_t>(end) + std::int64_t{by.offset} + 1;
    return {positions, static_cast<std::uint32_t>((done / by.div - 1) * by.mul)};
}

TEST(TrigScale, PositionsAreMappedByThePlainFormula) {
    const Counts events = randomEvents(8, 1500, 4), moved = aroundTheWrap(events);
    for (const Scaling& by : {Scaling{0, 1, 1}, {-10, 1, 1}, {40000, 1, 1}, {0, 3, 2}, {7, 32767, 1}, {-701, 5, 2}})
        EXPECT_EQ(sameForEveryArrival(
                      16, [&](FeedPolicy feed) { return outcomeOf(callOf(by), {rowsOf(events, 2000)}, feed); }),
                  scaled(events, 2000, by))
            << callOf(by);
    // With a greater divisor a status between two assertions can change what passes.
    for (const Scaling& by : {Scaling{0, 1, 32767}, {-1000, 7, 3}, {2000000000, 32767, 32766}, {1000000000, 7, 1}})
        EXPECT_EQ(outcomeOf(callOf(by), {rowsOf(events, 2000)}).events, scaled(events, 2000, by).events) << callOf(by);
    for (const Scaling& by : {Scaling{0, 1, 1}, {-10, 1, 1}, {100, 3, 1}, {600, 1, 2}, {1000000000, 32767, 32766}})
        EXPECT_EQ(outcomeOf(callOf(by), {rowsOf(moved, wrapCount + 1500)}).events,
                  scaled(moved, wrapCount + 1500, by).events)
            << callOf(by);
}

TEST(TrigScale, AStatusThatPasses32BitsWithTheOffsetIsDividedWhole) {
    const Rows rows{{true, 0}, {true, 0x7FFFFFF0}, {false, 0xF0000000}};
    EXPECT_EQ(outcomeOf("TRIGSCALE (s1, 0x70000000, 1, 2, out)", {rows}),
              (Outcome{{0x38000000, 0x77FFFFF8}, 0xAFFFFFFF}));
}

// A status is mapped to the last sample that is wholly done, which can lie before the one of an assertion already sent; as
// the last position sent it then lets an assertion through that maps to the same once more.
TEST(TrigScale, TheStatusCountsAsTheLastPositionSent) {
    const Rows beside{{true, 3}, {true, 4}, {false, 4}, {true, 5}, {false, 10}},
        behind{{true, 3}, {false, 4}, {true, 5}};
    EXPECT_EQ(outcomeOf("TRIGSCALE (s1, 0, 1, 3, out)", {beside}, {.piece = 1}), (Outcome{{1}, 2}));
    EXPECT_EQ(outcomeOf("TRIGSCALE (s1, 0, 1, 3, out)", {behind}, {.piece = 1}), (Outcome{{1, 1}, 1}));
}

TEST(TriggerShaping, AStatusTakesItsNumberOfTurns) {
    const Lines eachTurn{"5", "6", "7", "8", "9", "10"};
    for (const auto& [call, statuses] :
         {std::pair{"NTH (s1, 3, out)", eachTurn},
          {"TOR (s1, s2, out)", eachTurn},
          {"TAND (s1, s2, out)", eachTurn},
          {"TCOLLATE (s1, s2, out)", eachTurn},
          {"TRIGSCALE (s1, 100, 1, 1, out)", Lines{"105", "105", "107", "107", "109", "109"}}}) {
        TestSession session;
        const TriggerId source = session.addTrigger("s1"), result = session.addTrigger("out");
        session.define("s2", session.use(source));
        session.script("open_write:2 trigger_updt_status:2,1 12( trigger_updt_status:2,1 task_switch ) exit:0", source);
        addCall(session, call);
        session.script("open_read:2 4( task_switch ) 6( ?trigger_get_status:2 task_switch ) exit:0", result);
        EXPECT_EQ(session.run().console, statuses) << call;
    }
}

// What a command makes in its first turn of 200 events that wait on each of its sources.
TEST(TriggerShaping, ATurnTakesItsNumberOfEvents) {
    const struct {
        const char *call, *made, *look;
    } cases[] = {{"TOR (s1, s2, out)", "400", "open_read:2 ?trigger_num:2"},
                 {"TAND (s1, s2, out, 1)", "200", "open_read:2 ?trigger_num:2"},
                 {"TCOLLATE (s1, s2, out)", "400", "open_read:2 ?trigger_num:2"},
                 {"TSTAMP (s1, out)", "64", "open_read:2 ?pipe_num:2"},
                 {"TRIGSEND (s1, out)", "32", "open_read:2 task_switch ?pipe_num:2"},
                 {"NTH (s1, 3, out)", "66", "open_read:2 ?trigger_num:2"},
                 {"TRIGSCALE (s1, 0, 1, 1, out)", "200", "open_read:2 ?trigger_num:2"},
                 {"TGEN (1, out)", "64", "open_read:2 ?trigger_num:2"}};
    for (const auto& [call, made, look] : cases) {
        TestSession session;
        const TriggerId a = session.addTrigger("s1"), b = session.addTrigger("s2"), result = session.addTrigger("out");
        const PipeId pipe = session.pipe("pipe");
        session.script("open_write:2 200( trigger_updt_put:2,2 ) trigger_updt_status:2,9", a);
        session.script("open_write:2 trigger_updt_status:2,1 200( trigger_updt_put:2,2 )", b);
        const bool isPipe = std::string(look).find("pipe_num") != std::string::npos;
        if (isPipe) session.define("out", session.use(pipe));
        addCall(session, call);
        session.script(look, isPipe ? session.use(pipe) : session.use(result));
        EXPECT_EQ(session.run().console, Lines{made}) << call;
    }
}

}  // namespace
}  // namespace libzepl
