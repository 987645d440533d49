// The mathematics that the host defines itself.

#include <gtest/gtest.h>

#include "host/mathematics.h"

namespace libzepl {
namespace {

TEST(Mathematics, IntegerRootsRoundDownAtTheirEdges) {
    for (const std::int32_t root : {1, 2, 3, 255, 256, 4096, 32767, 46339, 46340}) {
        EXPECT_EQ(zepl::isqrt(root * root), root);
        EXPECT_EQ(zepl::isqrt(root * root - 1), root - 1);
    }
    EXPECT_EQ(zepl::isqrt(2147483647), 46340);
}

}  // namespace
}  // namespace libzepl
