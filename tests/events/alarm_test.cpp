// ALARM: the digital output in order, and when it changes.

#include "tests/events/events_support.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

const Covers covers("ALARM");

// "20:1" for each change: at what frame which value.
template <class Element>
Lines changes(const std::vector<Element>& samples, std::uint64_t piece, const std::vector<TaskArgument>& behindScan,
              std::uint32_t bit) {
    TestSession session({.feed = {.piece = piece}});
    TaskSettings task{.command = "ALARM", .arguments = {session.use(session.input("scan", samples))}};
    task.arguments.insert(task.arguments.end(), behindScan.begin(), behindScan.end());
    session.addTask(std::move(task));
    Lines lines;
    for (const DigitalReport& change : session.run().digital) {
        EXPECT_EQ(change.bit, bit);
        lines.push_back(std::to_string(change.frame) + ":" + std::to_string(change.value));
    }
    return lines;
}

template <class Element>
TaskArgument constantOf(Element value) {
    if constexpr (std::is_same_v<Element, std::int16_t>)
        return int16Constant(value);
    else if constexpr (std::is_same_v<Element, std::int32_t>)
        return int32Constant(value);
    else if constexpr (std::is_same_v<Element, float>)
        return floatConstant(value);
    else
        return doubleConstant(value);
}

// The arguments of a test for the region between `low` and `high`.
template <class Element>
std::vector<TaskArgument> region(std::int32_t test, Element low, Element high, std::vector<TaskArgument> behind) {
    std::vector<TaskArgument> arguments{hostWord(test), constantOf(low), constantOf(high)};
    arguments.insert(arguments.end(), behind.begin(), behind.end());
    return arguments;
}

template <class Element>
class Alarm : public testing::Test {};
using Elements = testing::Types<std::int16_t, std::int32_t, float, double>;
TYPED_TEST_SUITE(Alarm, Elements);

// Sample by sample the output follows the region, with both limits inside it.
TYPED_TEST(Alarm, TheOutputFollowsAnotherRegion) {
    using Limits = std::numeric_limits<TypeParam>;
    const std::vector<TypeParam> samples{0, 5, 6, 7, 8, Limits::max(), Limits::lowest(), 6, 9};
    const auto of = [&](std::int32_t test) {
        return changes(samples, 1, region<TypeParam>(test, 6, 8, {int16Constant(3)}), 3);
    };
    EXPECT_EQ(of(0), Lines({"0:0", "3:1", "6:0", "8:1", "9:0"}));
    EXPECT_EQ(of(1), Lines({"0:0", "1:1", "3:0", "6:1", "8:0", "9:1"}));
    EXPECT_EQ(of(2), Lines({"0:0"}));
    EXPECT_EQ(of(-1), Lines({"0:0"}));
    if constexpr (std::is_floating_point_v<TypeParam>) {
        for (const std::int32_t test : {0, 1})
            EXPECT_EQ(
                changes<TypeParam>({Limits::quiet_NaN()}, 1, region<TypeParam>(test, 0, 1, {int16Constant(3)}), 3),
                Lines({"0:0"}));
    }
}

TEST(AlarmBlocks, AnotherSampleThanTheLastOfABlockEndsTheAlarm) {
    std::vector<std::int16_t> samples(3000, 0);
    const auto alarm = region<std::int16_t>(0, 1, 1, {int16Constant(0)});
    const auto of = [&](std::uint64_t piece) { return changes(samples, piece, alarm, 0); };
    std::fill_n(samples.begin() + 1000, 1000, std::int16_t{1});
    EXPECT_EQ(of(100), Lines({"0:0", "1100:1", "2100:0"}));
    samples[1099] = 0;  // the first block of the alarm ends outside
    EXPECT_EQ(of(100), Lines({"0:0", "1100:1", "1100:0", "1200:1", "2100:0"}));
    samples[1099] = 1;
    std::fill_n(samples.begin() + 1100, 99, std::int16_t{0});  // a block dips out and comes back
    EXPECT_EQ(of(100), Lines({"0:0", "1100:1", "2100:0"}));
    // No more than 256 samples are looked at together: of a block of 1000, the last ones begin at 768.
    std::fill(samples.begin(), samples.end(), std::int16_t{0});
    samples[767] = 1;
    EXPECT_EQ(of(1000), Lines({"0:0", "1000:1", "1000:0"}));
}

TEST(AlarmReset, TheAlarmLastsAnotherTimeOrReadsWhatComesMeanwhile) {
    std::vector<std::int32_t> samples(1000, 0);
    samples[9] = samples[30] = samples[500] = samples[501] = 7;
    const auto of = [&](const TaskArgument& reset) {
        return changes(samples, 1, region<std::int32_t>(1, 0, 0, {int16Constant(15), reset}), 15);
    };
    EXPECT_EQ(of(int16Constant(45)), Lines({"0:0", "10:1", "55:0", "501:1", "546:0"}));
    EXPECT_EQ(of(int32Constant(100000)), Lines({"0:0", "10:1", "100010:0"}));
    // What comes in the last slice of the time is looked at afterwards.
    EXPECT_EQ(of(int16Constant(20)),
              Lines({"0:0", "10:1", "30:0", "31:1", "51:0", "501:1", "521:0", "521:1", "541:0"}));
    EXPECT_EQ(of(int16Constant(480)), Lines({"0:0", "10:1", "490:0", "501:1", "981:0"}));
    EXPECT_EQ(of(int16Constant(500)), Lines({"0:0", "10:1", "510:0", "510:1", "1010:0"}));
}

TEST(AlarmPort, AnotherBitIsSet) {
    const auto first = [](std::int16_t port, std::int16_t bit) {
        std::vector<TaskArgument> arguments = region<std::int16_t>(0, 1, 1, {int16Constant(bit)});
        arguments.insert(arguments.begin(), int16Constant(port));
        return arguments;
    };
    EXPECT_EQ(changes<std::int16_t>({1}, 1, first(1, 3), 19), Lines({"0:0", "1:1"}));
    EXPECT_EQ(changes<std::int16_t>({1}, 1, first(4097, 15), 31), Lines({"0:0", "1:1"}));
    EXPECT_EQ(changes<std::int16_t>({1}, 1, region<std::int16_t>(0, 1, 1, {int16Constant(-1)}), 65535),
              Lines({"0:0", "1:1"}));
    EXPECT_EQ(changes<std::int16_t>({1}, 1, region<std::int16_t>(0, 1, 1, {int32Constant(65536 + 40)}), 40),
              Lines({"0:0", "1:1"}));
}

}  // namespace
}  // namespace libzepl
