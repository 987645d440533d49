// DELTA against differences of neighbours, taken in a type that holds them.

#include "tests/arith/arith_support.h"

namespace libzepl {
namespace {

const Covers covers("DELTA");

template <class Element>
class Delta : public testing::Test {};
TYPED_TEST_SUITE(Delta, Elements);

TYPED_TEST(Delta, DifferencesAreThoseOfTheInputsThemselves) {
    std::vector<TypeParam> source = edgeSamples<TypeParam>();
    source.insert(source.begin(), 7);
    const std::vector<TypeParam> have = resultOf<TypeParam>("DELTA (in, out)", source);
    ASSERT_EQ(have.size(), source.size() - 1);
    for (std::size_t i = 0; i < have.size(); ++i) {
        TypeParam expected;
        if constexpr (std::is_integral_v<TypeParam>)
            expected = static_cast<TypeParam>(
                std::clamp<std::int64_t>(std::int64_t{source[i + 1]} - source[i], least<TypeParam>, most<TypeParam>));
        else
            expected = source[i + 1] - source[i];
        ASSERT_TRUE(have[i] == expected || (have[i] != have[i] && expected != expected)) << i;
    }
}

}  // namespace
}  // namespace libzepl
