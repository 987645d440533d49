// The library's own checks: what a caller does wrong is a Problem, and nothing is read or written past its end.

#include <climits>
#include <cmath>
#include <functional>
#include <stdexcept>

#include "tests/support/session_support.h"

namespace libzepl {
namespace {

using Shorts = std::vector<std::int16_t>;

// What `step` is refused with.
std::string refusalOf(const std::function<void()>& step) {
    try {
        step();
    } catch (const Problem& problem) {
        return problem.what();
    }
    return "nothing is refused";
}

constexpr std::uint64_t huge = ~std::uint64_t{0};

TEST(SessionTypes, ElementsOfAnotherTypeAreRefused) {
    TestSession session;
    const PipeId narrow = session.output("narrow", {}, ElementType::int16),
                 wide = session.pipe("wide", {}, ElementType::float64);
    const std::int32_t seven = -7;
    const VariableId count = session.addVariable("count", ElementType::int32, &seven);
    const double half = 0.5;
    const VariableId real = session.addVariable("real", ElementType::float64, &half);
    EXPECT_EQ(refusalOf([&] {
                  session.feed<std::int16_t>(wide, {1, 2, 3});
              }),
              "`wide` is a pipe of double, and not of int16");
    session.feed<double>(wide, {0.5});
    session.run();
    EXPECT_EQ(refusalOf([&] { session.collected<double>(narrow); }), "`narrow` is a pipe of int16, and not of double");
    EXPECT_EQ(session.collected<std::int16_t>(narrow), Shorts());
    for (const auto& wrong : {std::function<void()>([&] { session.valueOf<float>(count); }),
                              std::function<void()>([&] { session.valueOf<double>(count); })})
        EXPECT_EQ(refusalOf(wrong), "`count` is a variable of int32");
    EXPECT_EQ(refusalOf([&] { session.valueOf<float>(real); }), "`real` is a variable of double");
    EXPECT_EQ(refusalOf([&] { session.valueOf<std::int64_t>(real); }), "`real` is a variable of double");
    EXPECT_EQ(session.valueOf<std::int64_t>(count), -7);
    EXPECT_EQ(session.valueOf<double>(real), 0.5);
}

TEST(SessionTypes, AnArgumentMustBeWhatItsKindSays) {
    TestSession session;
    TaskArgument pipe = session.use(session.pipe("p", {}, ElementType::int16));
    pipe.kind = zepl::pipeDouble;
    const auto said = [&](const TaskArgument& argument) { return refusalOf([&] { session.task("ABS", argument); }); };
    EXPECT_EQ(said(pipe), "argument 1 of ABS names a pipe of int16 and says it is a pipe of double");
    TaskArgument vector = session.use(session.addVector("v", ElementType::int16, {}));
    vector.object += 1;
    EXPECT_EQ(said(vector), "the session has not given this id of a vector");
    for (const zepl::ParamMask kind : {0U, 0x20U, zepl::anyPipe, zepl::beginRepeat}) {
        TaskArgument odd = int16Constant(1);
        odd.kind = kind;
        EXPECT_EQ(said(odd), "argument 1 of ABS has no kind") << kind;
    }
    EXPECT_TRUE(session.run().tasks.empty());
}

TEST(SessionIds, AnotherSessionsAreRefused) {
    TestSession first, second;
    const std::int16_t zero = 0;
    for (TestSession* session : {&first, &second}) {
        session->pipe("p");
        session->addTrigger("t");
        session->addVariable("v", ElementType::int16, &zero);
    }
    const PipeId pipe = first.pipeNamed("p");
    const TriggerId trigger = first.triggerNamed("t");
    const VariableId variable = first.variableNamed("v");
    const VectorId vector = first.addVector("w", ElementType::int16, {});
    const std::vector<std::pair<const char*, std::function<void()>>> wrong{
        {"pipe", [&] { second.use(pipe); }},
        {"pipe", [&] { second.collect(pipe); }},
        {"pipe", [&] { second.feed<std::int32_t>(pipe, {1}); }},
        {"pipe", [&] { second.task("DISCARD", first.use(pipe)); }},
        {"pipe", [&] { second.collect(PipeId{0}); }},
        {"pipe", [&] { first.collected<std::int32_t>(PipeId{static_cast<std::uint64_t>(pipe) + 1}); }},
        {"trigger", [&] { second.setInput(trigger, {}); }},
        {"trigger", [&] { second.setTriggerMode(trigger, 1); }},
        {"trigger", [&] { second.collectedEvents(trigger); }},
        {"variable", [&] { second.valueOf<std::int16_t>(variable); }},
        {"vector", [&] { second.use(vector); }},
    };
    for (const auto& [what, step] : wrong)
        EXPECT_EQ(refusalOf(step), std::string("the session has not given this id of a ") + what);
    EXPECT_EQ(refusalOf([&] { first.pipeNamed("q"); }), "the session has no `q` of this sort");
}

TEST(SessionSizes, WhatNoMemoryHoldsIsRefused) {
    const std::string most = " bytes has room for, at most ";
    for (const ElementType type : allElementTypes) {
        const std::uint64_t width = widthOf(type), greatest = (std::uint64_t{4} << 30) / width;
        for (const std::uint64_t capacity : {greatest + 1, (huge >> 1) / width + 2, huge / 2, huge})
            EXPECT_EQ(refusalOf([&] { TestSession().pipe("p", capacity, type); }),
                      "a capacity of " + std::to_string(capacity) +
                          " elements for `p` is more than the memory limit of 4294967296" + most +
                          std::to_string(greatest));
        TestSession session({.memoryLimit = huge});
        session.pipe("p", std::uint64_t{1} << 56, type);
        EXPECT_EQ(refusalOf([&] { session.pipe("q", (std::uint64_t{1} << 56) + 1, type); }),
                  "a capacity of 72057594037927937 elements for `q` is more than the memory limit of " +
                      std::to_string(huge) + most + "72057594037927936");
        for (const std::uint64_t expected : {huge / width + 1, huge})
            EXPECT_EQ(
                refusalOf([&] { session.collect(session.pipe("r", {}, type), {}, expected); }),
                "no memory is left for the " + std::to_string(expected) + " elements of `r` that are to be collected");
    }
}

class Endless : public Source {
 public:
    Endless(std::uint64_t length, int channels) : length_(length), channels_(channels) {}
    std::size_t read(void*, std::size_t) override { return 0; }
    std::optional<std::uint64_t> length() const override { return length_; }
    int channels() const override { return channels_; }
    std::optional<double> rate() const override { return std::nullopt; }

