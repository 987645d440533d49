// BOUND against the two comparisons that define it.

#include "tests/arith/arith_support.h"

namespace libzepl {
namespace {

const Covers covers("BOUND");

template <class Element>
class Bound : public testing::Test {};
TYPED_TEST_SUITE(Bound, Elements);

TYPED_TEST(Bound, TheLowLimitIsAskedFirst) {
    using E = TypeParam;
    const E lowest = std::numeric_limits<E>::lowest(), greatest = most<E>;
    for (const auto& [low, high] : {std::pair(E{0}, E{10}), {10, 5}, {lowest, greatest}, {greatest, lowest}, {-7, -7}})
        expectEach<E>("BOUND " + list("in", low, high, "out"), edgeSamples<E>(), [low = low, high = high](E x) {
            return x <= low ? low : x >= high ? high : x;
        });
}

TEST(BoundVariable, AChangedLimitActsFromTheNextSample) {
    EXPECT_EQ(withVariable("BOUND (in, 0:int32, v, out)", {9, 9}, "pass set,5 pass"),
              (std::vector<std::int32_t>{2, 2}));
}

}  // namespace
}  // namespace libzepl
