// PID1 against a plain computation of its law in single precision.

#include "tests/control/control_support.h"

namespace libzepl {
namespace {

const Covers covers("PID1");

using Samples = std::vector<std::int16_t>;

struct Loop {
    std::int16_t setpoint, p, i, d;
    std::vector<std::int16_t> limits = {};
};

// `double` holds every product and sum of two singles before it is rounded.
Samples lawOf(const Loop& loop, const Samples& measured) {
    const float kp = static_cast<float>(loop.p / 100.0), ki = static_cast<float>(loop.i / 10000.0),
                kd = static_cast<float>(loop.d / 100.0);
    const std::int16_t low = loop.limits.empty() ? -32767 : loop.limits[0];
    const std::int16_t high = loop.limits.empty() ? 32767 : loop.limits[1];
    Samples drive;
    float sum = 0;
    for (std::size_t n = 0; n < measured.size(); ++n) {
        const auto error = static_cast<float>(loop.setpoint - measured[n]);
        const auto step = static_cast<float>(measured[n] - measured[n == 0 ? 0 : n - 1]);
        const auto i =
            static_cast<float>((static_cast<double>(error) + static_cast<double>(sum)) * static_cast<double>(ki));
        const float p = kp * error, d = -step * kd;
        const auto wanted =
            static_cast<float>(static_cast<double>(i) + static_cast<double>(p) + static_cast<double>(d));
        const bool free = wanted < high && wanted > low;
        drive.push_back(free ? static_cast<std::int16_t>(wanted) : wanted >= high ? high : low);
        if (free) sum = sum + error;
    }
    return drive;
}

Samples driveOf(const Loop& loop, const Samples& measured) {
    std::string call = "PID1 " + list("now, variable setpoint:int16 = " + std::to_string(loop.setpoint), loop.p, loop.i,
                                      loop.d, "drive:int16");
    for (const std::int16_t limit : loop.limits) call.insert(call.size() - 1, ", " + written(limit));
    const Call made(call, {{"now", measured}}, atOnce());
    EXPECT_EQ(made.report.status, Report::Status::ok);
    return made.taken<std::int16_t>("drive");
}

TEST(Pid1, SamplesFollowTheLaw) {
    const Samples noise = randomBits<std::int16_t>(500, 3);
    Samples slow;
    for (int n = 0; n < 500; ++n) slow.push_back(static_cast<std::int16_t>(900 - n * 3 + n * 7919 % 13));
    for (const Loop& loop : std::vector<Loop>{{100, 100, 0, 0},
                                              {-700, 37, 123, 0, {-400, 150}},
                                              {32767, 32767, 32767, 32767},
                                              {-32768, 3, 1, -50},
                                              {500, 77, 10000, 1, {-20000, 20000}},
                                              {5, 100, 10, 100, {9, 9}}})
        for (const Samples& measured : {noise, slow})
            EXPECT_EQ(driveOf(loop, measured), lawOf(loop, measured)) << loop.setpoint;
}

// In single precision the sum of errors, past its 24 bits, or the terms would give another integer some times.
TEST(Pid1, SumsAreFormedInDouble) {
    Samples noise = randomBits<std::int16_t>(20000, 3);
    for (std::int16_t& x : noise) x = static_cast<std::int16_t>(x >> 3);
    for (const Loop& loop : std::vector<Loop>{{3000, 0, 1, 0}, {3000, 77, 1, 1}})
        EXPECT_EQ(driveOf(loop, noise), lawOf(loop, noise)) << loop.p;
}

TEST(Pid1, OutputsAreCutTowardZeroAndAnErrorAtALimitIsNotSummed) {
    EXPECT_EQ(driveOf({29, 10, 0, 0}, {0, 58}), Samples({2, -2}));
    // 10 is on the limit, so it is not summed; 9 is.
    EXPECT_EQ(driveOf({10, 0, 10000, 0, {-10, 10}}, {0, 1, 10}), Samples({10, 9, 9}));
    EXPECT_EQ(driveOf({-10, 0, 10000, 0, {-10, 10}}, {0, -1, -10}), Samples({-10, -9, -9}));
}

// Another task writes 0, 1, 2, ... into the variable at `position`, one behind each sample.
Samples driveWhile(std::int32_t position, std::int16_t first) {
    TestSession session(atOnce());
    const std::int16_t start[] = {20, 100, 0, 0, -99, 99};
    for (std::int32_t i = 0; i < 6; ++i) {
        const std::int16_t value = i == position ? first : start[i];
        session.addVariable("v" + std::to_string(i), ElementType::int16, &value);
    }
    session.input("now", Samples{0, 1, 3, 6});
    const PipeId drive = session.output("drive", {}, ElementType::int16);
    addCall(session, "PID1 (now, v0, v1, v2, v3, drive, v4, v5)");
    session.script("*( store:2,# task_switch )", session.variableNamed("v" + std::to_string(position)));
    session.run();
    return session.collected<std::int16_t>(drive);
}

TEST(Pid1, VariablesAreReadAtEverySample) {
    EXPECT_EQ(driveWhile(0, 50), Samples({50, -1, -2, -4}));
    EXPECT_EQ(driveWhile(1, 200), Samples({40, 0, 0, 0}));  // 17 and 14 hundredths
    EXPECT_EQ(driveWhile(2, 10000), Samples({40, 19, 17, 14}));
    EXPECT_EQ(driveWhile(3, 30000), Samples({20, 19, 16, 13}));  // -2 and -3 steps of 1 and 2 hundredths
    EXPECT_EQ(driveWhile(5, 7), Samples({7, 0, 1, 2}));
    EXPECT_EQ(driveWhile(4, 30), Samples({30, 19, 17, 14}));
}

}  // namespace
}  // namespace libzepl
