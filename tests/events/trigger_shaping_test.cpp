// NTH, TGEN and TRIGSCALE.

#include "tests/events/events_support.h"

namespace libzepl {
namespace {

const Covers nth("NTH"), tgen("TGEN"), trigscale("TRIGSCALE");

TEST(Nth, AnotherThanEveryNthAssertionPasses) {
    const Counts events = randomEvents(5, 1500, 3);
    for (const int decim : {1, 2, 7, 1000, 100000}) {
        const auto everyNth = [&](const std::vector<Counts>& sources) {
            Counts kept;
            for (std::size_t i = 0; i < sources[0].size(); ++i)
                if ((i + 1) % static_cast<std::size_t>(decim) == 0) kept.push_back(sources[0][i]);
            return kept;
        };
        const TaskArgument given =
            decim > 32767 ? int32Constant(decim) : int16Constant(static_cast<std::int16_t>(decim));
        // A burst between two outputs must not pass half of the count, or its status would not be ahead of the last.
        if (decim <= 2)
            expectFound("NTH", {events}, everyNth, {given});
        else
            expectFoundUntil(2000, "NTH", {events}, everyNth, {given});
    }
}

Positions generated(const TaskArgument& period, std::uint64_t limit) {
    TestSession session;
    const TriggerId result = session.addTrigger("result");
    session.collect(result, limit);
    session.task("TGEN", period, result);
    session.run();
    Positions events = session.collectedEvents(result);
    events.resize(limit);
    return events;
}

TEST(TGen, AssertionsStandElsewhereThanAtTheEndsOfThePeriods) {
    EXPECT_EQ(generated(int16Constant(1), 5), Positions({0, 1, 2, 3, 4}));
    EXPECT_EQ(generated(int16Constant(250), 3), Positions({249, 499, 749}));
    EXPECT_EQ(generated(int32Constant(0x60000000), 4), Positions({0x5FFFFFFF, 0xBFFFFFFF, 0x1FFFFFFF, 0x7FFFFFFF}));
}

TEST(TGen, ABatchHasOtherThan64) {
    TestSession session;
    const TriggerId result = session.addTrigger("result");
    session.task("TGEN", int16Constant(1), result);
    session.script("read:2 ?events:2 switch ?events:2 read:2 62( switch ) ?events:2 5( switch ) ?events:2 exit:0",
                   result);
    EXPECT_EQ(session.run().console, Lines({"64", "128", "4096", "4096"}));
}

struct Scaling {
    int offset, mul, div;
};

std::vector<TaskArgument> argumentsOf(const Scaling& by) {
    return {by.offset == static_cast<std::int16_t>(by.offset) ? int16Constant(static_cast<std::int16_t>(by.offset))
                                                              : int32Constant(by.offset),
            int16Constant(static_cast<std::int16_t>(by.mul)), int16Constant(static_cast<std::int16_t>(by.div))};
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

TEST(TrigScale, AnotherThanThePlainFormulaMaps) {
    const Counts events = randomEvents(8, 1500, 4);
    for (const Scaling& by : {Scaling{0, 1, 1}, {-10, 1, 1}, {40000, 1, 1}, {0, 3, 2}, {7, 32767, 1}, {-701, 5, 2}})
        EXPECT_EQ(sameForEveryArrival(16,
                                      [&](FeedPolicy feed) {
                                          return outcomeOf("TRIGSCALE", {rowsOf(events, 2000)}, feed, argumentsOf(by));
                                      }),
                  scaled(events, 2000, by))
            << by.offset << " " << by.mul << " " << by.div;
    for (const Scaling& by : {Scaling{0, 1, 32767}, {-1000, 7, 3}, {2000000000, 32767, 32766}})
        EXPECT_EQ(wholeOutcome("TRIGSCALE", {rowsOf(events, 2000)}, argumentsOf(by)).events,
                  scaled(events, 2000, by).events);
}

TEST(TrigScale, TheWrapIsMappedOtherwise) {
    const Counts events = aroundTheWrap(randomEvents(8, 1500, 4));
    for (const Scaling& by : {Scaling{0, 1, 1}, {-10, 1, 1}, {100, 3, 1}, {600, 1, 2}, {1000000000, 32767, 32766}})
        EXPECT_EQ(wholeOutcome("TRIGSCALE", {rowsOf(events, wrapCount + 1500)}, argumentsOf(by)).events,
                  scaled(events, wrapCount + 1500, by).events)
            << by.offset << " " << by.mul << " " << by.div;
}

// A status is mapped to the last sample that is wholly done, which can lie before the one of an assertion already sent; as
// the last position sent it then lets an assertion through that maps to the same once more.
TEST(TrigScale, TheLastPositionSentIsNotSharedWithTheStatus) {
    const std::vector<TriggerRow> rows{{true, 3}, {true, 4}, {false, 4}, {true, 5}, {false, 10}, {true, 11}};
    EXPECT_EQ(outcomeOf("TRIGSCALE", {rows}, {.piece = 1}, argumentsOf({0, 1, 3})), (Outcome{{1, 3}, 3}));
    const std::vector<TriggerRow> behind{{true, 3}, {false, 4}, {true, 5}, {false, 10}};
    EXPECT_EQ(outcomeOf("TRIGSCALE", {behind}, {.piece = 1}, argumentsOf({0, 1, 3})), (Outcome{{1, 1}, 2}));
}

// What the status of `command`'s result is, turn by turn, while its source's moves on by 1 in each.
Lines statusesOf(const std::string& command, const std::vector<TaskArgument>& between, std::size_t sources = 1) {
    TestSession session;
    const TriggerId source = session.addTrigger("source"), result = session.addTrigger("result");
    session.script("write:2 vouchafter:2,1 12( vouchafter:2,1 switch ) exit:0", source);
    TaskSettings task{.command = command, .arguments = std::vector(sources, session.use(source))};
    task.arguments.insert(task.arguments.end(), between.begin(), between.end());
    task.arguments.push_back(session.use(result));
    session.addTask(std::move(task));
    session.script("read:2 4( switch ) 6( ?status:2 switch ) exit:0", result);
    return session.run().console;
}

TEST(TriggerShaping, AStatusTakesAnotherNumberOfTurns) {
    const Lines eachTurn{"5", "6", "7", "8", "9", "10"};
    EXPECT_EQ(statusesOf("NTH", {int16Constant(3)}), eachTurn);
    EXPECT_EQ(statusesOf("TOR", {}, 2), eachTurn);
    EXPECT_EQ(statusesOf("TAND", {}, 2), eachTurn);
    EXPECT_EQ(statusesOf("TCOLLATE", {}, 2), eachTurn);
    EXPECT_EQ(statusesOf("TRIGSCALE", argumentsOf({100, 1, 1})), Lines({"105", "105", "107", "107", "109", "109"}));
}

TEST(TriggerShaping, AChainFromAGeneratorRunsAwayWithMemoryOrStalls) {
    TestSession session({.memoryLimit = 4 << 20});
    const TriggerId fast = session.addTrigger("fast"), slow = session.addTrigger("slow"),
                    scaledUp = session.addTrigger("up");
    const PipeId rate = session.output("rate", 20000);
    session.task("TGEN", int16Constant(3), fast);
    session.task("NTH", fast, int16Constant(5), slow);
    session.task("TRIGSCALE", slow, int16Constant(-29), int16Constant(2), int16Constant(3), scaledUp);
    session.task("FREQUENCY", scaledUp, int16Constant(25), rate);
    EXPECT_EQ(session.run().status, Report::Status::ok);
    // Events at 0, 10, 20, ...: an odd window has one at its start and one in its midst, an even one two more.
    std::vector<std::int32_t> expected(20000);
    for (std::size_t i = 0; i < expected.size(); ++i) expected[i] = i % 2 == 0 ? 3 : 2;
    EXPECT_EQ(session.collected<std::int32_t>(rate), expected);
}

}  // namespace
}  // namespace libzepl
