// PID against an independent computation of its law.

#include "tests/control/control_support.h"

namespace libzepl {
namespace {

const Covers covers("PID");

using GainSet = std::vector<float>;  // K, Ti, Td, Kz

struct Limits {
    double low = -32767, high = 32767;
};

// The law, with each sum formed anew from all that came before. Sample n works with the last good set up to sets[n].
template <class Element>
std::vector<Element> lawOf(const std::vector<Element>& setpoints, const std::vector<Element>& measured,
                           const std::vector<GainSet>& sets, Limits limits) {
    constexpr double interval = 0.5, least[] = {0.0001, 0, 0, 0}, most[] = {1000, 10000, 100, 1};
    std::vector<Element> drive;
    std::vector<double> summed;
    GainSet gains = sets[0];
    double filtered = 0;
    for (std::size_t n = 0; n < measured.size(); ++n) {
        bool bad = n >= sets.size();
        for (std::size_t i = 0; !bad && i < 4; ++i) bad = sets[n][i] < least[i] || sets[n][i] > most[i];
        if (!bad) gains = sets[n];
        const double r = static_cast<double>(setpoints[std::min(n, setpoints.size() - 1)]);
        const double y = static_cast<double>(measured[n]), before = static_cast<double>(measured[n == 0 ? 0 : n - 1]);
        filtered = 0.35 * (y - before) + 0.65 * filtered;
        double sum = 0;
        for (const double error : summed) sum += error;
        const double integral = gains[1] == 0 ? 0 : ((r - y) + sum) * (interval / gains[1]);
        const double wanted = gains[0] * (integral + (gains[3] * r - y) - filtered * (gains[2] / interval));
        const double given = wanted >= limits.high ? limits.high : wanted <= limits.low ? limits.low : wanted;
        summed.push_back(wanted >= limits.high || wanted <= limits.low ? 0.08 * (r - y) : r - y);
        drive.push_back(static_cast<Element>(given));
    }
    return drive;
}

template <class Element>
std::vector<Element> driveOf(const std::vector<Element>& setpoints, const std::vector<Element>& measured,
                             const std::vector<GainSet>& sets, const std::string& limits = "",
                             const std::string& interval = "0.5:float") {
    std::vector<float> gains;
    for (const GainSet& set : sets) gains.insert(gains.end(), set.begin(), set.end());
    const Call call("PID " + list("wanted, now, sent", interval, typed<Element>("drive") + limits),
                    {{"wanted", setpoints}, {"now", measured}, {"sent", gains}}, atOnce());
    EXPECT_EQ(call.report.status, Report::Status::ok);
    return call.template taken<Element>("drive");
}

TYPED_TEST_SUITE(Controller, Elements);

TYPED_TEST(Controller, SamplesOfPidFollowTheLaw) {
    std::vector<TypeParam> setpoints(300, TypeParam{1000}), measured;
    std::fill(setpoints.begin() + 150, setpoints.end(), TypeParam{-700});
    for (int n = 0; n < 400; ++n) measured.push_back(static_cast<TypeParam>(n * 4 % 1700 - 300 + n * 7919 % 23));
    std::vector<std::vector<GainSet>> courses = {
        {{2, 20, 1, 1}},
        {{0.5F, 0, 0, 0.25F}, {0.5F, 0, 0, 0.25F}, {1000, 10000, 100, 1}, {0.001F, 5, 0, 0}},
        // Between the first and the last, each set is dropped whole for one gain.
        {{3, 40, 2, 0.5F},
         {0, 1, 1, 1},
         {0.0001F, 1, 1, 1},
         {1001, 1, 1, 1},
         {1, -1, 1, 1},
         {1, 10001, 1, 1},
         {1, 1, -0.5F, 1},
         {1, 1, 101, 1},
         {1, 1, 1, -1e-20F},
         {1, 1, 1, 1.0001F},
         {0.00011F, 2, 3, 0}}};
    // What is not a number is no bad gain; the sums outlast it.
    if (!std::is_integral_v<TypeParam>) courses.push_back({{1, 30, 1, 1}, {std::nanf(""), 1, 1, 1}, {1, 30, 1, 1}});
    for (const auto& course : courses) {
        const Limits wide = std::is_same_v<TypeParam, std::int32_t> ? Limits{-2147483647, 2147483647} : Limits{};
        EXPECT_EQ(bitsOf(driveOf(setpoints, measured, course)), bitsOf(lawOf(setpoints, measured, course, wide)));
        for (const Limits limits : {Limits{-900, 450}, Limits{7, 7}})
            EXPECT_EQ(bitsOf(driveOf(setpoints, measured, course,
                                     ", " + written(static_cast<TypeParam>(limits.low)) + ", " +
                                         written(static_cast<TypeParam>(limits.high)))),
                      bitsOf(lawOf(setpoints, measured, course, limits)));
    }
}

TEST(Pid, OutputsSaturateAtTheLimitsOfTheirType) {
    const std::vector<GainSet> gains{{1000, 0, 0, 1}}, one{{1, 0, 0, 1}};
    using Int16 = std::vector<std::int16_t>;
    using Int32 = std::vector<std::int32_t>;
    const std::int32_t most = 2147483647;
    EXPECT_EQ(driveOf<std::int16_t>({32767, 32767, -32768}, {0, 32767, 0}, gains), Int16({32767, 0, -32767}));
    EXPECT_EQ(driveOf<std::int32_t>({most, -most - 1}, {0, 0}, gains), Int32({most, -most}));
    EXPECT_EQ(driveOf<float>({1e30F, -1e30F}, {0, 0}, gains), (std::vector<float>{32767, -32767}));
    EXPECT_EQ(driveOf<std::int16_t>({29, -29}, {0, 0}, {{0.1F, 0, 0, 1}}), Int16({2, -2}));
    EXPECT_EQ(driveOf<std::int32_t>({100000, -100000}, {0, 0}, one, ", -5, 300"), Int32({300, -5}));
    // With no interval the derivative term is 0 / 0, which is on no side of a limit.
    EXPECT_EQ(driveOf<std::int16_t>({5}, {5}, one, "", "0:float"), Int16({0}));
    EXPECT_EQ(driveOf<std::int32_t>({5}, {5}, one, "", "0:float"), Int32({-most - 1}));
    EXPECT_TRUE(std::isnan(driveOf<float>({5}, {5}, one, "", "0:float")[0]));
}

TEST(Pid, ADrySetPointOrAnIncompleteGainSetHoldsTheLoopUp) {
    const Call call("PID (setpoints, measured, gains, 1:float, drive:double)",
                    {{"setpoints", std::vector<double>{5}},
                     {"measured", std::vector<double>(50, 2.0)},
                     {"gains", GainSet{1, 0, 0, 1, 3, 0, 0}}});
    EXPECT_EQ(call.report.pipes[2].unread, 3U);
    EXPECT_EQ(call.taken<double>("drive"), std::vector<double>(50, 3.0));
}

}  // namespace
}  // namespace libzepl
