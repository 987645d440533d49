// The Fourier transform against its plain definition, bit by bit in each build, and against what a transform is.

#include <gtest/gtest.h>

#include <algorithm>
#include <complex>
#include <numbers>

#include "spectral/fft_kernels.h"
#include "tests/spectral/plain_fft.h"
#include "tests/support/samples.h"

namespace zcmds {
namespace {

struct Signal {
    std::vector<double> re, im;

    bool operator==(const Signal& other) const {
        return libzepl::bitsOf(re) == libzepl::bitsOf(other.re) && libzepl::bitsOf(im) == libzepl::bitsOf(other.im);
    }
    std::complex<double> at(std::size_t i) const { return {re[i], im[i]}; }
};

bool build(FftPlan& plan, std::int32_t length, std::int32_t direction = 0) {
    return fftPlanBuild(direction, length, length, length, 1, plan);
}

Signal noise(std::int32_t length, std::uint64_t seed) {
    const auto count = static_cast<std::size_t>(length);
    return {libzepl::randomSamples<double>(count, seed), libzepl::randomSamples<double>(count, seed + 1)};
}

// Ones among zeros of both signs, so that sums cancel exactly and signs of zeros count.
Signal sparse(std::int32_t length, std::uint64_t seed) {
    Signal signal = noise(length, seed);
    for (auto* part : {&signal.re, &signal.im})
        for (double& x : *part) x = std::fmod(std::trunc(x), 2.0);
    return signal;
}

Signal transformed(Signal signal, std::int32_t direction) {
    FftPlan plan;
    EXPECT_TRUE(build(plan, static_cast<std::int32_t>(signal.re.size()), direction));
    fftExecute(signal.re.data(), signal.im.data(), plan);
    return signal;
}

void expectPlainBits(std::int32_t length, const Signal& signal) {
    for (const std::int32_t direction : {0, 1}) {
        FftPlan plan;
        ASSERT_TRUE(build(plan, length, direction)) << length;
        Signal plain = signal;
        plain::plainFft(plain.re.data(), plain.im.data(), plan);
        // All with the same plan, which serves block after block.
        for (const FftKernel& kernel : fftKernels()) {
            if (!kernel.machineHas()) continue;
            Signal fast = signal;
            kernel.transform(fast.re.data(), fast.im.data(), plan);
            ASSERT_TRUE(fast == plain) << kernel.name << ", length " << length << ", direction " << direction;
        }
    }
}

// No prime above 19, and those that occur an odd number of times have a product below 324.
bool canBeTaken(std::int32_t length) {
    std::int32_t product = 1;
    for (const std::int32_t prime : {2, 3, 5, 7, 11, 13, 17, 19})
        for (; length % prime == 0; length /= prime) product = product % prime == 0 ? product / prime : product * prime;
    return length == 1 && product < 324;
}

TEST(FourierPlan, LengthsOfSmallPrimesAreTaken) {
    FftPlan plan;
    for (std::int32_t length = 1; length <= 40000; ++length)
        ASSERT_EQ(build(plan, length), canBeTaken(length)) << length;
    for (const std::int32_t length : {-4, 0, 23 * 23, 29 * 29 * 2, 4093 * 4093, (1 << 24) + 1})
        EXPECT_FALSE(build(plan, length)) << length;
    EXPECT_FALSE(fftPlanBuild(0, 64, 32, 32, 1, plan));
    EXPECT_FALSE(fftPlanBuild(0, 64, 32, 64, 1, plan));
    EXPECT_FALSE(fftPlanBuild(0, 64, 64, 64, 2, plan));
}

// Sixteens as fours, odd squares, a square of two; the core; the squares mirrored.
TEST(FourierPlan, FactorsComeInTheirOrder) {
    std::string have;
    for (const std::int32_t length : {1, 3, 4, 6, 8, 12, 16, 36, 323, 360, 1024, 11025, 12754584, 1 << 23, 1 << 24}) {
        FftPlan plan;
        ASSERT_TRUE(build(plan, length));
        have += std::to_string(length) + ":";
        for (std::int32_t i = 0; i < plan.factorCount; ++i) have += " " + std::to_string(plan.factors[i]);
        have += "; ";
    }
    EXPECT_EQ(have,
              "1:; 3: 3; 4: 4; 6: 2 3; 8: 2 2 2; 12: 2 3 2; 16: 4 4; 36: 3 4 3; 323: 17 19; 360: 3 2 2 5 2 3; "
              "1024: 4 4 4 4 4; 11025: 3 5 7 7 5 3; 12754584: 3 3 3 3 3 3 2 2 3 2 3 3 3 3 3 3; "
              "8388608: 4 4 4 4 4 2 2 2 4 4 4 4 4; 16777216: 4 4 4 4 4 4 4 4 4 4 4 4; ");
}

// The compiler's options could change the plain definition as well.
TEST(Fourier, ShortTransformsKeepTheirBits) {
    EXPECT_TRUE(transformed({{1, 2, 5, 3, 3, 5}, {-1, 2, 0, 3, 1, -1}}, 0) ==
                (Signal{{0x1.9555555555555p+1, -0x1.06206ca34ef1dp-3, -0x1.881b28d3bc755p-8, -0x1.5555555555554p-3,
                         -0x1.29228f81d6ee3p+0, -0x1.69228f81d6ee2p-1},
                        {0x1.5555555555555p-1, -0x1.0b6eb83f1488ep-1, 0x1.c6d666c499538p-1, -0x1.5555555555555p-1,
                         -0x1.1c2bbc19eea8dp-1, -0x1.9f3bf26b9621dp-1}}));
}

TEST(Fourier, EachBuildIsThePlainDefinition) {
    for (std::int32_t length = 1; length <= 400; ++length) {
        if (!canBeTaken(length)) continue;
        expectPlainBits(length, noise(length, 1));
        expectPlainBits(length, sparse(length, 2));
    }
}

// Long stages of each factor, with all kinds of remaining offsets, groups that are longer than the cache, and many digits.
TEST(Fourier, EachBuildIsThePlainDefinitionInLongStages) {
    for (const std::int32_t length : {660,   836,   1000,  1024,   1156,   1292,   1404,   1512,   2023,   2048,  2187,
                                      2888,  3332,  4096,  6498,   6859,   9248,   10000,  12675,  14157,  16384, 16807,
                                      18432, 33075, 65536, 157464, 161051, 165375, 262144, 524288, 1048576})
        expectPlainBits(length, noise(length, 3));
}

TEST(Fourier, ShortTransformsAreTheDirectSum) {
    for (std::int32_t length = 1; length <= 400; ++length) {
        if (!canBeTaken(length)) continue;
        const auto n = static_cast<std::size_t>(length);
        const Signal signal = noise(length, 5), forward = transformed(signal, 0), reverse = transformed(signal, 1);
        std::vector<std::complex<double>> turns(n);
        for (std::size_t i = 0; i < n; ++i)
            turns[i] = std::polar(1.0, -2 * std::numbers::pi * static_cast<double>(i) / length);
        for (std::size_t k = 0; k < n; ++k) {
            std::complex<double> down = 0, up = 0;
            double size = 0;
            for (std::size_t t = 0; t < n; ++t) {
                down += signal.at(t) * turns[k * t % n];
                up += signal.at(t) * std::conj(turns[k * t % n]);
                size += std::abs(signal.at(t));
            }
            ASSERT_LT(std::abs(forward.at(k) * static_cast<double>(length) - down), 1e-13 * size) << length << ' ' << k;
            ASSERT_LT(std::abs(reverse.at(k) - up), 1e-13 * size) << length << ' ' << k;
        }
    }
}

// What an impulse gives is known in every element.
TEST(Fourier, AnImpulseGivesItsTwiddles) {
    for (const std::int32_t length : {1000, 1024, 1292, 6859, 33075, 157464, 1 << 20}) {
        const auto n = static_cast<std::size_t>(length), place = n / 3 + 1;
        Signal signal{std::vector<double>(n), std::vector<double>(n)};
        signal.re[place] = 3;
        signal.im[place] = -2;
        const Signal reverse = transformed(signal, 1);
        for (std::size_t k = 0; k < n; ++k) {
            const double angle = 2 * std::numbers::pi * static_cast<double>(place * k % n) / length;
            ASSERT_LT(std::abs(reverse.at(k) - signal.at(place) * std::polar(1.0, angle)), 1e-11) << length << ' ' << k;
        }
    }
}

}  // namespace
}  // namespace zcmds
