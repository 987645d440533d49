// Sessions that other threads feed, change and stop while they run.

#include <thread>

#include "runtime/live.h"
#include "tests/support/samples.h"
#include "tests/support/session_support.h"

namespace libzepl {
namespace {

// Pushes in pieces of random sizes, whatever fits of each.
template <class Element>
void pushInPieces(LiveInput& input, const std::vector<Element>& samples, std::uint64_t seed) {
    std::mt19937_64 random(seed);
    for (std::size_t at = 0; at < samples.size();) {
        const std::size_t piece = std::min<std::size_t>(random() % 3000, samples.size() - at);
        at += random() % 4 == 0 ? input.push(samples.data() + at, piece) : input.pushAll(samples.data() + at, piece);
    }
    input.finish();
}

template <class Element>
class LiveElements : public testing::Test {};
TYPED_TEST_SUITE(LiveElements, Elements);

TYPED_TEST(LiveElements, WhatAThreadPushesGivesTheBytesThatMemoryGives) {
    for (const std::size_t capacity : {1, 7, 4096}) {
        const std::vector<TypeParam> samples = randomSamples<TypeParam>(capacity == 1 ? 3000 : 50000, capacity);
        const auto resultOf = [&](bool isLive) {
            TestSession session({.feed = {.kind = FeedPolicy::Kind::random, .seed = capacity}});
            const PipeId source = session.pipe("source", {}, elementTypeOf<TypeParam>());
            const PipeId result = session.output("result", {}, elementTypeOf<TypeParam>());
            session.task("ABS", source, result);
            if (!isLive) {
                session.feed<TypeParam>(source, samples);
                session.run();
                return session.template collected<TypeParam>(result);
            }
            LiveInput& input = session.feedLive(source, capacity);
            std::thread pusher([&] { pushInPieces(input, samples, capacity); });
            EXPECT_EQ(session.run().status, Report::Status::ok);
            pusher.join();
            return session.template collected<TypeParam>(result);
        };
        EXPECT_EQ(bitsOf(resultOf(true)), bitsOf(resultOf(false)));
    }
}

}  // namespace
}  // namespace libzepl
