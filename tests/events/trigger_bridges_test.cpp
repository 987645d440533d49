// FREQUENCY, TSTAMP, TRIGSEND, TRIGRECV and PCASSERT: triggers to pipes and back.

#include "tests/events/events_support.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

const Covers frequency("FREQUENCY"), tstamp("TSTAMP"), trigsend("TRIGSEND"), trigrecv("TRIGRECV"), pcassert("PCASSERT");

using Words = std::vector<std::int32_t>;

TEST(Frequency, CountsTheEventsOfEachWindow) {
    const auto countWindows = [](const Counts& events, std::int64_t end, std::int64_t blocksize) {
        Words counts(static_cast<std::size_t>((end + 1) / blocksize), 0);
        for (const std::int64_t event : events)
            if (event / blocksize < static_cast<std::int64_t>(counts.size()))
                ++counts[static_cast<std::size_t>(event / blocksize)];
        return counts;
    };
    Counts events = randomEvents(3, 1500, 6);
    // Of two events at the end of a window the second counts where the status between them has not closed it.
    events.erase(std::unique(events.begin(), events.end()), events.end());
    const Counts moved = aroundTheWrap(events);
    const auto expectCounted = [&](const Counts& given, std::int64_t end, std::int32_t blocksize) {
        const Words counts = sameForEveryArrival(16, [&](FeedPolicy feed) {
            return writtenBy<std::int32_t>("FREQUENCY " + list("s1", blocksize, "out"), rowsOf(given, end), feed);
        });
        EXPECT_EQ(counts, countWindows(given, end, blocksize)) << blocksize;
    };
    for (const std::int32_t blocksize : {1, 10, 777}) expectCounted(events, 1999, blocksize);
    for (const std::int32_t blocksize : {1000000007, 0x7FFFFFFF, 0x40000000})
        expectCounted(moved, wrapCount + 1000000000, blocksize);
}

TEST(Frequency, ACountKeepsItsLowBits) {
    EXPECT_EQ(writtenBy<std::int16_t>("FREQUENCY (s1, 10, out)", rowsOf(Counts(40000, 5), 9)),
              std::vector<std::int16_t>{static_cast<std::int16_t>(40000 - 65536)});
}

TEST(TStamp, EveryPositionIsWrittenInItsLowBits) {
    const Counts events = aroundTheWrap(randomEvents(4, 1500, 2));
    const Words stamps = sameForEveryArrival(64, [&](FeedPolicy feed) {
        return writtenBy<std::int32_t>("TSTAMP (s1, out)", rowsOf(events, wrapCount + 2000), feed);
    });
    EXPECT_EQ(bitsOf(stamps), bitsOf(wrapped(events)));
    EXPECT_EQ(writtenBy<std::int16_t>("TSTAMP (s1, out)", rowsOf({7, 40000, 65537}, 65537)),
              std::vector<std::int16_t>({7, static_cast<std::int16_t>(40000 - 65536), 1}));
}

