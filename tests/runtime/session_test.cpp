// The library's own checks: what a caller does wrong is a Problem, and nothing is read or written past its end.

#include <climits>
#include <cmath>
#include <functional>
#include <stdexcept>

#include "tests/support/session_support.h"

namespace libzepl {
namespace {

constexpr std::uint64_t huge = ~std::uint64_t{0}, mostElements = std::uint64_t{1} << 56;

using Step = std::function<void()>;

std::string refusalOf(const Step& step) {
    try {
        step();
    } catch (const Problem& problem) {
        return problem.what();
    }
    return "nothing is refused";
}

class EmptySource : public Source {
 public:
    EmptySource(std::uint64_t length, int channels) : length_(length), channels_(channels) {}
    std::size_t read(void*, std::size_t) override { return 0; }
    std::optional<std::uint64_t> length() const override { return length_; }
    int channels() const override { return channels_; }
    std::optional<double> rate() const override { return std::nullopt; }

 private:
    std::uint64_t length_;
    int channels_;
};

template <class Argument>
Argument with(Argument argument, zepl::ParamMask kind) {
    argument.kind = kind;
    return argument;
}

TEST(Session, AMisuseIsRefusedWithItsReasonAndChangesNothing) {
    TestSession s, other;
    const std::int32_t seven = -7;
    const PipeId fed = s.input("fed", countUp(9)), kept = s.output("kept"), free = s.pipe("free");
    const TriggerId event = s.addTrigger("event");
    const VariableId count = s.addVariable("count", ElementType::int32, &seven);
    const VectorId table = s.addVector("table", ElementType::int16, {});
    s.setInput(event, {});
    s.collect(event);
    s.task("ABS", fed, kept);
    const auto act = [&](const TaskArgument& argument) { s.task("ABS", argument); };
    const auto memory = [&](std::uint64_t n, int channels) { s.feedMemory(free, &seven, n, channels); };
    const std::string unknown = "the session has not given this id of a ";
    const std::pair<std::string, Step> cases[] = {
        {"`fed` is a pipe of int32, and not of int16", [&] { s.feed<std::int16_t>(fed, {}); }},
        {"`kept` is a pipe of int32, and not of double", [&] { s.collected<double>(kept); }},
        {"`count` is a variable of int32", [&] { s.valueOf<float>(count); }},
        {"`free` was not collected", [&] { s.collected<std::int32_t>(free); }},
        {"argument 1 of ABS has no kind", [&] { act({}); }},
        {"argument 1 of ABS has no kind", [&] { act(with(int16Constant(1), zepl::constantInteger)); }},
        {"argument 1 of ABS has no kind", [&] { act(with(int16Constant(1), zepl::beginRepeat)); }},
        {"argument 1 of ABS names a pipe of int32 and says it is a pipe of double",
         [&] { act(with(s.use(fed), zepl::pipeDouble)); }},
        {unknown + "vector", [&] { act(with(int16Constant(1), zepl::vectorDouble)); }},
        {unknown + "pipe", [&] { act(other.use(other.pipe("other"))); }},
        {unknown + "pipe", [&] { other.collect(free); }},
        {unknown + "pipe", [&] { s.use(PipeId{static_cast<std::uint64_t>(free) + 1}); }},
        {unknown + "trigger", [&] { other.setInput(event, {}); }},
        {unknown + "trigger", [&] { other.setTriggerMode(event, 1); }},
        {unknown + "variable", [&] { other.valueOf<std::int32_t>(count); }},
        {unknown + "vector", [&] { other.use(table); }},
        {"the session has no `feed` of this sort", [&] { s.pipeNamed("feed"); }},
        {"`fed` has an input already", [&] { s.feed<std::int32_t>(fed, {2}); }},
        {"`event` has an input already", [&] { s.setInput(event, {}); }},
        {"`kept` has an output already", [&] { s.collect(kept, 5); }},
        {"`event` has an output already", [&] { s.collect(event); }},
        {"the input of `free` has 18446744073709551615 elements, more than any memory holds", [&] { memory(huge, 1); }},
        {"the input of `free` has 0 channels, and 1 is the least", [&] { memory(1, 0); }},
        {"the input of `free` has 72057594037927937 elements, more than any memory holds",
         [&] { s.setInput(free, std::make_unique<EmptySource>(mostElements + 1, 1)); }},
        {"the input of `free` has -2147483648 channels, and 1 is the least",
         [&] { s.setInput(free, std::make_unique<EmptySource>(1, INT_MIN)); }},
        {"the input of `free` is given no source", [&] { s.setInput(free, nullptr); }},
        {"the output of `free` is given no sink", [&] { s.setOutput(free, nullptr); }},
        {"`free` is fed from no memory", [&] { s.feedMemory(free, nullptr, 1); }},
        {"`x` is given 7 bytes, which are no whole number of its int32 elements",
         [&] { s.addPipe({.name = "x", .type = ElementType::int32, .starts = std::vector<std::byte>(7)}); }},
        {"`vector 2` is given 4 bytes, which are no whole number of its double elements",
         [&] { s.addVector("", ElementType::float64, std::vector<std::byte>(4)); }},
        {"`y` is given no value", [&] { s.addVariable("y", ElementType::int16, nullptr); }},
    };
    for (const auto& [said, step] : cases) EXPECT_EQ(refusalOf(step), said);
    const Report report = s.run();
    EXPECT_EQ(std::tuple(report.tasks.size(), report.pipes.size(), report.variables.size()), std::tuple(1U, 3U, 1U));
    EXPECT_EQ(s.collected<std::int32_t>(kept), countUp(9));
    EXPECT_EQ(s.valueOf<std::int64_t>(count), -7);
    for (const Step& step : std::initializer_list<Step>{
             [&] { s.run(); }, [&] { s.pipe("q"); }, [&] { s.addTrigger("u"); }, [&] { act({}); },
             [&] { s.addVariable("v", ElementType::int32, &seven); }, [&] { s.addVector("w", ElementType::int16, {}); },
             [&] { memory(1, 1); }, [&] { s.setInput(event, {}); }, [&] { s.collect(free); },
             [&] { s.collect(event); }})
        EXPECT_EQ(refusalOf(step), "the session has run: it takes nothing more and runs once");
}

TEST(Session, ACapacityThatNoMemoryHoldsIsRefused) {
    for (const ElementType type : allElementTypes) {
        const std::uint64_t width = widthOf(type), most = (std::uint64_t{4} << 30) / width;
        for (const std::uint64_t capacity : {most + 1, (huge >> 1) / width + 2, huge})
            EXPECT_EQ(refusalOf([&] { TestSession().pipe("p", capacity, type); }),
                      "a capacity of " + std::to_string(capacity) +
                          " elements for `p` is more than the memory limit of 4294967296 bytes has room for, at most " +
                          std::to_string(most));
        TestSession session({.memoryLimit = huge});
        session.pipe("p", mostElements, type);
        EXPECT_NE(refusalOf([&] { session.pipe("q", mostElements + 1, type); }), "nothing is refused");
        for (const std::uint64_t expected : {huge / width + 1, huge})
            EXPECT_EQ(
                refusalOf([&] { session.collect(session.pipe("r", {}, type), {}, expected); }),
                "no memory is left for the " + std::to_string(expected) + " elements of `r` that are to be collected");
    }
}

TEST(Session, BlocksAndRatesOutOfRangeAreRefused) {
    for (const std::uint32_t block : {0U, maxBlock + 1, UINT32_MAX}) {
        const std::string allowed = " is 1 to 16777216 elements, and not " + std::to_string(block);
        EXPECT_EQ(refusalOf([&] { TestSession({.block = block}); }), "the default block" + allowed);
        EXPECT_EQ(refusalOf([&] {
                      TestSession({.info = {{17, block}}});
                  }),
                  "the answer of selector 17, the default block," + allowed);
    }
    for (const double rate : {0.0, -1.0, HUGE_VAL, std::nan("")})
        EXPECT_NE(refusalOf([&] { TestSession({.rate = rate}); }), "nothing is refused") << rate;
    TestSession session({.block = maxBlock, .rate = 1e300, .info = {{17, maxBlock}}});
    session.script("task_pause:1 task_pause:0xFFFFFFFF printf:1");
    EXPECT_EQ(session.run().console, Lines{"1"});
}

// What tasks print comes to the caller's own code while a task's frames stand below it.
TEST(Session, WhatItsConsoleThrowsEndsTheRun) {
    SinkLog log;
    int told = 0;
    const auto runWith = [&](const auto& thrown) {
        TestSession session({.console = [&](std::string_view) { ++told, throw thrown; }});
        const PipeId copy = session.pipe("copy");
        session.task("ABS", session.input("source", countUp(5000)), copy);
        session.setOutput(copy, std::make_unique<LogSink>(log));
        session.script("task_switch 3( printf:1 )");
        return session.run();
    };
    const Report report = runWith(Problem("the terminal is gone", "open another"));
    EXPECT_EQ(std::tuple(report.status, report.reason, report.remedy),
              std::tuple(Report::Status::failed, "the terminal is gone", "open another"));
    EXPECT_EQ(statesOf(report), Lines({"running", "running"}));
    EXPECT_THROW(runWith(std::length_error("too much")), std::length_error);
    EXPECT_EQ(std::pair(told, log.finished), std::pair(2, 0));
}

}  // namespace
}  // namespace libzepl
