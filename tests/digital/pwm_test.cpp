// PWM against its plain definition.

#include <cmath>
#include <random>

#include "tests/support/call.h"
#include "tests/support/covered.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

const Covers covers("PWM");

using Words = std::vector<std::int16_t>;

// The modulated words; each sample finds the next duty there, as long as there are any.
template <class Duty>
Words modulated(const std::vector<Duty>& duties, std::int16_t minwidth, std::int16_t bitsel, const Words& words) {
    const Call call("PWM " + list("duty", minwidth, bitsel, "unmod", "out:int16"), {{"duty", duties}, {"unmod", words}},
                    {.feed = {.kind = FeedPolicy::Kind::whole}});
    EXPECT_EQ(call.report.status, Report::Status::ok);
    return call.taken<std::int16_t>();
}

// The same from the rule itself. Before the first duty above 0 the bit is clear.
Words plainlyModulated(const std::vector<double>& duties, int minwidth, int bitsel, Words words) {
    std::minstd_rand0 generator(1001011);
    double error = 0;
    int hold = 0;
    bool started = false, high = false;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const double duty = duties[std::min(i, duties.size() - 1)], v = high ? 1 - duty : duty;
        if (!started) {
            started = high = duty > 0;
            hold = minwidth;
        } else {
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
        words[i] = static_cast<std::int16_t>((words[i] & ~(1 << bitsel)) | high << bitsel);
    }
    return words;
}

TEST(Pwm, WordsAreThePlainDefinition) {
    const Words words = randomSamples<std::int16_t>(20000, 3);
    std::vector<double> duties;
    std::vector<float> given;
    for (std::size_t i = 0; i < words.size(); ++i) {
        given.push_back(i < 10 ? 0 : static_cast<float>(0.5 + 0.5 * std::sin(static_cast<double>(i) / 700)));
        duties.push_back(given.back());
        if (i % 5 != 3) continue;
        // What is no duty leaves the old one.
        given.back() = std::vector<float>{-0.001F, 1.001F, NAN, -INFINITY}[i % 4];
        duties.back() = duties[i - 1];
    }
    for (const std::int16_t minwidth : Words{1, 2, 5, 15}) {
        EXPECT_EQ(modulated(given, minwidth, minwidth, words), plainlyModulated(duties, minwidth, minwidth, words));
        // Its error sum comes to 0 again and again.
        EXPECT_EQ(modulated(std::vector<float>{0.5F}, minwidth, 0, words), plainlyModulated({0.5}, minwidth, 0, words));
        EXPECT_EQ(modulated(Words{8000, -1, -32768, 32767, 0, 12345}, minwidth, 0, words),
                  plainlyModulated({8000 / 32767.0, 8000 / 32767.0, 8000 / 32767.0, 1, 0, 12345 / 32767.0}, minwidth, 0,
                                   words));
    }
}

TEST(Pwm, ListsAreRefusedAtTheFirstMistake) {
    expectRefused({"PWM (float, 1, 0, int16)"}, 0, 5);
    expectRefused({"PWM (int32, 1, 0, int16, int16)"}, 0, 1);
    expectRefused({"PWM (float, 0, 16, int16, int16)", "PWM (float, -1, 0, int16, int16)"}, 6, 2);
    expectRefused({"PWM (float, 1, 16, int16, int16)", "PWM (int16, 1, -1, int16, int16)"}, 5, 3);
    expectReady({"PWM (int16, 1, 15, int16, int16)"});
}

}  // namespace
}  // namespace libzepl
