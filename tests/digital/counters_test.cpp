// CTCOUNT, CTRATE and PULSECOUNT across the wraps of their counters and the ends of their blocks.

#include "tests/support/call.h"
#include "tests/support/covered.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

const Covers coversCount("CTCOUNT"), coversRate("CTRATE"), coversPulses("PULSECOUNT");

using Readings = std::vector<std::int16_t>;

// The counter as it was before it lost its upper bits: steps of any size up to 65535 and their sum.
TEST(Counters, StepsAndTotalsContinueOverTheWrap) {
    const Readings readings = randomBits<std::int16_t>(150000, 3);
    std::vector<std::int32_t> steps, totals;
    std::int64_t total = 0;
    for (std::size_t i = 0; i < readings.size(); ++i) {
        const int last = i == 0 ? 0 : readings[i - 1], step = (readings[i] - last + 65536) % 65536;
        total += step;
        totals.push_back(static_cast<std::int32_t>(total));  // passes 2^32 near the end
        steps.push_back(i == 0 ? 0 : step);
    }
    ASSERT_GT(total, std::int64_t{1} << 32);
    EXPECT_EQ(resultOf<std::int32_t>("CTCOUNT (in, out)", readings), totals);
    EXPECT_EQ(resultOf<std::int32_t>("CTRATE (in, out)", readings), steps);
    EXPECT_EQ(resultOf<std::int16_t>("CTCOUNT (in, out)", readings), Readings(totals.begin(), totals.end()));
    EXPECT_EQ(resultOf<std::int16_t>("CTRATE (in, out)", readings), Readings(steps.begin(), steps.end()));
}

// What is left in the variable's cell, 32 bits of it.
std::uint32_t pulses(const Readings& samples, std::int16_t mask, ElementType type) {
    TestSession session;
    const std::int32_t before = 77;
    const VariableId accum = session.addVariable("accum", type, &before);
    session.task("PULSECOUNT", session.input("from", samples), int16Constant(mask), accum);
    EXPECT_EQ(session.run().status, Report::Status::ok);
    return session.valueOf<std::uint32_t>(accum);
}

TEST(Counters, EachRisingEdgeIsCountedOnce) {
    Readings samples = randomBits<std::int16_t>(2000, 5);
    samples[0] = -1;
    for (const std::int16_t mask : Readings{0, 3, 15, 16, 31}) {
        std::uint32_t expected = 0;
        for (std::size_t i = 1; mask < 16 && i < samples.size(); ++i)
            expected += (samples[i] & ~samples[i - 1]) >> mask & 1;
        EXPECT_EQ(pulses(samples, mask, ElementType::int32), expected) << mask;
    }
}

TEST(Counters, PulsesWrapAt65536) {
    Readings samples;
    for (int i = 0; i < 65538; ++i) samples.insert(samples.end(), {0, 1});
    EXPECT_EQ(pulses(samples, 0, ElementType::int32), 2U);
    samples.resize(2 * 40000);
    EXPECT_EQ(pulses(samples, 0, ElementType::int16), 40000U);  // 32 bits are written in any case
}

TEST(Counters, BitNumbersAreThoseOf32Bits) {
    expectRefused({"PULSECOUNT (int16, -1, variable:int16)", "PULSECOUNT (int16, 32, variable:int16)",
                   "PULSECOUNT (int16, -32768, variable:int16)", "PULSECOUNT (int16, 32767, variable:int16)"},
                  5, 2);
    expectReady({"PULSECOUNT (int16, 31, variable:int32)"});
}

}  // namespace
}  // namespace libzepl
