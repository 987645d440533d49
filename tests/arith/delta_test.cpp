// DELTA against differences of neighbours, taken in a type that holds them.

#include "tests/arith/arith_support.h"

namespace libzepl {
namespace {

const Covers covers("DELTA");

template <class Element>
void expectDifferences(const std::vector<Element>& source) {
    const std::vector<Element> have = resultOf<Element>("DELTA (in, out)", source);
    ASSERT_EQ(have.size(), source.size() - 1);
    for (std::size_t i = 0; i < have.size(); ++i) {
        Element expected;
        if constexpr (std::is_integral_v<Element>)
            expected = static_cast<Element>(
                std::clamp<std::int64_t>(std::int64_t{source[i + 1]} - source[i], least<Element>, most<Element>));
        else
            expected = source[i + 1] - source[i];
        ASSERT_TRUE(have[i] == expected || (have[i] != have[i] && expected != expected)) << i << " of " << have.size();
    }
}

template <class Element>
class Delta : public testing::Test {};
TYPED_TEST_SUITE(Delta, Elements);

TYPED_TEST(Delta, DifferencesAreThoseOfTheInputsThemselves) {
    std::vector<TypeParam> source = edgeSamples<TypeParam>();
    source.insert(source.begin(), 7);
    expectDifferences(source);
}

TYPED_TEST(Delta, BlocksOfEveryLengthAreTakenAlike) {
    const std::vector<TypeParam> samples = randomBits<TypeParam>(140, 9);
    for (auto end = samples.begin() + 2; end != samples.end(); ++end)
        expectDifferences(std::vector<TypeParam>(samples.begin(), end));
}

}  // namespace
}  // namespace libzepl
