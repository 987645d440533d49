// AVERAGE, RMS, STDDEV and VARIANCE against plain definitions, block by block, however the input arrives.

#include <algorithm>
#include <cmath>

#include "tests/stats/stats_support.h"

namespace libzepl {
namespace {

const Covers average("AVERAGE"), rms("RMS"), stddev("STDDEV"), variance("VARIANCE");

__extension__ using Int128 = __int128;

std::int64_t in64Bits(Int128 x) { return static_cast<std::int64_t>(static_cast<std::uint64_t>(x)); }

// The integer part of the root, bit by bit.
std::int64_t rootOf(std::int64_t x) {
    std::int64_t root = 0;
    for (std::int64_t bit = std::int64_t{1} << 31; bit != 0; bit >>= 1)
        if (x > 0 && Int128{root + bit} * (root + bit) <= x) root += bit;
    return root;
}

template <class Element>
struct Sums {
    std::conditional_t<std::is_integral_v<Element>, Int128, double> sum = 0, squares = 0;
    std::int32_t n = 0;

    explicit Sums(const Element* from, std::int32_t count) : n(count) {
        for (const Element* x = from; x != from + n; ++x) {
            sum += *x;
            squares += static_cast<decltype(squares)>(*x) * *x;
        }
    }
    auto variance() const {
        if constexpr (std::is_integral_v<Element>)
            return in64Bits(Int128{in64Bits(squares)} - in64Bits(Int128{in64Bits(sum)} * in64Bits(sum)) / n) / n;
        else
            return (squares - sum * sum / n) / n;
    }
    auto meanSquare() const {
        if constexpr (std::is_integral_v<Element>)
            return in64Bits(squares) / n;
        else
            return squares / n;
    }
};

template <class Element>
Element averageOf(const Sums<Element>& sums) {
    if constexpr (std::is_integral_v<Element>) {
        const Int128 magnitude = ((sums.sum < 0 ? -sums.sum : sums.sum) * 2 + sums.n) / (2 * Int128{sums.n});
        return static_cast<Element>(sums.sum < 0 ? -magnitude : magnitude);
    } else {
        return static_cast<Element>(sums.sum / sums.n);
    }
}

template <class Element, class Square>
Element storedRoot(Square square) {
    if constexpr (std::is_same_v<Element, std::int16_t>)
        return static_cast<Element>(rootOf(static_cast<std::int32_t>(square)));
    else if constexpr (std::is_integral_v<Element>)
        return static_cast<Element>(rootOf(square));
    else
        return static_cast<Element>(std::sqrt(square));
}

template <class Result, class Element>
Result plainResult(const std::string& command, const Sums<Element>& sums) {
    if (command == "AVERAGE") return static_cast<Result>(averageOf(sums));
    if (command == "RMS") return static_cast<Result>(storedRoot<Element>(sums.meanSquare()));
    if (command == "STDDEV") return static_cast<Result>(storedRoot<Element>(sums.variance()));
    if (std::is_same_v<Result, std::int16_t> && (sums.variance() < 0 || sums.variance() > 32767)) return Result{32767};
    return static_cast<Result>(sums.variance());
}

// The plain results of the whole blocks.
template <class Result, class Element>
std::vector<Result> plainResults(const std::string& command, const std::vector<Element>& source, std::int32_t bsize) {
    std::vector<Result> results;
    for (std::size_t i = 0; i + static_cast<std::size_t>(bsize) <= source.size(); i += static_cast<std::size_t>(bsize))
        results.push_back(plainResult<Result>(command, Sums<Element>(source.data() + i, bsize)));
    return results;
}

template <class Element>
std::vector<Element> samplesFor() {
    std::vector<Element> source = randomSamples<Element>(5003, 3);
    // Whole transfers of the most negative, of one whose low bits are full, and of the greatest.
    std::fill_n(source.begin() + 1000, 1000, std::numeric_limits<Element>::lowest());
    std::fill_n(source.begin() + 2000, 1000, std::numeric_limits<Element>::lowest() + 31);
    std::fill_n(source.begin() + 3000, 1000, std::numeric_limits<Element>::max());
    return source;
}

constexpr FeedPolicy whole{.kind = FeedPolicy::Kind::whole};

template <class Result, class Element>
void expectPlain(const std::string& command) {
    const std::vector<Element> source = samplesFor<Element>();
    for (const std::int32_t bsize : {1, 2, 3, 10, 100, 999, 1000, 1001, 2500, 5003, 5004}) {
        const auto results = resultOf<Result>(command, source, {int32Constant(bsize)}, {}, whole);
        EXPECT_EQ(bitsOf(results), bitsOf(plainResults<Result>(command, source, bsize))) << command << " by " << bsize;
    }
}

template <class Element>
class BlockSums : public testing::Test {};
using Elements = testing::Types<std::int16_t, std::int32_t, float, double>;
TYPED_TEST_SUITE(BlockSums, Elements);

TYPED_TEST(BlockSums, AResultDiffersFromThePlainDefinition) {
    for (const char* command : {"AVERAGE", "RMS", "STDDEV", "VARIANCE"}) expectPlain<TypeParam, TypeParam>(command);
    if constexpr (std::is_same_v<TypeParam, std::int16_t>) expectPlain<std::int32_t, TypeParam>("VARIANCE");
}

using Int16s = std::vector<std::int16_t>;

TEST(BlockSumsEdges, AnIntegerResultIsRoundedOrHeldOtherwise) {
    const struct {
        const char* command;
        std::int16_t bsize;
        Int16s source, results;
    } cases[] = {
        {"AVERAGE", 2, {1, 2, -1, -2, 1, -2, -32768, -32767, 32767, 32766}, {2, -2, -1, -32768, 32767}},
        {"AVERAGE", 3, {1, 0, 0, 1, 1, 0, -1, -1, 0}, {0, 1, -1}},
        {"AVERAGE", 1, {-32768, 0, 32767}, {-32768, 0, 32767}},
        {"RMS", 2, {3, 4, -32768, -32768, 32767, 32767}, {3, -32768, 32767}},
        {"STDDEV", 2, {5, 5, 1, 3, -32768, 32767}, {0, 1, 32767}},
        {"VARIANCE", 2, {0, 362, 0, 363, -32768, 32767}, {32761, 32767, 32767}},
    };
    for (const auto& [command, bsize, source, results] : cases)
        EXPECT_EQ(resultOf<std::int16_t>(command, source, {int16Constant(bsize)}), results) << command;
    EXPECT_EQ(resultOf<std::int32_t>("VARIANCE", Int16s{0, 363, -32768, 32767}, {int16Constant(2)}),
              (std::vector<std::int32_t>{32942, 1073709056}));
}

TEST(BlockSumsEdges, ASumPast64BitsIsDetected) {
    const std::vector<std::int32_t> least(4, std::numeric_limits<std::int32_t>::min());
    // 2 * 2^62 is negative in 64 bits, 4 * 2^62 is 0.
    EXPECT_EQ(resultOf<std::int32_t>("RMS", least, {int16Constant(2)}), (std::vector<std::int32_t>{0, 0}));
    EXPECT_EQ(resultOf<std::int32_t>("RMS", least, {int16Constant(4)}), (std::vector<std::int32_t>{0}));
    EXPECT_EQ(resultOf<std::int32_t>("RMS", least, {int16Constant(1)}),
              std::vector<std::int32_t>(4, std::numeric_limits<std::int32_t>::min()));
}

TEST(BlockSumsEdges, AnAverageOfMoreElementsThan32BitsSumIsAnother) {
    const Int16s source(64002, -32768);
    EXPECT_EQ(resultOf<std::int16_t>("AVERAGE", source, {int32Constant(32000)}), Int16s(2, -32768));
    EXPECT_EQ(resultOf<std::int16_t>("AVERAGE", source, {int32Constant(32001)}), Int16s(2, -32768));
}

TEST(BlockSumsEdges, AFloatingSumIsOfSinglePrecisionOrARoundedVarianceIsRaised) {
    const std::vector<float> cancelling{0x1p24F, 1, 1, -0x1p24F};
    EXPECT_EQ(resultOf<float>("AVERAGE", cancelling, {int16Constant(4)}), std::vector<float>{0.5F});
    // The squares of 1e9 + 1 and its neighbours lose their ends.
    const std::vector<double> close{1e9, 1e9 + 1, 1e9 + 2};
    const double rounded = (1e18 + (1e9 + 1) * (1e9 + 1) + (1e9 + 2) * (1e9 + 2) - (3e9 + 3) * (3e9 + 3) / 3) / 3;
    EXPECT_EQ(resultOf<double>("VARIANCE", close, {int16Constant(3)}), std::vector<double>{rounded});
    const std::vector<double> same(10, 0.7);
    EXPECT_LT(resultOf<double>("VARIANCE", same, {int16Constant(10)})[0], 0);
    EXPECT_TRUE(std::isnan(resultOf<double>("STDDEV", same, {int16Constant(10)})[0]));
}

TEST(BlockReducers, AListThatIsNoneOfTheirsPasses) {
    for (const char* command : {"AVERAGE", "HIGH", "LOW", "RMS", "STDDEV", "VARIANCE"}) {
        expectOutcomes(command, {{"waiting", {"s 10 s", "s 100000 s"}},
                                 {"refused at 3", {"s 10"}},
                                 {"error code 6 at 2", {"s 0 s", "s -1 i", "s -2147483648 s"}},
                                 {"error code 3 at 3", {"i 10 s", "f 10 i"}},
                                 {"refused at 2", {"s 10.0 s"}},
                                 {"refused at 4", {"s 10 s f"}},
                                 {"refused at 5", {"s 10 s s s"}}});
        const bool takesLoc = std::string(command) == "HIGH" || std::string(command) == "LOW";
        const bool widens = std::string(command) == "VARIANCE";
        expectOutcomes(command, {{takesLoc ? "waiting" : "error code 9 at 4", {"s 10 s i", "f 10 f s"}},
                                 {widens ? "waiting" : "error code 3 at 3", {"s 10 i"}},
                                 {widens ? "error code 9 at 4" : "error code 3 at 3", {"i 10 s i"}}});
    }
}

}  // namespace
}  // namespace libzepl
