// FREQUENCY, TSTAMP, TRIGSEND, TRIGRECV and PCASSERT: triggers to pipes and back.

#include "tests/events/events_support.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

const Covers frequency("FREQUENCY"), tstamp("TSTAMP"), trigsend("TRIGSEND"), trigrecv("TRIGRECV"), pcassert("PCASSERT");

// What `command (source, between..., result)` writes.
template <class Element>
std::vector<Element> writtenBy(const std::string& command, const std::vector<TriggerRow>& rows, FeedPolicy feed,
                               const std::vector<TaskArgument>& between = {}) {
    TestSession session({.feed = feed});
    const TriggerId source = session.addTrigger("source");
    session.setInput(source, rows);
    const PipeId result = session.output("result", {}, elementTypeOf<Element>());
    TaskSettings task{.command = command, .arguments = {session.use(source)}};
    task.arguments.insert(task.arguments.end(), between.begin(), between.end());
    task.arguments.push_back(session.use(result));
    session.addTask(std::move(task));
    EXPECT_EQ(session.run().status, Report::Status::ok);
    return session.collected<Element>(result);
}

using Words = std::vector<std::int32_t>;
constexpr FeedPolicy whole{.kind = FeedPolicy::Kind::whole};

TEST(Frequency, AnotherThanACountOfEachWindowIsWritten) {
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
            return writtenBy<std::int32_t>("FREQUENCY", rowsOf(given, end), feed, {int32Constant(blocksize)});
        });
        EXPECT_EQ(counts, countWindows(given, end, blocksize)) << blocksize;
    };
    for (const std::int32_t blocksize : {1, 10, 777}) expectCounted(events, 1999, blocksize);
    for (const std::int32_t blocksize : {1000000007, 0x7FFFFFFF, 0x40000000})
        expectCounted(moved, wrapCount + 1000000000, blocksize);
}

TEST(Frequency, TheEdgeOfAWindowOrTheWidthIsWrong) {
    const auto counts = [](const Counts& events, std::int64_t end) {
        return writtenBy<std::int16_t>("FREQUENCY", rowsOf(events, end), whole, {int16Constant(10)});
    };
    using Narrow = std::vector<std::int16_t>;
    EXPECT_EQ(counts({0, 9}, 9), Narrow({2}));
    EXPECT_EQ(counts({0, 9, 10}, 19), Narrow({2, 1}));
    EXPECT_EQ(counts({10}, 10), Narrow({0}));
    EXPECT_EQ(counts({}, 8), Narrow({}));
    EXPECT_EQ(counts({35}, 38), Narrow({0, 0, 0}));
    EXPECT_EQ(counts(Counts(40000, 5), 9), Narrow({static_cast<std::int16_t>(40000 - 65536)}));
}

TEST(TStamp, APositionIsLostOrNarrowedOtherwise) {
    const Counts events = aroundTheWrap(randomEvents(4, 1500, 2));
    const Words stamps = sameForEveryArrival(
        64, [&](FeedPolicy feed) { return writtenBy<std::int32_t>("TSTAMP", rowsOf(events, wrapCount + 2000), feed); });
    EXPECT_EQ(bitsOf(stamps), bitsOf(wrapped(events)));
    EXPECT_EQ(writtenBy<std::int16_t>("TSTAMP", rowsOf({7, 40000, 65537}, 65537), whole),
              std::vector<std::int16_t>({7, static_cast<std::int16_t>(40000 - 65536), 1}));
}

// Notes how many elements come in each round, in which the command runs once.
class CountingSink : public Sink {
 public:
    explicit CountingSink(std::vector<std::size_t>& counts) : counts_(counts) {}
    void write(const void*, std::size_t count) override { counts_.push_back(count); }
    void finish() override {}

 private:
    std::vector<std::size_t>& counts_;
};

TEST(TriggerBridges, ABurstIsOfAnotherLength) {
    for (const auto& [command, counts] : {std::pair{"TSTAMP", std::vector<std::size_t>{64, 64, 22}},
                                          {"TRIGSEND", std::vector<std::size_t>{32, 32, 32, 32, 22}}}) {
        std::vector<std::size_t> found;
        TestSession session({.feed = whole});
        const TriggerId source = session.addTrigger("source");
        session.setInput(source, std::vector<TriggerRow>(150, {true, 9}));
        const PipeId result = session.pipe("result");
        session.setOutput(result, std::make_unique<CountingSink>(found));
        session.task(command, source, result);
        session.run();
        EXPECT_EQ(found, counts) << command;
    }
}

