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

TEST(Discard, DataGoOnceASampleComesToTheFirstPipe) {
    for (const bool comes : {false, true}) {
        TestSession session;
        const PipeId first = session.pipe("first"), second = session.pipe("second"), third = session.pipe("third");
        addCall(session, "DISCARD (first, second, third)");
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
    session.input("source", source);
    addCall(session, "PCOUNT (source, v)");
    session.run();
    // An int16 variable too is written in 32 bits.
    if constexpr (sizeof(Value) == 2) {
        EXPECT_EQ(session.valueOf<std::int32_t>(tally), start + static_cast<std::int32_t>(source.size()));
    }
    return session.valueOf<Value>(tally);
}

TEST(Pcount, CountsContinueFromTheVariableAndWrap) {
    const std::vector<float> source(5000, NAN);
    EXPECT_EQ(sameForEveryArrival(1024, [&](FeedPolicy feed) { return counted<std::int32_t>(-3, source, feed); }),
              4997);
    EXPECT_EQ(counted<std::int16_t>(30000, source), -30536);
    EXPECT_EQ(counted<std::int32_t>(2147483647, source), -2147483648LL + 4999);
    EXPECT_EQ(counted<double>(-0.5, source), 4999.5);
}

TYPED_TEST_SUITE(Routed, Elements);

TYPED_TEST(Routed, PvalueKeepsTheLastSample) {
    const auto source = std::vector<TypeParam>{1, 2, static_cast<TypeParam>(-2.5)};
    TestSession session;
    const VariableId kept = variable(session, TypeParam{9});
    session.input("source", source);
    addCall(session, "PVALUE (source, v)");
    session.run();
    EXPECT_EQ(session.valueOf<TypeParam>(kept), source[2]);
    // An int16 variable too is written in 32 bits.
    if constexpr (sizeof(TypeParam) == 2) {
        EXPECT_EQ(session.valueOf<std::int32_t>(kept), -2);
    }
}

TEST(Pvalue, AVariableOfAnotherTypeIsRefused) {
    for (const ElementType stream : allElementTypes) {
        for (const ElementType kept : allElementTypes) {
            const std::string call =
                "PVALUE (" + std::string(nameOf(stream)) + ", variable:" + std::string(nameOf(kept)) + ")";
            stream == kept ? expectReady({call}) : expectRefused({call}, 3, 2);
        }
    }
}

// Ten blocks of five are there from the start; gives the first sample of each block that is sent.
Int32s blocksSent(TestSession& session, const std::string& request) {
    session.input("source", countUp(50));
    const PipeId dest = session.output("dest");
    addCall(session, "MRBLOCK (source, " + request + ", 5, dest)");
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

TEST(Mrblock, SendsTheRequestedNumberOfBlocks) {
    const struct {
        std::int16_t request;
        Int32s sent;
    } cases[] = {{0, {}}, {1, {0}}, {3, {0, 5, 10}}, {-5, {}}, {11, {0, 5, 10, 15, 20, 25, 30, 35, 40, 45}}};
    for (const auto& [request, sent] : cases) {
        TestSession session({.feed = whole});
        const VariableId wanted = variable(session, request);
        EXPECT_EQ(blocksSent(session, "v"), sent) << request;
        EXPECT_EQ(session.valueOf<std::int32_t>(wanted), 0) << request;
    }
}

TEST(Mrblock, RequestsFromAPipeAreServedOnce) {
    TestSession session({.feed = whole});
    session.input("requests", std::vector<std::int16_t>{0, -7, 2, -1, 1, 1});
    // The oldest go before the first request that counts; then 45 is the last and 2 wait for more.
    EXPECT_EQ(blocksSent(session, "requests"), Int32s{45});
}

TEST(Mrblock, ListsAreRefusedAtTheFirstMistake) {
    expectReady({"MRBLOCK (int16, int16, 1, int16)", "MRBLOCK (double, int16, 70000:int32, double)"});
    expectRefused({"MRBLOCK (int16, int16, 0, int32)"}, 3, 4);
    expectRefused({"MRBLOCK (int16, int16, 0, int16)", "MRBLOCK (float, int16, -1:int32, float)"}, 5, 3);
    expectRefused({"MRBLOCK (int16, 1, 5, int16)", "MRBLOCK (int16, int32, 5, int16)"}, 0, 2);
}

Int32s loaded(const Int32s& source, int in, int out, std::optional<std::uint64_t> limit = {}) {
    const Call call("LOADING (in, " + std::to_string(in) + ", 100, 50, out:int32, " + std::to_string(out) + ")",
                    {{"in", source}}, {}, limit);
    EXPECT_EQ(call.report.status, Report::Status::ok);
    return call.taken<std::int32_t>();
}

TEST(Loading, BlocksAreWhatIsInTheBuffer) {
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

TEST(Loading, ListsAreRefusedAtTheFirstMistake) {
    expectReady(
        {"LOADING (int16, 0, 1, 0, int16, 0)", "LOADING (double, 4096, 70000:int32, 69999:int32, double, 4096)"});
    expectRefused({"LOADING (int16, -1, 0, 0, float, -1)"}, 3, 5);
    expectRefused({"LOADING (int16, 4097, 0, 0, int16, 4097)", "LOADING (int16, -1, 1, 0, int16, 1)"}, 5, 2);
    expectRefused({"LOADING (int16, 1, 0, -1, int16, 4097)", "LOADING (int16, 1, 1, 0, int16, -1)"}, 5, 6);
    expectRefused({"LOADING (int16, 1, 0, -1, int16, 1)"}, 5, 3);
    expectRefused({"LOADING (int16, 1, 1, -1:int32, int16, 1)"}, 5, 4);
    expectRefused({"LOADING (int16, 1, 9, 9, int16, 1)"}, 4, 4);
    expectRefused({"LOADING (int16, 1:int32, 1, 0, int16, 1)"}, 0, 2);
    expectRefused({"LOADING (int16, 1, 1, 0, int16, 1:int32)"}, 0, 6);
}

}  // namespace
}  // namespace libzepl
