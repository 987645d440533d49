// CORRELATE against the transforms that it stands for, bit for bit.

#include "tests/spectral/spectral_support.h"
#include "tests/support/covered.h"

namespace libzepl {
namespace {

const Covers covers("CORRELATE");

// By way of the spectra; element m is lag m.
Doubles correlationOf(const Doubles& x1, const Doubles& x2) {
    const std::size_t n = x1.size();
    const Parts a = transformOf({x1, Doubles(n)}, n), b = transformOf({x2, Doubles(n)}, n);
    Parts product;
    for (std::size_t i = 0; i < n; ++i) {
        product.re.push_back(b.im[i] * a.im[i] + a.re[i] * b.re[i]);
        product.im.push_back(a.im[i] * b.re[i] - a.re[i] * b.im[i]);
    }
    return transformOf(product, n, "REVERSE").re;
}

struct Case {
    std::size_t lead, lag, block, length;
    std::string text() const {
        return "CORRELATE (x, y, " + std::to_string(lead) + ", " + std::to_string(lag) + ", " + std::to_string(block) +
               ", ";
    }
};

// Two blocks of signals whose products reach past every integer type, or, divided, do not.
template <class Element>
void expectLags(const Case& c) {
    for (const int divisor : {1, 30000}) {
        std::vector<std::int16_t> first = randomSamples<std::int16_t>(2 * c.length, 1),
                                  second = randomSamples<std::int16_t>(2 * c.length, 2);
        for (std::int16_t& x : first) x = static_cast<std::int16_t>(x / divisor);
        Doubles want;
        for (const std::size_t at : {std::size_t{0}, c.length}) {
            const auto blockOf = [&](const std::vector<std::int16_t>& samples) {
                return Doubles(&samples[at], &samples[at] + c.length);
            };
            const Doubles correlation = correlationOf(blockOf(first), blockOf(second));
            for (std::size_t i = 0; i <= c.lead + c.lag; ++i)
                want.push_back(correlation[(i + c.length - c.lead) % c.length]);
        }
        EXPECT_EQ(
            bitsOf(
                Call(c.text() + typed<Element>("out") + ")", {{"x", first}, {"y", second}}).template taken<Element>()),
            outputBits<Element>(want))
            << c.text();
    }
}

TEST(Correlate, LagsAreThoseOfTheTransforms) {
    for (const Case& c :
         {Case{2, 2, 11, 12}, {0, 0, 15, 15}, {5, 9, 15, 15}, {7, 0, 1000, 1000}, {500, 500, 1001, 1008}}) {
        expectLags<std::int16_t>(c);
        expectLags<std::int32_t>(c);
        expectLags<float>(c);
        expectLags<double>(c);
    }
}

// Both signals are 1, so each lag is 1. One sample less than the size makes no result.
TEST(Correlate, TheSizeIsTheSmallestThatFits) {
    for (const auto& [block, length] : {std::pair(8, 8U),
                                        {11, 12U},
                                        {13, 14U},
                                        {121, 125U},
                                        {1001, 1008U},
                                        {2402, 2430U},
                                        {157464, 157464U},
                                        {1048575, 1048576U}}) {
        for (const bool whole : {false, true}) {
            const std::vector<float> ones(whole ? length : length - 1, 1.0F);
            const Doubles have =
                Call("CORRELATE (x, y, 3, 4, " + std::to_string(block) + ", out:double)", {{"x", ones}, {"y", ones}})
                    .taken<double>();
            ASSERT_EQ(have.size(), whole ? 8U : 0U) << block;
            for (const double x : have) ASSERT_NEAR(x, 1, 1e-9) << block;
        }
    }
}

TEST(Correlate, ALagBeyondFloatIsInfinite) {
    const Doubles large(15, 1e30);
    EXPECT_EQ(Call("CORRELATE (x, y, 0, 0, 15, out:float)", {{"x", large}, {"y", large}}).taken<float>(),
              std::vector{INFINITY});
}

TEST(CorrelateParameters, ListsAreRefusedAtTheFirstMistake) {
    expectRefused({"CORRELATE (int16, int16, -1, -1, 3, double)"}, 5, 3);
    expectRefused({"CORRELATE (int16, int16, 0, -1, 3, double)"}, 5, 4);
    expectRefused({"CORRELATE (int16, int16, 10, 10, 20, double)", "CORRELATE (int16, int16, 0, 0, 14, double)",
                   "CORRELATE (int16, int16, 2147483647, 2147483647, 100, double)",
                   "CORRELATE (int16, int16, 0, 2147483647, 2147483647, double)",
                   "CORRELATE (int16, int16, 0, 0, 1048577, double)"},
                  5, 5);
    expectReady({"CORRELATE (int16, int16, 0, 0:int32, 15, double)"});
    expectReady({"CORRELATE (int16, int16, 0, 524287, 1048576, double)"});
}

}  // namespace
}  // namespace libzepl
