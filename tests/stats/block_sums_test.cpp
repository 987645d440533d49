// AVERAGE, RMS, STDDEV and VARIANCE against plain definitions, block by block.

#include <algorithm>
#include <cmath>

#include "tests/support/call.h"
#include "tests/support/covered.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

const Covers average("AVERAGE"), rms("RMS"), stddev("STDDEV"), variance("VARIANCE");

using Int16s = std::vector<std::int16_t>;

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
    std::vector<Element> source = randomSamples<Element>(6003, 3);
    // Whole transfers of the most negative, of one whose low bits are full, of the greatest, and of small variances, which
    // rounding leaves below 0 in reals.
    std::fill_n(source.begin() + 1000, 1000, std::numeric_limits<Element>::lowest());
    std::fill_n(source.begin() + 2000, 1000, std::numeric_limits<Element>::lowest() + 31);
    std::fill_n(source.begin() + 3000, 1000, std::numeric_limits<Element>::max());
    for (std::size_t i = 4000; i < 5000; ++i) source[i] = static_cast<Element>(0.7 + static_cast<double>(i / 10 % 400));
    return source;
}

template <class Result, class Element>
void expectPlain(const std::string& command) {
    const std::vector<Element> source = samplesFor<Element>();
    for (const std::int32_t bsize : {1, 2, 3, 10, 15, 62, 100, 969, 999, 1000, 1001, 2500, 6003, 6004}) {
        const auto results = resultOf<Result>(command + " " + list("in", bsize, "out"), source);
        EXPECT_EQ(bitsOf(results), bitsOf(plainResults<Result>(command, source, bsize))) << command << " by " << bsize;
    }
}

template <class Element>
class BlockSums : public testing::Test {};
TYPED_TEST_SUITE(BlockSums, Elements);

TYPED_TEST(BlockSums, ResultsAreThePlainDefinitions) {
    for (const char* command : {"AVERAGE", "RMS", "STDDEV", "VARIANCE"}) expectPlain<TypeParam, TypeParam>(command);
    if constexpr (std::is_same_v<TypeParam, std::int16_t>) expectPlain<std::int32_t, TypeParam>("VARIANCE");
}

TEST(BlockSumsEdges, AnAverageOfMoreElementsThan32BitsSumIsExact) {
    const Int16s source(140000, -32768);
    for (const std::int32_t bsize : {32000, 32001, 65537, 70000})
        EXPECT_EQ(resultOf<std::int16_t>("AVERAGE " + list("in", bsize, "out"), source),
                  Int16s(140000U / static_cast<std::size_t>(bsize), -32768));
}

TEST(BlockReducers, ListsAreRefusedAtTheFirstMistake) {
    for (const std::string command : {"AVERAGE", "HIGH", "LOW", "RMS", "STDDEV", "VARIANCE"}) {
        expectReady({command + " (int16, 10, int16)", command + " (int16, 100000:int32, int16)"});
        expectRefused({command + " (int16, 10)"}, 0, 3);
        expectRefused({command + " (int16, 0, int16)", command + " (int16, -1, int32)",
                       command + " (int16, -2147483648:int32, int16)"},
                      6, 2);
        expectRefused({command + " (int32, 10, int16)", command + " (float, 10, int32)"}, 3, 3);
        expectRefused({command + " (int16, 10.0, int16)"}, 0, 2);
        expectRefused({command + " (int16, 10, int16, float)"}, 0, 4);
        expectRefused({command + " (int16, 10, int16, int16, int16)"}, 0, 5);
        const bool takesLoc = command == "HIGH" || command == "LOW";
        const std::vector<std::string> withLoc{command + " (int16, 10, int16, int32)",
                                               command + " (float, 10, float, int16)"};
        if (command != "VARIANCE")
            expectRefused({command + " (int16, 10, int32)", command + " (int32, 10, int16, int32)"}, 3, 3);
        takesLoc ? expectReady(withLoc) : expectRefused(withLoc, 9, 4);
    }
    expectReady({"VARIANCE (int16, 10, int32)"});
    expectRefused({"VARIANCE (int32, 10, int16, int32)"}, 9, 4);
}

}  // namespace
}  // namespace libzepl
