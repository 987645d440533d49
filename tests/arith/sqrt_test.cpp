// SQRT against what a root is.

#include <bit>

#include "tests/arith/arith_support.h"

namespace libzepl {
namespace {

const Covers covers("SQRT");

template <class Element>
void expectWholeRoots() {
    const auto source = edgeSamples<Element>(), roots = resultOf<Element>("SQRT (in, out)", source);
    ASSERT_EQ(roots.size(), source.size());
    for (std::size_t i = 0; i < roots.size(); ++i) {
        const std::int64_t root = roots[i], x = std::max<std::int64_t>(source[i], 0);
        ASSERT_TRUE(root >= 0 && root * root <= x && (root + 1) * (root + 1) > x) << root << " of " << x;
    }
}

TEST(Sqrt, RootsOfIntegersAreTheirIntegerPart) {
    expectWholeRoots<std::int16_t>();
    expectWholeRoots<std::int32_t>();
}

TEST(Sqrt, RootsOfRealsAreTheNearest) {
    const float nan = std::bit_cast<float>(0x7fc12345u);
    std::vector<float> floats{-0.0F, 0.0F, -1.0F, -INFINITY, INFINITY, -1e-45F, 1e-45F, nan};
    for (std::uint32_t bits = 0; bits < 0x7f800000; bits += 30011) floats.push_back(std::bit_cast<float>(bits));
    expectEach<float>("SQRT (in, out)", floats, [](float x) {
        return x < 0 ? 0.0F : std::sqrt(x);  // so a negative zero stays
    });
    std::vector<double> doubles = randomSamples<double>(5000, 8);
    doubles.insert(doubles.end(),
                   {std::bit_cast<double>(0x7ff8000000012345u), -0.0, -5e-324, 5e-324, 1e300, INFINITY, -INFINITY});
    expectEach<double>("SQRT (in, out)", doubles, [](double x) { return x <= 0 ? 0.0 : std::sqrt(x); });
}

}  // namespace
}  // namespace libzepl