TEST(TrigSend, WordsCountFromTheLastEvent) {
    const auto status = [](std::uint32_t distance) { return static_cast<std::int32_t>(0x80000000u + distance); };
    const struct {
        const char* call;
        Counts events;
        std::int64_t end;
        Words words;
    } cases[] = {
        {"TRIGSEND (s1, 1, out)", {4}, 7, {5, status(3)}},
        {"TRIGSEND (s1, 8, out)", {}, 6, {}},
        {"TRIGSEND (s1, 8, out)", {0}, 8, {1, status(8)}},
        {"TRIGSEND (s1, 8, out)", {0}, 7, {1}},
        {"TRIGSEND (s1, out)", {0, 0, 5, 6}, 6, {1, 0, 5, 1}},
        {"TRIGSEND (s1, out)", {}, 16382, {}},
        {"TRIGSEND (s1, out)", {}, 16383, {status(16384)}},
        {"TRIGSEND (s1, out)", {10}, 16393, {11}},
        {"TRIGSEND (s1, out)", {10}, 16394, {11, status(16384)}},
        {"TRIGSEND (s1, 16777216:int32, out)", {}, 16777214, {}},
        {"TRIGSEND (s1, 16777216:int32, out)", {}, 16777215, {status(16777216)}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(writtenBy<std::int32_t>(c.call, rowsOf(c.events, c.end)), c.words) << c.call << " until " << c.end;
}

TEST(TrigSend, EveryPipeCarriesTheSameTrigger) {
    const Counts events = aroundTheWrap(randomEvents(6, 1500, 5));
    sameForEveryArrival(16, [&](FeedPolicy feed) {
        TestSession session({.feed = feed});
        std::string send = "TRIGSEND (s1, 1";
        std::vector<TriggerId> received;
        for (int i = 0; i < 32; ++i) {
            const std::string words = "words" + std::to_string(i), to = "received" + std::to_string(i);
            session.pipe(words, 8);
            received.push_back(session.addTrigger(to));
            session.collect(received.back());
            addCall(session, "TRIGRECV (" + words + ", " + to + ")");
            send += ", " + words;
        }
        const Report report = runCall(session, send + ")", {rowsOf(events, wrapCount + 1500)});
        for (const std::size_t i : {0U, 1U, 31U}) {
            EXPECT_EQ(session.collectedEvents(received[i]), wrapped(events));
            EXPECT_EQ(report.triggers[i].status, 1500U);
        }
        return 0;
    });
}

TEST(TrigRecv, AWordIsAnEventOrAStatus) {
    TestSession session;
    session.input("words", Words{5, static_cast<std::int32_t>(0x80000003), 0, 0x7FFFFFFF, 0x7FFFFFF0});
    const TriggerId result = session.addTrigger("result");
    session.collect(result);
    addCall(session, "TRIGRECV (words, result)");
    EXPECT_EQ(session.run().triggers[0].status, 0xFFFFFFF6U);
    EXPECT_EQ(session.collectedEvents(result), Positions({4, 7, 0x80000006, 0xFFFFFFF6}));
}

// Requests against a count of 100 values that come by tens.
struct Requests {
    TestSession session{SessionOptions{.feed = {.piece = 10}}};
    PipeId values = session.input("values", countUp(100));
    TriggerId event = session.addTrigger("event");

    Requests() { session.collect(event); }
    VariableId flag(ElementType type, std::int64_t value) { return session.addVariable("flag", type, &value); }
    Outcome run(const TaskArgument& sigflag) {
        session.define("sigflag", sigflag);
        addCall(session, "PCASSERT (sigflag, event, values)");
        const Report report = session.run();
        return {session.collectedEvents(event), report.triggers[0].status};
    }
};

TEST(PcAssert, ARequestByAVariableIsServedOnce) {
    Requests before, once, upper;
    EXPECT_EQ(before.run(before.session.use(before.flag(ElementType::int32, 0x70005))), (Outcome{{}, 99 + 1}));
    const VariableId narrow = once.flag(ElementType::int16, -1), wide = upper.flag(ElementType::int32, 0);
    once.session.script("task_switch store:2,-5 *( task_switch )", narrow);
    const Outcome served = once.run(once.session.use(narrow));
    EXPECT_EQ(served.events.size(), 1U);
    EXPECT_EQ(served.status, 100U);
    EXPECT_EQ(once.session.valueOf<std::int64_t>(narrow), 0);
    upper.session.script("task_switch store:2,0x10005 *( task_switch )", wide);
    EXPECT_EQ(upper.run(upper.session.use(wide)).events.size(), 10U);
    EXPECT_EQ(upper.session.valueOf<std::int64_t>(wide), 0x10000);
}

TEST(PcAssert, ARequestByAPipeIsServedOnce) {
    Requests requests;
    const PipeId asked = requests.session.input("asked", std::vector<std::int16_t>{0, 3, 0});
    EXPECT_EQ(requests.run(requests.session.use(asked)), (Outcome{{10, 20, 30}, 100}));
}

// The count of frames by the clock, where that starts at `start`.
std::uint32_t countedFrames(std::map<std::uint32_t, std::uint32_t> info, std::uint32_t start, const char* call) {
    TestSession session({.feed = {.piece = 7}, .info = std::move(info), .startTime = start});
    session.script("open_read:2 *( pipe_get:2 )", session.input("frames", countUp(1000)));
    addCall(session, call);
    return session.run().triggers[0].status;
}

TEST(PcAssert, FramesAreCountedByTheClock) {
    EXPECT_EQ(countedFrames({}, 0, "PCASSERT (variable:int16, trigger)"), 1000U);
    EXPECT_EQ(countedFrames({}, 0, "PCASSERT (variable:int32, trigger, 3)"), 333U);
    EXPECT_EQ(countedFrames({}, 5000, "PCASSERT (variable:int16, trigger)"), 1005U);
    EXPECT_EQ(countedFrames({{14, 2}}, 0, "PCASSERT (variable:int16, trigger, -15536)"), 10U);  // 50000
    EXPECT_EQ(countedFrames({{15, 0}}, 0, "PCASSERT (variable:int16, trigger)"), 0xFFFFFFFF);   // the clock never runs
    constexpr std::uint32_t nearWrap = 0xFFFFFFFF - 99999;
    EXPECT_EQ(countedFrames({}, nearWrap, "PCASSERT (variable:int16, trigger)"), (nearWrap + 1000000ull) / 1000);
    EXPECT_EQ(countedFrames({{14, 1}}, nearWrap, "PCASSERT (variable:int16, trigger)"), 900000U);
}

}  // namespace
}  // namespace libzepl
