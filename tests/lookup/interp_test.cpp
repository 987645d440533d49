// INTERP against the plain definition of its search and its formula.

#include <algorithm>
#include <cmath>

#include "tests/support/covered.h"
#include "tests/support/samples.h"
#include "tests/support/session_support.h"

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
    constexpr ElementType type = elementTypeOf<Element>();
    TestSession session;
    const PipeId from = session.input("from", source), to = session.output("to", {}, type);
    session.task("INTERP", from, session.addVector("x", type, bytesOf(table.abscissa)),
                 session.addVector("y", type, bytesOf(table.ordinate)), to);
    EXPECT_EQ(session.run().status, Report::Status::ok);
    return bitsOf(session.collected<Element>(to));
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
using Elements = testing::Types<std::int16_t, std::int32_t, float, double>;
TYPED_TEST_SUITE(Interp, Elements);

TYPED_TEST(Interp, ASampleDiffersFromThePlainDefinition) {
    for (const std::size_t length : {1U, 2U, 3U, 4U, 5U, 33U, 1000U}) {
        const Table<TypeParam> table = randomTable<TypeParam>(length);
        std::vector<TypeParam> source = randomBits<TypeParam>(3000, 5), expected;
        source.insert(source.end(), table.abscissa.begin(), table.abscissa.end());
        // Slowly up and down, with some leaps, across points and beyond the ends.
        for (int i = 0; i < 3000; ++i) {
            const double swing = std::sin(i * 0.004) * (i % 1000 == 0 ? -1.1 : 1.1);
            const double greatest = std::is_integral_v<TypeParam> ? std::numeric_limits<TypeParam>::max() / 1.2 : 1e6;
            source.push_back(static_cast<TypeParam>(swing * greatest));
            if (i % 7 == 0) source.push_back(source.back());
        }
        for (const TypeParam x : source) expected.push_back(interpolated(table, x));
        EXPECT_EQ(afterInterp(table, source), bitsOf(expected)) << length;
    }
}

TYPED_TEST(Interp, ATableThatDoesNotRiseIsSearchedInAnotherWay) {
    // Far apart enough that no two entries that the search meets are the same.
    Table<TypeParam> table{{10, 0, 7, 30, 20, 25, 5, 40}, {1, 2, 3, 4, 5, 6, 7, 8}};
    std::vector<TypeParam> source, expected;
    for (int x = -2; x < 45; ++x) source.push_back(static_cast<TypeParam>(x));
    for (const TypeParam x : source) expected.push_back(interpolated(table, x));
    EXPECT_EQ(afterInterp(table, source), bitsOf(expected));
}

TEST(InterpEdges, TruncationOrWidthDiffersFromWhatIsPromised) {
    const auto int16 = [](Table<std::int16_t> table, std::int16_t x) { return afterInterp(table, {x}).at(0); };
    EXPECT_EQ(int16({{0, 10}, {0, 5}}, 3), 1U);
    EXPECT_EQ(int16({{0, 10}, {0, -5}}, 3), 0xffffU);
    // 65535 * 65534 wraps to -196606, which divided by 65535 is -3.
    EXPECT_EQ(int16({{-32768, 32767}, {-32768, 32767}}, 32766), 32765U);
    // A hit has its own ordinate, whatever stands beside it.
    const Table<float> steep{{0, 1, 2}, {-0.0F, 2, INFINITY}};
    EXPECT_EQ(afterInterp(steep, {0, 0.5F, 1, 1.5F, 2}), bitsOf<float>({-0.0F, 1, 2, INFINITY, INFINITY}));
    const Table<std::int32_t> wide{{-2147483647 - 1, 2147483647}, {2147483647, -2147483647 - 1}};
    EXPECT_EQ(afterInterp(wide, {2147483646, 0}), (std::vector<std::uint32_t>{0x80000001u, 0xffffffffu}));
}

TEST(InterpErrors, AnotherCodeOrPositionIsTold) {
    struct Case {
        ElementType abscissa, ordinate, dest;
        std::size_t xLength, yLength;
        const char* state;
    };
    constexpr auto int16 = ElementType::int16, int32 = ElementType::int32;
    for (const Case& c :
         {Case{int32, int32, int16, 2, 2, "error code 3 at 4"}, Case{int16, int16, int32, 2, 2, "error code 3 at 2"},
          Case{int32, int16, int32, 2, 2, "error code 3 at 3"}, Case{int32, int32, int32, 2, 3, "error code 2 at 3"},
          Case{int32, int32, int32, 0, 0, "error code 2 at 2"}}) {
        TestSession session;
        const PipeId from = session.input("from", countUp(3)), to = session.output("to", {}, c.dest);
        const auto vector = [&](const char* name, ElementType type, std::size_t length) {
            return session.addVector(name, type, std::vector<std::byte>(length * widthOf(type)));
        };
        session.task("INTERP", from, vector("x", c.abscissa, c.xLength), vector("y", c.ordinate, c.yLength), to);
        EXPECT_EQ(statesOf(session.run()).at(0), c.state);
    }
}

}  // namespace
}  // namespace libzepl
