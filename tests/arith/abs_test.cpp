// ABS against its plain definition, over every bit pattern that matters, however its input arrives.

#include <algorithm>
#include <bit>
#include <cmath>

#include "tests/support/child_output.h"
#include "tests/support/covered.h"
#include "tests/support/samples.h"
#include "tests/support/session_support.h"

namespace libzepl {
namespace {

const Covers covers("ABS");

template <class Element>
Element absolute(Element x) {
    if constexpr (std::is_integral_v<Element>) {
        if (x == std::numeric_limits<Element>::min()) return std::numeric_limits<Element>::max();
        return x < 0 ? static_cast<Element>(-x) : x;
    } else if constexpr (sizeof(Element) == 4) {
        const volatile double wide = static_cast<double>(x);
        const volatile double positive = std::fabs(wide);
        return static_cast<float>(positive);
    } else {
        return std::bit_cast<double>(std::bit_cast<std::uint64_t>(x) & ~(std::uint64_t{1} << 63));
    }
}

// The bits, so that NaNs and zeros are told apart.
template <class Element>
std::vector<BitsOf<Element>> afterAbs(const std::vector<Element>& elements) {
    TestSession session;
    const PipeId source = session.input("source", elements);
    const PipeId result = session.output("result", {}, elementTypeOf<Element>());
    session.task("ABS", source, result);
    EXPECT_EQ(session.run().status, Report::Status::ok);
    return bitsOf(session.collected<Element>(result));
}

template <class Element>
class Abs : public testing::Test {};
using Elements = testing::Types<std::int16_t, std::int32_t, float, double>;
TYPED_TEST_SUITE(Abs, Elements);

TYPED_TEST(Abs, ASampleDiffersFromThePlainDefinition) {
    const std::vector<TypeParam> source = edgeSamples<TypeParam>();
    std::vector<TypeParam> expected;
    for (const TypeParam x : source) expected.push_back(absolute(x));
    const auto want = bitsOf(expected), have = afterAbs(source), given = bitsOf(source);
    ASSERT_EQ(have.size(), want.size());
    for (std::size_t i = 0; i < want.size(); ++i) ASSERT_EQ(have[i], want[i]) << "of bits " << std::hex << given[i];
}

TEST(AbsEdges, TheyDifferFromWhatIsPromised) {
    EXPECT_EQ(afterAbs<std::int16_t>({-32768, -32767, -1, 0, 1, 32767}),
              (std::vector<std::uint16_t>{32767, 32767, 1, 0, 1, 32767}));
    EXPECT_EQ(afterAbs<std::int32_t>({-2147483647 - 1, -2147483647, -1, 0, 2147483647}),
              (std::vector<std::uint32_t>{2147483647, 2147483647, 1, 0, 2147483647}));
    EXPECT_EQ(afterAbs<float>({-0.0F, -INFINITY, -1e-45F, std::bit_cast<float>(0xff800001u)}),
              (std::vector<std::uint32_t>{0, 0x7f800000, 1, 0x7fc00001}));
    EXPECT_EQ(afterAbs<double>({-0.0, -INFINITY, -5e-324, std::bit_cast<double>(0xfff0000000000001u)}),
              (std::vector<std::uint64_t>{0, 0x7ff0000000000000, 1, 0x7ff0000000000001}));
}

// Notes how many elements come at once; the session takes them after each round, in which ABS passes one block on.
class CountingSink : public Sink {
 public:
    explicit CountingSink(std::vector<std::size_t>& counts) : counts_(counts) {}
    void write(const void*, std::size_t count) override { counts_.push_back(count); }
    void finish() override {}

