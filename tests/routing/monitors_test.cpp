// The commands at the ends and in the middle of a pipe: DISCARD, PCOUNT, PVALUE, MRBLOCK and LOADING.

#include "tests/routing/routing_support.h"
#include "tests/support/child_output.h"

namespace libzepl {
namespace {

const Covers discard("DISCARD"), pcount("PCOUNT"), pvalue("PVALUE"), mrblock("MRBLOCK"), loading("LOADING");

using Int32s = std::vector<std::int32_t>;
constexpr FeedPolicy whole{.kind = FeedPolicy::Kind::whole};

template <class Value>
VariableId variable(TestSession& session, Value value) {
    return session.addVariable("v", elementTypeOf<Value>(), &value);
}

TEST(Discard, DataGoBeforeASampleComesToTheFirstPipeOrStayThen) {
    for (const bool comes : {false, true}) {
        TestSession session;
        const PipeId first = session.pipe("first"), second = session.pipe("second"), third = session.pipe("third");
        session.task("DISCARD", first, second, third);
        session.script(std::string("open_write:2 open_write:3 open_write:4 task_switch 2000( pipe_put:3,# ) 7( "
                                   "pipe_put:4,# ) task_switch ") +
                           (comes ? "pipe_put:2,1" : ""),
                       first, second, third);
        const Report report = session.run();
        EXPECT_EQ(report.pipes[0].unread, 0U);
        EXPECT_EQ(report.pipes[1].unread, comes ? 0U : 2000U);
        EXPECT_EQ(report.pipes[2].unread, comes ? 0U : 7U);
    }
}

template <class Value>
Value counted(Value start, const std::vector<float>& source, FeedPolicy feed = {}) {
    TestSession session({.feed = feed});
    const VariableId tally = variable(session, start);
    session.task("PCOUNT", session.input("source", source), tally);
    session.run();
    // An int16 variable too is written in 32 bits.
    if constexpr (sizeof(Value) == 2) {
        EXPECT_EQ(session.valueOf<std::int32_t>(tally), start + static_cast<std::int32_t>(source.size()));
    }
    return session.valueOf<Value>(tally);
}

TEST(Pcount, ACountIsLostOrClearedOrWrapsElsewhere) {
    const std::vector<float> source(5000, NAN);
    EXPECT_EQ(sameForEveryArrival(1024, [&](FeedPolicy feed) { return counted<std::int32_t>(-3, source, feed); }),
              4997);
    EXPECT_EQ(counted<std::int16_t>(30000, source), -30536);
    EXPECT_EQ(counted<std::int32_t>(2147483647, source), -2147483648LL + 4999);
    EXPECT_EQ(counted<double>(-0.5, source), 4999.5);
}

TYPED_TEST_SUITE(Routed, Elements);

TYPED_TEST(Routed, AnotherSampleThanTheLastIsKeptByPvalue) {
    const auto source = std::vector<TypeParam>{1, 2, static_cast<TypeParam>(-2.5)};
    TestSession session;
    const VariableId kept = variable(session, TypeParam{9});
    session.task("PVALUE", session.input("source", source), kept);
    session.run();
    EXPECT_EQ(session.valueOf<TypeParam>(kept), source[2]);
    // An int16 variable too is written in 32 bits.
    if constexpr (sizeof(TypeParam) == 2) {
        EXPECT_EQ(session.valueOf<std::int32_t>(kept), -2);
    }
}

TEST(Pvalue, AVariableOfAnotherTypePasses) {
    for (const ElementType stream : allElementTypes) {
        for (const ElementType kept : allElementTypes) {
            const std::int64_t nothing = 0;
            TestSession session;
            session.task("PVALUE", session.pipe("source", {}, stream), session.addVariable("v", kept, &nothing));
            EXPECT_EQ(statesOf(session.run())[0], stream == kept ? "waiting" : "error code 3 at 2");
        }
    }
}

// Ten blocks of five are there from the start; gives the first sample of each block that is sent.
Int32s blocksSent(TestSession& session, const TaskArgument& request) {
    const PipeId source = session.input("source", countUp(50)), dest = session.output("dest");
    session.task("MRBLOCK", source, request, int16Constant(5), dest);
    session.run();
    const Int32s sent = session.collected<std::int32_t>(dest);
    Int32s starts;
    for (std::size_t i = 0; i < sent.size(); i += 5) {
        const auto from = sent.begin() + static_cast<std::ptrdiff_t>(i);
        EXPECT_EQ(Int32s(from, from + 5), countUp(5, sent[i]));
        starts.push_back(sent[i]);
    }
    return starts;
}

TEST(Mrblock, AnotherBlockOrAnotherNumberOfThemIsSent) {
    const struct {
        std::int16_t request;
        Int32s sent;
    } cases[] = {{0, {}}, {1, {0}}, {3, {0, 5, 10}}, {-5, {}}, {11, {0, 5, 10, 15, 20, 25, 30, 35, 40, 45}}};
    for (const auto& [request, sent] : cases) {
        TestSession session({.feed = whole});
        const VariableId wanted = variable(session, request);
        EXPECT_EQ(blocksSent(session, session.use(wanted)), sent) << request;
        EXPECT_EQ(session.valueOf<std::int32_t>(wanted), 0) << request;
    }
}

TEST(Mrblock, RequestsFromAPipeAreLostOrDoubled) {
    TestSession session({.feed = whole});
    const PipeId requests = session.input("requests", std::vector<std::int16_t>{0, -7, 2, -1, 1, 1});
    // The oldest go before the first request that counts; then 45 is the last and 2 wait for more.
    EXPECT_EQ(blocksSent(session, session.use(requests)), Int32s{45});
}

TEST(Mrblock, AListThatIsNotItsOwnPasses) {
    expectSetUps("MRBLOCK",
                 "ready: i16 i16 1 i16; ready: f64 i16 70000l f64; 3 at 4: i16 i16 0 i32; 5 at 3: i16 i16 0 i16;"
                 "5 at 3: f32 i16 -1l f32; refused at 2: i16 1 5 i16; refused at 2: i16 i32 5 i16");
}

Int32s loaded(const Int32s& source, int in, int out, std::optional<std::uint64_t> limit = {}) {
    TestSession session;
    const PipeId dest = session.output("dest", limit);
    session.task("LOADING", session.input("source", source), int16Constant(static_cast<std::int16_t>(in)),
                 int16Constant(100), int16Constant(50), dest, int16Constant(static_cast<std::int16_t>(out)));
    EXPECT_EQ(session.run().status, Report::Status::ok);
    return session.collected<std::int32_t>(dest);
}

TEST(Loading, ABlockIsNotWhatIsInTheBuffer) {
    EXPECT_EQ(loaded(countUp(8, 1), 3, 2), (Int32s{1, 2, 4, 5}));
    EXPECT_EQ(loaded(countUp(5, 1), 2, 3), (Int32s{1, 2, 0, 3, 4, 0}));
    EXPECT_EQ(loaded(countUp(5, 1), 0, 2, 6), (Int32s{0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(loaded(countUp(5, 1), 2, 0), Int32s());
}

// In microseconds, as two words: 100, 100 + 46, and a product and a sum that wrap in 32 bits, sign-extended.
TEST(Loading, TheTimeOfABlockHasAFixedShareOfItsVariation) {
    Lines times = sceneOf("loading '" TEST_MODULE_FILE "'");
    std::erase_if(times, [](const std::string& line) { return !line.starts_with("u64UsToSysTicks"); });
    EXPECT_EQ(times, Lines({"u64UsToSysTicks 64 0", "u64UsToSysTicks 92 0", "u64UsToSysTicks 800cccc9 ffffffff"}));
}

TEST(Loading, AListThatIsNotItsOwnPasses) {
    expectSetUps(
        "LOADING",
        "ready: i16 0 1 0 i16 0; ready: f64 4096 70000l 69999l f64 4096; 3 at 5: i16 -1 0 0 f32 -1;"
        "5 at 2: i16 4097 0 0 i16 4097; 5 at 2: i16 -1 1 0 i16 1; 5 at 6: i16 1 0 -1 i16 4097;"
        "5 at 6: i16 1 1 0 i16 -1; 5 at 3: i16 1 0 -1 i16 1; 5 at 4: i16 1 1 -1l i16 1; 4 at 4: i16 1 9 9 i16 1;"
        "refused at 2: i16 1l 1 0 i16 1; refused at 6: i16 1 1 0 i16 1l");
}

}  // namespace
}  // namespace libzepl
