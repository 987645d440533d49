// PIDSCRAM: what passes before the alarm, the ramp behind it, and the hold.

#include "tests/control/control_support.h"

namespace libzepl {
namespace {

const Covers covers("PIDSCRAM");

// What leaves, up to `limit` values, when the alarm is there from the frame of `alarmAt` on.
template <class Element>
std::vector<Element> scrammed(const std::vector<Element>& values, Element target, int duration, std::uint32_t alarmAt,
                              std::uint64_t limit, const std::string& shape = "LINEAR") {
    TestSession session({.feed = {.piece = 1}});
    session.input("in", values);
    const PipeId out = session.output("out", limit, elementTypeOf<Element>());
    const TriggerId alarm = session.addTrigger("alarm");
    session.setInput(alarm, {{.asserts = true, .position = alarmAt}});
    addCall(session, "PIDSCRAM " + list("in", "out", target, std::to_string(duration), '"' + shape + '"', "alarm"));
    const Report report = session.run();
    EXPECT_EQ(report.status, Report::Status::ok);
    // The input is never read again.
    EXPECT_EQ(values.size() - report.pipes[0].written + report.pipes[0].unread, values.size() - 1 - alarmAt);
    return session.collected<Element>(out);
}

TEST(Pidscram, TheRampFollowsTheAlarm) {
    using Int16 = std::vector<std::int16_t>;
    EXPECT_EQ(scrammed<float>({100, 1, 2}, 0, 4, 0, 9), (std::vector<float>{75, 50, 25, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(scrammed<std::int16_t>({3, 4, 10, 9}, 0, 4, 2, 8), Int16({3, 4, 7, 5, 2, 0, 0, 0}));
    EXPECT_EQ(scrammed<std::int16_t>({3, 10, 9}, 30, 4, 1, 6), Int16({3, 15, 20, 25, 30, 30}));
    for (const int none : {0, -1, -32768})
        EXPECT_EQ(scrammed<double>({5, 6, 7}, -2, none, 1, 4), (std::vector<double>{5, -2, -2, -2})) << none;
}

TEST(Pidscram, AStepThatItsTypeDoesNotHoldWraps) {
    // 60000 is -5536 in 16 bits, and the sum wraps as well.
    EXPECT_EQ(scrammed<std::int16_t>({30000}, -30000, 4, 0, 5),
              (std::vector<std::int16_t>{31384, -32768, -31384, -30000, -30000}));
    const std::int32_t most = 2147483647;
    EXPECT_EQ(scrammed<std::int32_t>({most}, -most, 2, 0, 3), (std::vector<std::int32_t>{-most - 1, -most, -most}));
    // Rounded once, behind the sum, it would be 6068.8667.
    EXPECT_EQ(scrammed<float>({9054}, 98.6F, 3, 0, 1)[0], 6068.867F);
}

TEST(Pidscram, CurvesHaveTheirOwnConstants) {
    for (const int n : {1, 2, 5, 64, 300, 5000}) {
        const auto length = static_cast<std::uint64_t>(n) + 130;
        const auto decay = scrammed<double>({1, 9}, 0, n, 0, length, "EXPONENTIAL");
        const auto s = scrammed<double>({1, 9}, 0, n, 0, length, "HYPERBOLIC");
        for (int k = 1; k <= n; ++k) {
            const double x = -2.65 * k / (n + 1);
            const auto at = static_cast<std::size_t>(k - 1);
            ASSERT_NEAR(decay[at], std::exp(x) + x * std::exp(x / 0.92) / 2.1, 1e-14) << n;
            ASSERT_NEAR(s[at], 0.5 - 0.5 * std::tanh(7.6003724182484935 * (1.0 * k / n - 0.5)), 1e-14) << n;
        }
        for (std::uint64_t i = length - 130; i < length; ++i) ASSERT_EQ(decay[i] + s[i], 0) << i;
    }
}

TEST(Pidscram, ValuesPassUnchangedBeforeTheAlarm) {
    const auto noise = randomBits<float>(300, 5);
    auto passed = scrammed<float>(noise, 7, 0, 298, 300);
    ASSERT_EQ(passed[298], 7);
    passed[298] = noise[298];
    passed[299] = noise[299];
    EXPECT_EQ(bitsOf(passed), bitsOf(noise));
}

}  // namespace
}  // namespace libzepl