TEST(TrigSend, AnotherWordIsSent) {
    const auto status = [](std::uint32_t distance) { return static_cast<std::int32_t>(0x80000000u + distance); };
    const struct {
        Counts events;
        std::int64_t end;
        std::vector<TaskArgument> updates;
        Words words;
    } cases[] = {
        {{4}, 7, {int16Constant(1)}, {5, status(3)}},
        {{}, 6, {int16Constant(8)}, {}},
        {{}, 7, {int16Constant(8)}, {status(8)}},
        {{0}, 8, {int16Constant(8)}, {1, status(8)}},
        {{0}, 7, {int16Constant(8)}, {1}},
        {{0, 0, 5, 6}, 6, {}, {1, 0, 5, 1}},
        {{}, 16382, {}, {}},
        {{}, 16383, {}, {status(16384)}},
        {{10}, 16393, {}, {11}},
        {{10}, 16394, {}, {11, status(16384)}},
        {{}, 16777214, {int32Constant(16777216)}, {}},
        {{}, 16777215, {int32Constant(16777216)}, {status(16777216)}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(writtenBy<std::int32_t>("TRIGSEND", rowsOf(c.events, c.end), whole, c.updates), c.words)
            << "until " << c.end;
}

TEST(TrigSend, TheStreamIsNotTheSameOnEveryPipeOrIsReadBackAsAnotherTrigger) {
    const Counts events = aroundTheWrap(randomEvents(6, 1500, 5));
    const std::vector<TriggerRow> rows = rowsOf(events, wrapCount + 1500);
    for (const std::size_t pipes : {std::size_t{1}, std::size_t{32}}) {
        sameForEveryArrival(
            16,
            [&](FeedPolicy feed) {
                TestSession session({.feed = feed});
                const TriggerId source = session.addTrigger("source");
                session.setInput(source, rows);
                TaskSettings send{.command = "TRIGSEND", .arguments = {session.use(source), int16Constant(1)}};
                std::vector<TriggerId> received;
                for (std::size_t i = 0; i < pipes; ++i) {
                    const PipeId words = session.pipe("words " + std::to_string(i), 8);
                    received.push_back(session.addTrigger("received " + std::to_string(i)));
                    session.collect(received[i]);
                    send.arguments.push_back(session.use(words));
                    session.task("TRIGRECV", words, received[i]);
                }
                session.addTask(std::move(send));
                const Report report = session.run();
                for (std::size_t i = 0; i < pipes; ++i) {
                    EXPECT_EQ(session.collectedEvents(received[i]), wrapped(events));
                    EXPECT_EQ(report.triggers[i + 1].status, 1500U);
                }
                return 0;
            },
            2);
    }
}

TEST(TrigRecv, AWordIsReadOtherwise) {
    TestSession session;
    const PipeId words =
        session.input("words", Words{5, static_cast<std::int32_t>(0x80000003), 0, 0x7FFFFFFF, 0x7FFFFFF0});
    const TriggerId result = session.addTrigger("result");
    session.collect(result);
    session.task("TRIGRECV", words, result);
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
        session.task("PCASSERT", sigflag, event, values);
        const Report report = session.run();
        return {session.collectedEvents(event), report.triggers[0].status};
    }
};

TEST(PcAssert, ARequestByAVariableIsLostOrServedTwice) {
    Requests before, once, upper;
    EXPECT_EQ(before.run(before.session.use(before.flag(ElementType::int32, 0x70005))), (Outcome{{}, 99 + 1}));
    const VariableId narrow = once.flag(ElementType::int16, -1), wide = upper.flag(ElementType::int32, 0);
    once.session.script("switch store:2,-5 *( switch )", narrow);
    const Outcome served = once.run(once.session.use(narrow));
    EXPECT_EQ(served.events.size(), 1U);
    EXPECT_EQ(served.status, 100U);
    EXPECT_EQ(once.session.valueOf<std::int64_t>(narrow), 0);
    upper.session.script("switch store:2,0x10005 *( switch )", wide);
    EXPECT_EQ(upper.run(upper.session.use(wide)).events.size(), 10U);
    EXPECT_EQ(upper.session.valueOf<std::int64_t>(wide), 0x10000);
}

TEST(PcAssert, ARequestByAPipeIsLostOrServedTwice) {
    Requests requests;
    const PipeId asked = requests.session.input("asked", std::vector<std::int16_t>{0, 3, 0});
    EXPECT_EQ(requests.run(requests.session.use(asked)), (Outcome{{10, 20, 30}, 100}));
}

// The count of frames by the clock, `period` units each, where it starts at `start`.
std::uint32_t countedFrames(std::map<std::uint32_t, std::uint32_t> info, std::uint32_t start,
                            std::vector<TaskArgument> ratediv) {
    TestSession session({.feed = {.piece = 7}, .info = std::move(info), .startTime = start});
    const std::int16_t zero = 0;
    session.script("read:2 *( get:2 )", session.input("frames", countUp(1000)));
    const TriggerId event = session.addTrigger("event");
    TaskSettings task{.command = "PCASSERT"};
    task.arguments = {session.use(session.addVariable("flag", ElementType::int16, &zero)), session.use(event)};
    task.arguments.insert(task.arguments.end(), ratediv.begin(), ratediv.end());
    session.addTask(std::move(task));
    return session.run().triggers[0].status;
}

TEST(PcAssert, FramesAreCountedOtherwise) {
    EXPECT_EQ(countedFrames({}, 0, {}), 1000U);
    EXPECT_EQ(countedFrames({}, 0, {int16Constant(3)}), 333U);
    EXPECT_EQ(countedFrames({}, 5000, {}), 1005U);
    EXPECT_EQ(countedFrames({{14, 2}}, 0, {int16Constant(-15536)}), 10U);  // 50000
    EXPECT_EQ(countedFrames({{15, 0}}, 0, {}), 0xFFFFFFFF);                // the clock never runs
    constexpr std::uint32_t nearWrap = 0xFFFFFFFF - 99999;
    EXPECT_EQ(countedFrames({}, nearWrap, {}), (nearWrap + 1000000ull) / 1000);
    EXPECT_EQ(countedFrames({{14, 1}}, nearWrap, {}), 900000U);
}

}  // namespace
}  // namespace libzepl