 private:
    std::uint64_t length_;
    int channels_;
};

TEST(SessionSizes, InputsAndBytesThatCannotBeAreRefused) {
    TestSession session;
    const PipeId pipe = session.pipe("p");
    const std::int32_t one = 1;
    const std::vector<std::pair<std::string, std::function<void()>>> wrong{
        {"the input of `p` has 18446744073709551615 elements, more than any memory holds",
         [&] { session.feedMemory(pipe, &one, huge); }},
        {"the input of `p` has 72057594037927937 elements, more than any memory holds",
         [&] { session.setInput(pipe, std::make_unique<Endless>((std::uint64_t{1} << 56) + 1, 1)); }},
        {"the input of `p` has 0 channels, and 1 is the least", [&] { session.feedMemory(pipe, &one, 1, 0); }},
        {"the input of `p` has -2147483648 channels, and 1 is the least",
         [&] { session.setInput(pipe, std::make_unique<Endless>(1, INT_MIN)); }},
        {"the input of `p` is given no source", [&] { session.setInput(pipe, nullptr); }},
        {"`p` is fed from no memory", [&] { session.feedMemory(pipe, nullptr, 1); }},
        {"the output of `p` is given no sink", [&] { session.setOutput(pipe, nullptr); }},
        {"`x` is given 7 bytes, which are no whole number of its int32 elements",
         [&] { session.addPipe({.name = "x", .type = ElementType::int32, .starts = std::vector<std::byte>(7)}); }},
        {"`vector 1` is given 4 bytes, which are no whole number of its double elements",
         [&] { session.addVector("", ElementType::float64, std::vector<std::byte>(4)); }},
        {"`y` is given no value", [&] { session.addVariable("y", ElementType::int16, nullptr); }},
    };
    for (const auto& [said, step] : wrong) EXPECT_EQ(refusalOf(step), said);
    session.feedMemory(pipe, &one, 1);
    EXPECT_EQ(session.run().pipes.at(0).written, 1U);
}

TEST(SessionSizes, BlocksAndRatesOutOfRangeAreRefused) {
    for (const std::uint32_t block : {0U, maxBlock + 1, UINT32_MAX}) {
        const std::string allowed = " is 1 to 16777216 elements, and not " + std::to_string(block);
        EXPECT_EQ(refusalOf([&] { TestSession({.block = block}); }), "the default block" + allowed);
        EXPECT_EQ(refusalOf([&] {
                      TestSession({.info = {{17, block}}});
                  }),
                  "what selector 17 tells, the default block," + allowed);
    }
    for (const double rate : {0.0, -1.0, HUGE_VAL, std::nan("")})
        EXPECT_EQ(refusalOf([&] {
                      TestSession({.rate = rate});
                  }).starts_with("a rate is a positive, finite number of frames a second, and not "),
                  true)
            << rate;
    TestSession session({.block = maxBlock, .rate = 1e300, .info = {{17, maxBlock}}});
    session.script("pause:1 pause:0xFFFFFFFF say:1");
    EXPECT_EQ(session.run().console, Lines{"1"});
}

TEST(SessionOrder, AChannelTakesOneInputAndOneOutput) {
    TestSession session;
    const PipeId pipe = session.pipe("p");
    const TriggerId trigger = session.addTrigger("t");
    session.feed<std::int32_t>(pipe, {1});
    session.setInput(trigger, {});
    session.collect(pipe);
    session.collect(trigger);
    SinkLog log;
    EXPECT_EQ(refusalOf([&] { session.feed<std::int32_t>(pipe, {2}); }), "`p` has an input already");
    EXPECT_EQ(refusalOf([&] { session.setInput(trigger, {}); }), "`t` has an input already");
    EXPECT_EQ(refusalOf([&] { session.collect(pipe); }), "`p` has an output already");
    EXPECT_EQ(refusalOf([&] { session.setOutput(pipe, std::make_unique<LogSink>(log), 1); }),
              "`p` has an output already");
    EXPECT_EQ(refusalOf([&] { session.collect(trigger, 5); }), "`t` has an output already");
    session.run();
    EXPECT_EQ(session.collected<std::int32_t>(pipe), std::vector<std::int32_t>{1});
}

TEST(SessionOrder, ASessionThatHasRunTakesNothingMore) {
    TestSession session;
    const PipeId pipe = session.output("p");
    const TriggerId trigger = session.addTrigger("t");
    const std::int16_t zero = 0;
    session.run();
    for (const auto& step : std::vector<std::function<void()>>{
             [&] { session.run(); }, [&] { session.pipe("q"); }, [&] { session.addTrigger("u"); },
             [&] { session.addVariable("v", ElementType::int16, &zero); },
             [&] { session.addVector("w", ElementType::int16, {}); }, [&] { session.task("ABS"); },
             [&] { session.feed<std::int32_t>(pipe, {1}); }, [&] { session.setInput(trigger, {}); },
             [&] { session.collect(pipe); }, [&] { session.collect(trigger); }})
        EXPECT_EQ(refusalOf(step), "the session has run: it takes nothing more and runs once");
    EXPECT_EQ(session.collected<std::int32_t>(pipe), std::vector<std::int32_t>());
}

TEST(SessionOrder, AnEmptyNameBecomesANumberedOne) {
    TestSession session;
    const PipeId first = session.pipe("first");
    session.task("ABS", first, session.pipe("", {}, ElementType::int16));
    EXPECT_EQ(session.run().tasks[0].text,
              "parameter 2, `pipe 2`: its element type differs from that of the parameter it goes with");
}

// What tasks print comes to the caller's own code while a task's frames stand below it.
TEST(SessionConsole, WhatItThrowsEndsTheRun) {
    SinkLog log;
    const auto runWith = [&](std::function<void(std::string_view)> console) {
        TestSession session({.console = std::move(console)});
        const PipeId copy = session.pipe("copy");
        session.task("ABS", session.input("source", countUp(5000)), copy);
        session.setOutput(copy, std::make_unique<LogSink>(log));
        session.script("switch 3( say:1 ) store:9,9");
        return session.run();
    };
    int told = 0;
    const Report report = runWith([&](std::string_view) {
        ++told;
        throw Problem("the terminal is gone", "open another");
    });
    EXPECT_EQ(report.status, Report::Status::failed);
    EXPECT_EQ(report.reason, "the terminal is gone");
    EXPECT_EQ(report.remedy, "open another");
    EXPECT_EQ(statesOf(report), Lines({"running", "running"}));
    EXPECT_EQ(told, 1);
    EXPECT_THROW(runWith([](std::string_view) { throw std::length_error("too much"); }), std::length_error);
    EXPECT_EQ(log.finished, 0);
}

}  // namespace
}  // namespace libzepl
