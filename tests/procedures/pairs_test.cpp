// Commands that read two streams, of one source or of different lengths.

#include <cmath>
#include <numeric>

#include "procedures_support.h"

namespace libzepl {
namespace {

using Pairs = ProcedureTest;

TEST_F(Pairs, TheShorterOfTwoRecordingsEndsTheMagnitudes) {
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

// FFT puts a whole block of real parts before it puts the imaginary ones, which the first CMAG waits for. Bin 0 is the mean.
TEST_F(Pairs, TheTwoOutputsOfFftCanBeReadCrosswise) {
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
        const std::vector<double> first = elementsOf<double>("first.bin");
        ASSERT_EQ(first.size(), 3 * n);
        EXPECT_TRUE(first == elementsOf<double>("second.bin"));
        for (std::size_t block = 0; block < 3 * n; block += n) {
            const double sum = std::accumulate(x.data() + block, x.data() + block + n, 0.0);
            EXPECT_NEAR(first[block], std::fabs(sum) / n, 1e-12) << block;
        }
    }
}

}  // namespace
}  // namespace libzepl
