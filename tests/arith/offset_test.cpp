// OFFSET against the sum in a type that holds it.

#include "tests/arith/arith_support.h"

namespace libzepl {
namespace {

const Covers covers("OFFSET");

template <class Element>
class Offset : public testing::Test {};
TYPED_TEST_SUITE(Offset, Elements);

TYPED_TEST(Offset, SumsSaturate) {
    for (const TypeParam offset : {TypeParam{0}, TypeParam{1}, TypeParam{-1}, TypeParam{12345}, least<TypeParam>,
                                   most<TypeParam>, std::numeric_limits<TypeParam>::lowest()}) {
        if constexpr (std::is_integral_v<TypeParam>)
            expectEach<TypeParam>("OFFSET " + list("in", offset, "out"), edgeSamples<TypeParam>(),
                                  [offset](std::int64_t x) {
                                      return std::clamp<std::int64_t>(x + offset, least<TypeParam>, most<TypeParam>);
                                  });
        else
            expectEach<TypeParam>("OFFSET " + list("in", offset, "out"), randomSamples<TypeParam>(5000, 3),
                                  [offset](TypeParam x) { return x + offset; });
    }
}

TEST(OffsetVariable, AChangedVariableActsFromTheNextSample) {
    EXPECT_EQ(withVariable("OFFSET (in, v, out)", {1, 2, 1, 1}, "pass pass set,100 pass set,-5 pass"),
              (std::vector<std::int32_t>{3, 4, 101, -4}));
}

}  // namespace
}  // namespace libzepl
