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
void expectProducts(const std::string& blklen, std::size_t n, const std::string& type) {
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
            std::string list = "* * " + blklen + (count == 2 ? " HAMMING" : " v");
            for (std::size_t i = 0; i < count; ++i) list += " >" + type;
            const OneTask task("CROSSPOWER", list, {first, second, weights});
            for (std::size_t i = 0; i < count; ++i)
                EXPECT_EQ(bitsOf(task.taken<Element>(i)), outputBits<Element>(want[i])) << blklen << type << i;
        }
    }
}

TEST(CrossPower, AProductDiffersFromThatOfTheSpectra) {
    for (const auto& [blklen, n] : {std::pair("3", 8U), {"16", 16U}, {"17", 17U}, {"225", 225U}, {"14", 16384U}}) {
        expectProducts<std::int16_t>(blklen, n, "16");
        expectProducts<std::int32_t>(blklen, n, "32");
        expectProducts<float>(blklen, n, "f");
        expectProducts<double>(blklen, n, "d");
    }
}

TEST(CrossPowerParameters, AFaultIsBlamedOnAnotherPlace) {
    expectErrors("CROSSPOWER",
                 {
                     {"5 at 3", "*16 *16 2 HAMMING >d >d; *16 *16 15 HAMMING >d >d; *16 *16 -5 HAMMING >d >d"},
                     {"1 at 4", "*16 *16 16 v8 >d >d"},
                     {"7 at 4", "*16 *16 4 KAISER >d >d; *16 *16 23 WELCH >d >d"},
                     {"2 at 1", "*16 *16 23 HAMMING >d >d; *16 *16 23 HAMMING >d >16"},
                     {"3 at 6", "*16 *16 4 HAMMING >d >f; *16 *16 4 HAMMING >32 >16"},
                     {"3 at 7", "*16 *16 4 HAMMING >f >d >16"},
                 });
    EXPECT_EQ(OneTask("CROSSPOWER", "*16 *16 46 HAMMING >d >d").console,
              Lines{"*** Warning: FFT block size invalid, factoring failed"});
    EXPECT_EQ(OneTask("CROSSPOWER", "*16 *d 4 HAMMING >16 >d >32").state, "waiting");
    EXPECT_EQ(OneTask("CROSSPOWER", "*16 *16 32400 v32400 >d >d >d").state, "waiting");
}

}  // namespace
}  // namespace libzepl
