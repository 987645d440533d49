// CROSSPOWER against the product of two spectra, bit for bit.

#include "tests/spectral/spectral_support.h"
#include "tests/support/covered.h"

namespace libzepl {
namespace {

const Covers covers("CROSSPOWER");

// Real part, imaginary part and the first one's power.
std::array<Doubles, 3> productsOf(const Parts& a, const Parts& b, std::size_t n) {
    std::array<Doubles, 3> made;
    for (std::size_t block = 0; block < a.re.size(); block += n) {
        for (std::size_t i = block; i < block + (n + 1) / 2; ++i) {
            const bool constant = i == block;
            made[0].push_back(constant ? a.re[i] * b.re[i] : (a.re[i] * b.re[i] + a.im[i] * b.im[i]) * 2);
            made[1].push_back(constant ? 0 : (b.im[i] * a.re[i] - a.im[i] * b.re[i]) * 2);
            made[2].push_back(constant ? a.re[i] * a.re[i] : (a.im[i] * a.im[i] + a.re[i] * a.re[i]) * 2);
        }
    }
    return made;
}

// Two blocks of signals whose products reach past every integer type, or, divided, do not.
template <class Element>
void expectProducts(const std::string& blklen, std::size_t n) {
    for (const int divisor : {1, 30000}) {
        std::vector<std::int16_t> first = randomSamples<std::int16_t>(2 * n, 1),
                                  second = randomSamples<std::int16_t>(2 * n, 2);
        for (std::int16_t& x : first) x = static_cast<std::int16_t>(x / divisor);
        Parts a{{}, Doubles(2 * n)}, b = a;
        Doubles weights;
        for (std::size_t i = 0; i < 2 * n; ++i) {
            weights.push_back(weightOf("HAMMING", false, i % n, n));
            a.re.push_back(first[i] * weights[i]);
            b.re.push_back(second[i] * weights[i]);
        }
        weights.resize(n);
        const auto want = productsOf(transformOf(a, n), transformOf(b, n), n);
        for (const std::size_t count : {2U, 3U}) {
            std::string text = "CROSSPOWER (x, y, " + blklen + (count == 2 ? ", HAMMING" : ", weights");
            for (std::size_t i = 0; i < count; ++i) text += ", " + typed<Element>("out" + std::to_string(i));
            const Call call(text + ")", {{"x", first}, {"y", second}, {"[weights]", weights}});
            for (std::size_t i = 0; i < count; ++i)
                EXPECT_EQ(bitsOf(call.template taken<Element>("out" + std::to_string(i))), outputBits<Element>(want[i]))
                    << text << i;
        }
    }
}

TEST(CrossPower, ProductsAreThoseOfTheSpectra) {
    for (const auto& [blklen, n] : {std::pair("3", 8U), {"16", 16U}, {"17", 17U}, {"225", 225U}, {"14", 16384U}}) {
        expectProducts<std::int16_t>(blklen, n);
        expectProducts<std::int32_t>(blklen, n);
        expectProducts<float>(blklen, n);
        expectProducts<double>(blklen, n);
    }
}

TEST(CrossPowerParameters, ListsAreRefusedAtTheFirstMistake) {
    expectRefused({"CROSSPOWER (int16, int16, 2, HAMMING, double, double)",
                   "CROSSPOWER (int16, int16, 15, HAMMING, double, double)",
                   "CROSSPOWER (int16, int16, -5, HAMMING, double, double)"},
                  5, 3);
    expectRefused({"CROSSPOWER (int16, int16, 16, [0, 0, 0, 0, 0, 0, 0, 0]:double, double, double)"}, 1, 4);
    expectRefused({"CROSSPOWER (int16, int16, 4, KAISER, double, double)",
                   "CROSSPOWER (int16, int16, 23, WELCH, double, double)"},
                  7, 4);
    expectRefused({"CROSSPOWER (int16, int16, 23, HAMMING, double, double)",
                   "CROSSPOWER (int16, int16, 23, HAMMING, double, int16)"},
                  2, 1);
    expectRefused(
        {"CROSSPOWER (int16, int16, 4, HAMMING, double, float)", "CROSSPOWER (int16, int16, 4, HAMMING, int32, int16)"},
        3, 6);
    expectRefused({"CROSSPOWER (int16, int16, 4, HAMMING, float, double, int16)"}, 3, 7);
    EXPECT_EQ(Call("CROSSPOWER (int16, int16, 46, HAMMING, double, double)").report.console,
              Lines{"*** Warning: FFT block size invalid, factoring failed"});
    expectReady({"CROSSPOWER (int16, double, 4, HAMMING, int16, double, int32)"});
    expectReady({"CROSSPOWER (int16, int16, 32400, " + zeros(32400) + ", double, double, double)"});
}

}  // namespace
}  // namespace libzepl
