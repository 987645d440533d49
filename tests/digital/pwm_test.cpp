// PWM against its plain definition, and its promises over long runs.

#include <cmath>
#include <random>

#include "tests/support/covered.h"
#include "tests/support/given.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

const Covers covers("PWM");

using Words = std::vector<std::int16_t>;

// The modulated words; each sample finds the next duty there, as long as there are any.
template <class Duty>
Words modulated(const std::vector<Duty>& duties, std::int16_t minwidth, std::int16_t bitsel, const Words& words) {
    TestSession session({.feed = {.kind = FeedPolicy::Kind::whole}});
    const PipeId duty = session.input("duty", duties), unmod = session.input("unmod", words);
    const PipeId mod = session.output("mod", {}, ElementType::int16);
    session.task("PWM", duty, int16Constant(minwidth), int16Constant(bitsel), unmod, mod);
    EXPECT_EQ(session.run().status, Report::Status::ok);
    return session.collected<std::int16_t>(mod);
}

// The bits for a duty at each sample. Before the first one above 0 the bit is clear.
Words plainBits(const std::vector<double>& duties, int minwidth) {
    std::minstd_rand0 generator(1001011);
    Words bits;
    double error = 0;
    int hold = 0;
    bool started = false, high = false;
    for (const double duty : duties) {
        if (!started) {
            started = high = duty > 0;
            hold = minwidth;
        } else {
            const double v = high ? 1 - duty : duty;
            error += high ? v : -v;
            if (--hold <= 0) {
                const std::uint64_t r = generator();
                const int dither = (r >> 25) % 4 != 0 ? 0 : (r >> 27) % 2 != 0 ? 1 : -1;
                if ((dither * v + error > 0) == high) {
                    high = !high;
                    hold = minwidth;
                }
            }
        }
        bits.push_back(high);
    }
    return bits;
}

TEST(Pwm, ABitDiffersFromThePlainDefinition) {
    constexpr std::size_t count = 20000;
    std::vector<double> duties;
    std::vector<float> given;
    for (std::size_t i = 0; i < count; ++i) {
        given.push_back(i < 10 ? 0 : static_cast<float>(0.5 + 0.5 * std::sin(static_cast<double>(i) / 700)));
        duties.push_back(given.back());
        // What is no duty leaves the old one.
        if (i % 5 == 3) given.back() = std::vector<float>{-0.001F, 1.001F, NAN, -INFINITY}[i % 4];
        if (i % 5 == 3) duties.back() = duties[i - 1];
    }
    for (const std::int16_t minwidth : Words{1, 2, 5, 100})
        EXPECT_EQ(modulated(given, minwidth, 0, Words(count)), plainBits(duties, minwidth)) << minwidth;
}

TEST(Pwm, AnIntegerDutyHasAnotherScale) {
    const std::vector<std::int16_t> given{8000, -1, -32768, 32767, 0, 12345};
    std::vector<double> duties;
    for (const int x : {8000, 8000, 8000, 32767, 0, 12345}) duties.push_back(x / 32767.0);
    duties.resize(3000, 12345 / 32767.0);
    EXPECT_EQ(modulated(given, 1, 0, Words(3000)), plainBits(duties, 1));
}

TEST(Pwm, TheMeanLeavesTheDutyOrAPulseIsTooShort) {
    constexpr std::size_t count = 200000;
    for (const std::int16_t minwidth : Words{1, 5, 64}) {
        for (const float duty : {0.0F, 0.003F, 0.1F, 0.5F, 0.77F, 0.999F, 1.0F}) {
            const Words bits = modulated(std::vector<float>{duty}, minwidth, 0, Words(count));
            double sum = bits[0];
            int width = 1;
            for (std::size_t i = 1; i < count; ++i) {
                sum += bits[i];
                if (bits[i] != bits[i - 1]) {
                    ASSERT_GE(width, minwidth) << duty;
                    width = 0;
                }
                ++width;
            }
            // The error sum stays within some least widths.
            EXPECT_NEAR(sum, count * static_cast<double>(duty), 2.0 * minwidth + 2) << minwidth << " " << duty;
        }
    }
}

TEST(Pwm, AnotherBitOfAWordChanges) {
    const Words words = randomSamples<std::int16_t>(3000, 3);
    for (const std::int16_t bitsel : Words{0, 7, 15}) {
        const Words result = modulated(std::vector<float>{0.3F}, 1, bitsel, words);
        const Words bits = plainBits(std::vector<double>(3000, 0.3F), 1);
        ASSERT_EQ(result.size(), words.size());
        for (std::size_t i = 0; i < words.size(); ++i)
            ASSERT_EQ(static_cast<std::uint16_t>(result[i]),
                      (static_cast<std::uint16_t>(words[i]) & ~(1 << bitsel)) | bits[i] << bitsel);
    }
}

TEST(Pwm, AMistakeIsToldAtAnotherPositionOrPasses) {
    expectSetUps("PWM", {{"refused at 5", {"f32 1 0 i16"}},
                         {"refused at 1", {"i32 1 0 i16 i16"}},
                         {"error code 6 at 2", {"f32 0 16 i16 i16", "f32 -1 0 i16 i16"}},
                         {"error code 5 at 3", {"f32 1 16 i16 i16", "i16 1 -1 i16 i16"}},
                         {"ready", {"i16 1 15 i16 i16"}}});
}

}  // namespace
}  // namespace libzepl
