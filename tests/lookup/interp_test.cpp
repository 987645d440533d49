// INTERP against the plain definition of its search and its formula.

#include <algorithm>
#include <cmath>

#include "tests/support/call.h"
#include "tests/support/covered.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

const Covers covers("INTERP");

template <class Element>
struct Table {
    std::vector<Element> abscissa, ordinate;
};

// The bisection as it is told, one sample at a time.
template <class Element>
std::pair<std::size_t, std::size_t> bracketOf(const std::vector<Element>& abscissa, Element x) {
    std::size_t low = 0, high = abscissa.size() - 1;
    if (x >= abscissa[high]) return {high, high};
    if (x <= abscissa[0]) return {0, 0};
    for (std::size_t mid = (low + high) / 2; mid != low; mid = (low + high) / 2) {
        if (abscissa[mid] == x) return {mid, mid};
        (abscissa[mid] < x ? low : high) = mid;
    }
    return {low, high};
}

template <class Element>
Element interpolated(const Table<Element>& table, Element x) {
    const auto [low, high] = bracketOf(table.abscissa, x);
    const Element x0 = table.abscissa[low], x1 = table.abscissa[high], y0 = table.ordinate[low],
                  y1 = table.ordinate[high];
    if (low == high) return y0;
    if constexpr (std::is_integral_v<Element>) {
        __extension__ using Wide = __int128;
        Wide product = (Wide{y1} - y0) * (Wide{x} - x0);
        if (sizeof(Element) == 2) product = static_cast<std::int32_t>(product);  // modulo 2^32
        return static_cast<Element>(y0 + product / (Wide{x1} - x0));
    } else {
        const Element rise = y1 - y0, advance = x - x0, run = x1 - x0;
        return static_cast<Element>(static_cast<double>(y0) + static_cast<double>(rise) * static_cast<double>(advance) /
                                                                  static_cast<double>(run));
    }
}

template <class Element>
std::vector<BitsOf<Element>> afterInterp(const Table<Element>& table, const std::vector<Element>& source) {
    const Call call("INTERP (in, x, y, " + typed<Element>("out") + ")",
                    {{"in", source}, {"[x]", table.abscissa}, {"[y]", table.ordinate}});
    EXPECT_EQ(call.report.status, Report::Status::ok);
    return bitsOf(call.taken<Element>());
}

// A rising abscissa of distinct entries over the whole range and an ordinate of any values.
template <class Element>
Table<Element> randomTable(std::size_t length) {
    Table<Element> table{randomSamples<Element>(length, length), randomSamples<Element>(length, length + 1)};
    std::sort(table.abscissa.begin(), table.abscissa.end());
    table.abscissa.erase(std::unique(table.abscissa.begin(), table.abscissa.end()), table.abscissa.end());
    table.ordinate.resize(table.abscissa.size());
    return table;
}

template <class Element>
class Interp : public testing::Test {};
TYPED_TEST_SUITE(Interp, Elements);

TYPED_TEST(Interp, SamplesAreThePlainDefinition) {
    const auto lowest = std::numeric_limits<TypeParam>::lowest(), most = std::numeric_limits<TypeParam>::max();
    std::vector<Table<TypeParam>> tables{{{lowest, most}, {most, lowest}}};  // whose products need the most bits
    for (const std::size_t length : {1U, 2U, 3U, 4U, 5U, 33U, 1000U, 3000U})
        tables.push_back(randomTable<TypeParam>(length));
    for (const Table<TypeParam>& table : tables) {
        std::vector<TypeParam> source = randomBits<TypeParam>(3000, 5), expected;
        source.insert(source.end(), table.abscissa.begin(), table.abscissa.end());
        // Slowly up and down, with some leaps, across points and beyond the ends.
        for (int i = 0; i < 3000; ++i) {
            const double swing = std::sin(i * 0.004) * (i % 1000 == 0 ? -1.1 : 1.1);
            const double greatest = std::is_integral_v<TypeParam> ? std::numeric_limits<TypeParam>::max() / 1.2 : 1e6;
            source.push_back(static_cast<TypeParam>(swing * greatest));
            if (i % 7 == 0) source.push_back(source.back());
        }
        source.resize(9217);  // so that the last one comes alone
        for (const TypeParam x : source) expected.push_back(interpolated(table, x));
        EXPECT_EQ(afterInterp(table, source), bitsOf(expected)) << table.abscissa.size();
    }
}

TYPED_TEST(Interp, ATableThatDoesNotRiseIsSearchedByTheSameBisection) {
    // Far apart enough that no two entries that the search meets are the same; and one that falls.
    const std::vector<TypeParam> ordinate{1, 2, 3, 4, 5, 6, 7, 8};
    for (const std::vector<TypeParam>& abscissa :
         {std::vector<TypeParam>{10, 0, 7, 30, 20, 25, 5, 40}, {40, 5, 25, 20, 30, 7, 0, 10}}) {
        const Table<TypeParam> table{abscissa, ordinate};
        std::vector<TypeParam> source, expected;
        for (int x = -2; x < 45; ++x) source.push_back(static_cast<TypeParam>(x));
        for (const TypeParam x : source) expected.push_back(interpolated(table, x));
        EXPECT_EQ(afterInterp(table, source), bitsOf(expected));
    }
}

TEST(InterpEdges, AHitGivesItsOrdinateWhateverIsBesideIt) {
    const Table<float> steep{{0, 1, 2}, {-0.0F, 2, INFINITY}};
    EXPECT_EQ(afterInterp(steep, {0, 0.5F, 1, 1.5F, 2}), bitsOf<float>({-0.0F, 1, 2, INFINITY, INFINITY}));
}

TEST(InterpErrors, ListsAreRefusedAtTheFirstMistake) {
    expectRefused({"INTERP (int32, [1, 2]:int32, [1, 2]:int32, int16)"}, 3, 4);
    expectRefused(
        {"INTERP (int32, [1, 2]:int16, [1, 2]:int16, int32)", "INTERP (int16, [1]:int32, [1, 2]:int16, int16)"}, 3, 2);
    expectRefused({"INTERP (int32, [1, 2]:int32, [1, 2]:int16, int32)"}, 3, 3);
    expectRefused({"INTERP (int32, [1, 2]:int32, [1, 2, 3]:int32, int32)"}, 2, 3);
    const Input empty("[x]", std::vector<std::int32_t>{});
    EXPECT_EQ(Call("INTERP (int32, x, x, int32)", {empty}).state, "error code 2 at 2");
}

}  // namespace
}  // namespace libzepl
