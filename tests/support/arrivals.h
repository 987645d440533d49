// The ways in which one input can arrive, for what must not hang on them.
#pragma once

#include <gtest/gtest.h>

#include "runtime/session.h"

namespace libzepl {

// Calls `run(feed)`, which gives something comparable, with the whole input at once, then with pieces of single elements,
// of `block` and its neighbours, and of random sizes; each must give what the first gave, and that is returned.
template <class Run>
auto sameForEveryArrival(std::uint64_t block, Run run, std::uint64_t seeds = 10) {
    const auto expected = run(FeedPolicy{.kind = FeedPolicy::Kind::whole});
    for (const std::uint64_t piece : {std::uint64_t{1}, std::uint64_t{7}, block - 1, block, block + 1})
        EXPECT_TRUE(piece == 0 || run(FeedPolicy{.piece = piece}) == expected) << "pieces of " << piece;
    for (std::uint64_t seed = 1; seed <= seeds; ++seed)
        EXPECT_TRUE(run(FeedPolicy{.kind = FeedPolicy::Kind::random, .seed = seed}) == expected) << "seed " << seed;
    return expected;
}

}  // namespace libzepl
