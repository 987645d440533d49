// Commands that read two streams, of one source or of different lengths.

#include <cmath>
#include <numbers>

#include "procedures_support.h"

namespace libzepl {
namespace {

using Pairs = ProcedureTest;

TEST_F(Pairs, MagnitudesOfAShortAndALongRecording) {
    const std::vector<std::int16_t> lengthy = recording(), brief = randomSamples<std::int16_t>(2500, -32767, 32767);
    putSamples("short.bin", brief);
    std::vector<std::int16_t> expected(brief.size());
    for (std::size_t i = 0; i < brief.size(); ++i)
        expected[i] = static_cast<std::int16_t>(std::min(std::hypot(lengthy[i], brief[i]), 32767.0));
    for (const auto& [parts, wait] : {std::pair("brief, lengthy", "waits for 1 sample of `brief`, 0 are there"),
                                      std::pair("lengthy, brief", "waits for 1000 samples of `brief`, 500 are there")})
        for (const char* feed : someFeeds) {
            const Ran ran =
                run("pipe brief : int16 from \"short.bin\"\npipe lengthy : int16 from \"data/ecg208.wav\"\n"
                    "pipe size : int16 to \"size.bin\"\nCMAG (" +
                        std::string(parts) + ", size)\n",
                    feed);
            const std::vector<std::int16_t> sizes = elementsOf<std::int16_t>("size.bin");
            EXPECT_EQ(ran.status, 0);
            EXPECT_TRUE(std::equal(sizes.begin(), sizes.end(), expected.begin())) << parts << feed;
            EXPECT_EQ(sizes.size() + ran.unread("brief"), brief.size()) << parts << feed;
            if (*feed != 0) continue;
            EXPECT_EQ(ran.notes(), Lines({"CMAG (line 4) " + std::string(wait),
                                          "CMAG (line 4) left 4096 samples of `lengthy` unread",
                                          "the input of `lengthy` was held up after " +
                                              std::to_string(ran.written("lengthy")) + " of its 108000 samples"}));
        }
}

TEST_F(Pairs, CorrelationOfAStreamWithItself) {
    constexpr std::size_t n = 700, lead = 3, lag = 5;
    const std::vector<std::int16_t> x = recording();
    std::vector<double> expected;
    for (std::size_t block = 0; block + n <= x.size(); block += n)
        for (std::size_t m = n - lead; m <= n + lag; ++m) {
            double sum = 0;
            for (std::size_t t = 0; t < n; ++t) sum += x[block + (t + m) % n] * x[block + t];
            expected.push_back(sum / n);
        }
    for (const char* feed : {"", "--feed whole", "--feed random:1"}) {
        const Ran ran =
            run("pipe ecg : int16 from \"data/ecg208.wav\"\n"
                "pipe lags : double to \"lags.bin\"\n"
                "CORRELATE (ecg, ecg, 3, 5, 700, lags)\n",
                feed);
        EXPECT_EQ(ran.notes(), Lines({"CORRELATE (line 3) waits for 700 samples of `ecg`, 200 are there"}));
        const std::vector<double> lags = elementsOf<double>("lags.bin");
        ASSERT_EQ(lags.size(), expected.size());
        for (std::size_t i = 0; i < lags.size(); ++i)
            ASSERT_NEAR(lags[i], expected[i], 1e-11 * n * expected[i / 9 * 9 + lead]) << i;
    }
}

// |X| by its definition, for bin k of a block.
double binSize(const double* x, std::size_t n, std::size_t k) {
    double re = 0, im = 0;
    for (std::size_t t = 0; t < n; ++t) {
        const double angle = 2 * std::numbers::pi * static_cast<double>(k * t % n) / static_cast<double>(n);
        re += x[t] * std::cos(angle);
        im -= x[t] * std::sin(angle);
    }
    return std::hypot(re, im) / static_cast<double>(n);
}

// FFT puts a whole block of real parts before it puts the imaginary ones, which the first CMAG waits for.
TEST_F(Pairs, TheTwoOutputsOfFftReadCrosswise) {
    constexpr std::size_t n = 512;
    const std::vector<double> x = randomSamples(3 * n + 100, -1.0, 1.0);
    putSamples("x.bin", x);
    for (const char* capacity : {"", " capacity 16"}) {
        const Ran ran = run("pipe x : double from \"x.bin\"\npipe re : double" + std::string(capacity) +
                            "\npipe im : double" + capacity +
                            "\npipe first : double to \"first.bin\"\n"
                            "pipe second : double to \"second.bin\"\n"
                            "FFT (0, 9, 0, x, re, im)\n"
                            "CMAG (im, re, first)\n"
                            "CMAG (re, im, second)\n");
        EXPECT_EQ(ran.notes(), Lines({"FFT (line 6) waits for 512 samples of `x`, 100 are there"}));
        const std::vector<double> first = elementsOf<double>("first.bin"), second = elementsOf<double>("second.bin");
        ASSERT_EQ(first.size(), 3 * n);
        ASSERT_EQ(second.size(), 3 * n);
        for (std::size_t i = 0; i < 3 * n; ++i) {
            ASSERT_NEAR(first[i], binSize(&x[i / n * n], n, i % n), 1e-12) << i;
            ASSERT_EQ(first[i], second[i]) << i;
        }
    }
}

// One source, two paths of very different pace, and an output that has enough early on.
TEST_F(Pairs, AFanOutToAFastAndASlowReader) {
    const std::vector<std::int16_t> x = recording();
    for (const char* feed : someFeeds) {
        const Ran ran =
            run("pipe ecg : int16 from \"data/ecg208.wav\"\n"
                "pipe copy : int16 capacity 5\n"
                "pipe fast : int16 to \"fast.bin\"\n"
                "pipe brief : int16 to \"brief.bin\" limit 10\n"
                "pipe slow : int16 to \"slow.bin\"\n"
                "SCALE (ecg, 0, 1, 1, copy)\n"
                "ABS (copy, fast)\n"
                "ABS (copy, brief)\n"
                "SKIP (copy, 1, 16000, 15999, slow)\n",
                feed);
        EXPECT_EQ(ran.status, 0);
        EXPECT_TRUE(elementsOf<std::int16_t>("fast.bin") == rectified(x)) << feed;
        EXPECT_EQ(elementsOf<std::int16_t>("brief.bin"), rectified({x.begin(), x.begin() + 10})) << feed;
    }
}

}  // namespace
}  // namespace libzepl
