// PIDRAMP: the shapes at both ends, the lengths, and the steps that wrap.

#include "tests/control/control_support.h"

namespace libzepl {
namespace {

const Covers covers("PIDRAMP");

template <class Element>
std::vector<Element> ramped(const std::vector<Element>& levels, int period, const std::string& shape = "LINEAR") {
    return resultOf<Element>("PIDRAMP (in, out, " + std::to_string(period) + ", \"" + shape + "\")", levels, atOnce());
}

TEST(Pidramp, AStraightRampHasEqualSteps) {
    using Int16 = std::vector<std::int16_t>;
    EXPECT_EQ(ramped<float>({100}, 4), (std::vector<float>{25, 50, 75, 100}));
    EXPECT_EQ(ramped<std::int16_t>({10, -10}, 4), Int16({2, 5, 7, 10, 5, 0, -5, -10}));
    EXPECT_EQ(ramped<std::int16_t>({8, 8}, 2), Int16({4, 8, 8, 8}));
    for (const int step : {1, 0, -5}) EXPECT_EQ(ramped<double>({3, -3}, step), (std::vector<double>{3, -3}));
    EXPECT_EQ(ramped<double>({4096}, 5000).size(), 4096U);
}

TEST(Pidramp, AStepThatItsTypeDoesNotHoldWraps) {
    // -60000 is 5536 in 16 bits, so the values lie beyond the level, and wrap.
    EXPECT_EQ(ramped<std::int16_t>({-30000, 30000}, 4),
              (std::vector<std::int16_t>{-7500, -15000, -22500, -30000, -31384, -32768, 31384, 30000}));
    const std::int32_t most = 2147483647;
    EXPECT_EQ(ramped<std::int32_t>({most, -most}, 2), (std::vector<std::int32_t>{1073741823, most, -most - 1, -most}));
    // Single precision loses the 1 in the step, and only there.
    EXPECT_EQ(ramped<float>({16777216, -1}, 4)[4], 12582911.0F);
}

TEST(Pidramp, CurvesAreTheirFormulas) {
    for (const int n : {1, 2, 5, 64, 4095, 4096}) {
        const auto decay = ramped<double>({1}, n, "EXPONENTIAL"), s = ramped<double>({1}, n, "HYPERBOLIC");
        for (int k = 1; k < n; ++k) {
            const double x = -2.65 * k / n, t = std::tanh(7.6003724182484935 * (1.0 * k / n - 0.5));
            const auto at = static_cast<std::size_t>(k - 1), mirrored = static_cast<std::size_t>(n - k - 1);
            ASSERT_NEAR(decay[at], 1 - (std::exp(x) + x * std::exp(x / 0.9193018) / 2.0999997), 1e-14) << n;
            ASSERT_NEAR(s[at], 1 - (0.9990000701 - t) / 1.998001402, 1e-14) << n;
            ASSERT_NEAR(s[at] + s[mirrored], 1, 1e-6) << "an S of " << n << " is not symmetric";
        }
        ASSERT_EQ(decay.back() + s.back(), 2) << n;
    }
    const auto decay = ramped<double>({1}, 4096, "EXPONENTIAL"), s = ramped<double>({1}, 4096, "HYPERBOLIC");
    for (const auto& ramp : {decay, s}) {
        EXPECT_NEAR(ramp[0], 0, 0.001);
        EXPECT_NEAR(ramp[4094], 1, 0.0001);
    }
}

TEST(Pidramp, AVariablePeriodChangesARampThatRuns) {
    TestSession session(atOnce());
    session.input("level", std::vector<std::int32_t>{4, 0});
    const PipeId ramp = session.output("ramp");
    addCall(session, "PIDRAMP (level, ramp, variable period:int16 = 4, \"LINEAR\")");
    session.script("3( task_switch ) store:2,2", session.variableNamed("period"));
    session.run();
    EXPECT_EQ(session.collected<std::int32_t>(ramp), (std::vector<std::int32_t>{1, 2, 3, 4, 2, 0}));
}

TEST(Pidramp, APeriodFromAPipeLastsUntilTheNext) {
    using Int16 = std::vector<std::int16_t>;
    for (const auto& [periods, ramp] :
         std::vector<std::pair<Int16, Int16>>{{{}, {}}, {{2}, {4, 8, 4, 0, 4, 8}}, {{1, 4, -3}, {8, 6, 4, 2, 0, 8}}}) {
        const Call call("PIDRAMP (level, ramp:int16, period, \"LINEAR\")",
                        {{"level", Int16{8, 0, 8}}, {"period", periods}}, atOnce());
        EXPECT_EQ(call.report.pipes[0].unread, periods.empty() ? 3U : 0U);
        EXPECT_EQ(call.taken<std::int16_t>("ramp"), ramp);
    }
}

TEST(Pidramp, PollsForItsFirstLevelBeforeItWaitsForAPeriod) {
    for (const std::size_t periods : {0U, 3U}) {
        const Call call("PIDRAMP (level, int16, period, \"LINEAR\")",
                        {{"level", std::vector<std::int16_t>{}}, {"period", std::vector<std::int16_t>(periods, 5)}});
        EXPECT_EQ(call.state, "running") << periods;
    }
}

}  // namespace
}  // namespace libzepl
