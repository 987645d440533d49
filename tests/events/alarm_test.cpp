// ALARM: the digital output in order, and when it changes.

#include "tests/events/events_support.h"

namespace libzepl {
namespace {

const Covers covers("ALARM");

// "20:1" for each change that `ALARM (scan, words)` makes: at what frame which value.
template <class Element>
Lines changes(const std::string& words, const std::vector<Element>& samples, std::uint64_t piece, std::uint32_t bit) {
    TestSession session({.feed = {.piece = piece}});
    session.input("scan", samples);
    session.define("neither", hostWord(2));
    session.define("none", hostWord(-1));
    addCall(session, "ALARM (scan, " + words + ")");
    Lines lines;
    for (const DigitalReport& change : session.run().digital) {
        EXPECT_EQ(change.bit, bit) << words;
        lines.push_back(std::to_string(change.frame) + ":" + std::to_string(change.value));
    }
    return lines;
}

template <class Element>
class Alarm : public testing::Test {};
TYPED_TEST_SUITE(Alarm, Elements);

// Sample by sample the output follows the region, with both limits inside it.
TYPED_TEST(Alarm, TheOutputFollowsTheRegion) {
    using Limits = std::numeric_limits<TypeParam>;
    std::vector<TypeParam> samples{0, 5, 6, 7, 8, Limits::max(), Limits::lowest(), 6, 9};
    const auto of = [&](const char* test) {
        return changes(std::string(test) + ", " + written(TypeParam{6}) + ", " + written(TypeParam{8}) + ", 3", samples,
                       1, 3);
    };
    EXPECT_EQ(of("inside"), Lines({"0:0", "3:1", "6:0", "8:1", "9:0"}));
    EXPECT_EQ(of("outside"), Lines({"0:0", "1:1", "3:0", "6:1", "8:0", "9:1"}));
    EXPECT_EQ(of("neither"), Lines({"0:0"}));
    EXPECT_EQ(of("none"), Lines({"0:0"}));
    if constexpr (std::is_floating_point_v<TypeParam>) {
        samples = {Limits::quiet_NaN()};
        for (const char* test : {"inside", "outside"}) EXPECT_EQ(of(test), Lines({"0:0"}));
    }
}

TEST(AlarmBlocks, TheLastSampleOfABlockEndsTheAlarm) {
    std::vector<std::int16_t> samples(3000, 0);
    const auto of = [&](std::uint64_t piece) { return changes("inside, 1, 1, 0", samples, piece, 0); };
    std::fill_n(samples.begin() + 1000, 1000, std::int16_t{1});
    samples[1099] = 0;  // the first block of the alarm ends outside
    EXPECT_EQ(of(100), Lines({"0:0", "1100:1", "1100:0", "1200:1", "2100:0"}));
    samples[1099] = 1;
    std::fill_n(samples.begin() + 1100, 99, std::int16_t{0});  // a block dips out and comes back
    EXPECT_EQ(of(100), Lines({"0:0", "1100:1", "2100:0"}));
    // Samples are looked at by 256: of the alarms from 0 and from 512 the first goes on into the next block.
    std::fill(samples.begin(), samples.end(), std::int16_t{0});
    for (const std::size_t at : {0U, 255U, 512U, 513U, 768U}) samples[at] = 1;
    EXPECT_EQ(of(1000), Lines({"0:0", "1000:1", "1000:0", "1000:1", "1000:0", "1000:1", "1000:0"}));
}

TEST(AlarmReset, TheAlarmLastsItsTimeAndDropsWhatComesMeanwhile) {
    std::vector<std::int32_t> samples(1000, 0);
    samples[9] = samples[30] = samples[500] = samples[501] = 7;
    const auto of = [&](const std::string& reset) {
        return changes("outside, 0:int32, 0:int32, 15, " + reset, samples, 1, 15);
    };
    EXPECT_EQ(of("0"), Lines({"0:0", "10:1", "11:0", "31:1", "32:0", "501:1", "503:0"}));
    EXPECT_EQ(of("45"), Lines({"0:0", "10:1", "55:0", "501:1", "546:0"}));
    EXPECT_EQ(of("100000"), Lines({"0:0", "10:1", "100010:0"}));
    // What comes in the last slice of the time is looked at afterwards.
    EXPECT_EQ(of("20"), Lines({"0:0", "10:1", "30:0", "31:1", "51:0", "501:1", "521:0", "521:1", "541:0"}));
    EXPECT_EQ(of("480"), Lines({"0:0", "10:1", "490:0", "501:1", "981:0"}));
    EXPECT_EQ(of("500"), Lines({"0:0", "10:1", "510:0", "510:1", "1010:0"}));
    EXPECT_EQ(of("500, 1"), of("0"));  // with seven parameters `reset` stands behind a port only
    // What waits behind the block that sets the alarm off is dropped, be it as little as these 44.
    samples.resize(300);
    std::fill(samples.begin() + 256, samples.end(), 7);
    EXPECT_EQ(changes("outside, 0:int32, 0:int32, 15, 45", samples, 300, 15), Lines({"0:0", "300:1", "345:0"}));
}

TEST(AlarmPort, TheBitIsThatOfThePort) {
    for (const auto& [words, bit] : {std::pair{"1, inside, 1, 1, 3", 19U},
                                     {"4097, inside, 1, 1, 15", 31U},
                                     {"inside, 1, 1, -1", 65535U},
                                     {"inside, 1, 1, 65576", 40U}})
        EXPECT_EQ(changes<std::int16_t>(words, {1}, 1, bit), Lines({"0:0", "1:1"}));
}

}  // namespace
}  // namespace libzepl
