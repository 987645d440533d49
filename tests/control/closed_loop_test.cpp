// PID in a loop that is closed through pipes: its drive goes through a lag made of RSUM and SCALE and comes back as feedback.

#include "tests/control/control_support.h"

namespace libzepl {
namespace {

constexpr double K = 0.25, Ti = 12, Td = 1.5, Kz = 1, gain = 1.5, start = 3;
constexpr std::size_t window = 8;

// The same loop with no pipes: the lag gives the mean of the last 8 drives, times 1.5.
std::vector<double> simulated(const std::vector<double>& setpoints, std::size_t samples) {
    std::vector<double> drives(window, 0.0), measured{start};
    double errorSum = 0, filtered = 0, mean = 0;
    for (std::size_t n = 0; n + 1 < samples; ++n) {
        const double r = setpoints[std::min(n, setpoints.size() - 1)], y = measured[n];
        filtered = 0.35 * (y - measured[n == 0 ? 0 : n - 1]) + 0.65 * filtered;
        drives.push_back(K * ((r - y + errorSum) / Ti + Kz * r - y - filtered * Td));
        errorSum += r - y;
        mean += (drives[n + window] - drives[n]) / window;
        measured.push_back(mean * gain);
    }
    return measured;
}

struct Course {
    Report report;
    std::vector<double> measured;
};

Course closedLoop(const std::vector<double>& setpoints, std::optional<std::uint64_t> limit, FeedPolicy feed = {}) {
    TestSession session({.feed = feed});
    constexpr ElementType type = ElementType::float64;
    const PipeId wanted = session.input("wanted", setpoints), drive = session.pipe("drive", {}, type);
    const PipeId measured =
        session.addPipe({.name = "measured", .type = type, .starts = bytesOf(std::vector<double>{start})});
    const PipeId gains = session.input("gains", std::vector<float>{K, Ti, Td, Kz}),
                 mean = session.pipe("mean", {}, type);
    session.collect(measured, limit);
    session.task("SCALE", mean, doubleConstant(0), doubleConstant(gain), doubleConstant(1), measured);
    session.task("PID", wanted, measured, gains, floatConstant(1), drive);
    session.task("RSUM", drive, int16Constant(1), doubleConstant(window), int16Constant(window), mean);
    Report report = session.run();
    return {std::move(report), session.collected<double>(measured)};
}

TEST(ClosedLoop, ItDoesNotStartOrDiffersFromTheLoopWithoutPipes) {
    std::vector<double> setpoints(300, 40.0);
    setpoints.insert(setpoints.end(), 300, 55.0);
    const std::vector<double> expected = simulated(setpoints, 600);
    for (const FeedPolicy feed :
         {FeedPolicy{}, FeedPolicy{.kind = FeedPolicy::Kind::whole}, FeedPolicy{.piece = 700}}) {
        const Course run = closedLoop(setpoints, 600, feed);
        ASSERT_EQ(run.report.status, Report::Status::ok);
        ASSERT_EQ(run.measured.size(), 600U);
        for (std::size_t n = 0; n < 600; ++n) ASSERT_NEAR(run.measured[n], expected[n], 1e-9) << n;
    }
    EXPECT_NEAR(expected[299], 40, 0.05);
    EXPECT_NEAR(expected[599], 55, 0.05);
}

TEST(ClosedLoop, ItGoesOnForEverOnceTheSetPointsHaveEnded) {
    const Course run = closedLoop({40, 40, 40}, {});
    EXPECT_EQ(run.report.status, Report::Status::ok);
    ASSERT_GT(run.measured.size(), 1000U);
    EXPECT_NEAR(run.measured.back(), 40, 1e-6);
}

}  // namespace
}  // namespace libzepl