 private:
    std::vector<std::size_t>& counts_;
};

std::vector<std::size_t> blocksOf(std::size_t elements, FeedPolicy feed) {
    std::vector<std::size_t> counts;
    TestSession session({.feed = feed});
    const PipeId source = session.input("source", countUp(elements));
    const PipeId result = session.pipe("result");
    session.setOutput(result, std::make_unique<CountingSink>(counts));
    session.task("ABS", source, result);
    session.run();
    return counts;
}

TEST(AbsBlocks, ABlockWaitsForMoreOrPassesItsGreatestCount) {
    using Counts = std::vector<std::size_t>;
    const FeedPolicy whole{.kind = FeedPolicy::Kind::whole}, single{.piece = 1};
    EXPECT_EQ(blocksOf(2500, whole), Counts({1000, 1000, 500}));
    EXPECT_EQ(blocksOf(2500, {.piece = 2500}), Counts({1000, 1000, 500}));
    EXPECT_EQ(blocksOf(1000, whole), Counts({1000}));
    EXPECT_EQ(blocksOf(1001, whole), Counts({1000, 1}));
    EXPECT_EQ(blocksOf(1, whole), Counts({1}));
    EXPECT_EQ(blocksOf(3, single), Counts({1, 1, 1}));
    EXPECT_EQ(blocksOf(0, whole), Counts({}));
}

TEST(AbsBlocks, TheHostIsCalledInAnotherOrder) {
    Lines calls = sceneOf("abs '" TEST_MODULE_FILE "'");
    calls.erase(calls.begin(), std::find(calls.begin(), calls.end(), "param_process 9: 2 to 2, masks a0c0 a0c0"));
    Lines expected{"param_process 9: 2 to 2, masks a0c0 a0c0",
                   "param_type 9 at 1",
                   "param_type 9 at 2",
                   "pipe_open 22 mode 1",
                   "pbuf_open 22 capacity 1000",
                   "pbuf_get_data_ptr 122",
                   "pipe_open 21 mode 0",
                   "pbuf_open 21 capacity 0",
                   "pbuf_set_min_cnt 121: 1",
                   "pbuf_set_max_cnt 121: 1000",
                   "pbuf_set_data_ptr 121: area 122 + 0",
                   "param_type 9 at 1"};
    const auto refill = [&] {
        expected.insert(expected.end(), {"task_switch", "pbuf_get_data_ptr 121", "pbuf_get 121"});
    };
    refill();
    for (const char* put : {"pbuf_put_set_cnt 122: 3, 1 2 32767", "", "pbuf_put_set_cnt 122: 1, 5"}) {
        expected.emplace_back("pbuf_get_data_ptr 122");
        if (*put != '\0') expected.emplace_back(put);
        refill();
    }
    expected.emplace_back("stopped");
    EXPECT_EQ(calls, expected);
    EXPECT_EQ(sceneOf("abs_of_triggers '" TEST_MODULE_FILE "'").back(), "returned 0");
}

// What becomes of ABS with these parameters.
template <class... Given>
std::string outcome(TestSession& session, const Given&... given) {
    session.task("ABS", given...);
    return statesOf(session.run())[0];
}

TEST(AbsParameters, UnequalTypesPass) {
    for (const ElementType source : allElementTypes) {
        for (const ElementType destination : allElementTypes) {
            TestSession session;
            const PipeId from = session.pipe("from", {}, source), to = session.pipe("to", {}, destination);
            EXPECT_EQ(outcome(session, from, to), source == destination ? "waiting" : "error code 3 at 2")
                << nameOf(source) << " " << nameOf(destination);
        }
    }
}

TEST(AbsParameters, AWrongNumberPasses) {
    TestSession none, one, three;
    EXPECT_EQ(outcome(none), "refused at 1");
    EXPECT_EQ(outcome(one, one.pipe("a")), "refused at 2");
    // Also types that differ: the number is looked at first.
    EXPECT_EQ(outcome(three, three.pipe("a"), three.pipe("b", {}, ElementType::int16), three.pipe("c")),
              "refused at 3");
}

TEST(AbsParameters, WhatIsNoPipePasses) {
    const std::vector<std::pair<const char*, TaskArgument (*)(TestSession&)>> others{
        {"int16", [](TestSession&) { return int16Constant(1); }},
        {"double", [](TestSession&) { return doubleConstant(1); }},
        {"text", [](TestSession&) { return textConstant("text"); }},
        {"word", [](TestSession&) { return hostWord(1); }},
        {"trigger", [](TestSession& session) { return session.use(session.addTrigger("event")); }},
        {"vector", [](TestSession& session) { return session.use(session.addVector("v", ElementType::int32, {})); }},
    };
    for (const auto& [name, make] : others) {
        TestSession first, second;
        const PipeId to = first.pipe("to"), from = second.pipe("from");
        EXPECT_EQ(outcome(first, make(first), to), "refused at 1") << name;
        EXPECT_EQ(outcome(second, from, make(second)), "refused at 2") << name;
    }
}

}  // namespace
}  // namespace libzepl
