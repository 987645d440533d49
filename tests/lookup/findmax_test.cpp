// FINDMAX against a plain search, with its index and event.

#include <cmath>

#include "tests/support/call.h"
#include "tests/support/covered.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

const Covers covers("FINDMAX");

template <class Element>
struct Found {
    std::vector<Element> values;
    std::vector<std::int32_t> indices;
    std::vector<std::uint32_t> events;
    bool operator==(const Found& other) const {
        return bitsOf(values) == bitsOf(other.values) && indices == other.indices && events == other.events;
    }
};

struct Part {
    std::int32_t length, region, low, high;
};

template <class Element>
Found<Element> found(const Part& part, const std::vector<Element>& source, bool eventFirst = false) {
    TestSession session;
    session.input("in", source);
    const PipeId values = session.output("values", {}, elementTypeOf<Element>()), indices = session.output("indices");
    const TriggerId events = session.addTrigger("events");
    session.collect(events);
    addCall(session, "FINDMAX " + list("in", part.length, part.region == 0 ? "inside" : "outside", part.low, part.high,
                                       "values", eventFirst ? "events, indices" : "indices, events"));
    const Report report = session.run();
    EXPECT_EQ(report.status, Report::Status::ok);
    EXPECT_EQ(report.triggers.at(0).status + 1,
              source.size() / static_cast<std::size_t>(part.length) * static_cast<std::size_t>(part.length));
    return {session.collected<Element>(values), session.collected<std::int32_t>(indices),
            session.collectedEvents(events)};
}

// The index counts as found only where something beats the least finite value.
template <class Element>
Found<Element> plainlyFound(const Part& part, const std::vector<Element>& source) {
    Found<Element> result;
    const auto length = static_cast<std::size_t>(part.length);
    for (std::size_t at = 0; at + length <= source.size(); at += length) {
        Element best = std::numeric_limits<Element>::lowest();
        std::int32_t index = 0;
        for (std::int32_t i = 0; i < part.length; ++i) {
            const bool inside = part.low <= i && i <= part.high;
            const Element x = source[at + static_cast<std::size_t>(i)];
            if (inside != (part.region == 0) || !(x > best)) continue;
            best = x;
            index = i;
        }
        result.values.push_back(best);
        result.indices.push_back(index);
        // The status starts before sample 0, so the event stands at the greatest sample itself.
        result.events.push_back(static_cast<std::uint32_t>(at) + static_cast<std::uint32_t>(index));
    }
    return result;
}

template <class Element>
class FindMax : public testing::Test {};
TYPED_TEST_SUITE(FindMax, Elements);

TYPED_TEST(FindMax, FindsTheFirstGreatestOfThePart) {
    std::vector<TypeParam> few;  // with many equal values
    for (int i = 0; i < 2500; ++i) few.push_back(static_cast<TypeParam>(i * i % 7 - 3));
    if constexpr (std::is_floating_point_v<TypeParam>)
        for (std::size_t i = 0; i < few.size(); i += 3) few[i] = -few[i];               // zeros of both signs
    const std::vector<TypeParam> least(500, std::numeric_limits<TypeParam>::lowest());  // which nothing beats
    for (const auto& source : {randomBits<TypeParam>(2500, 9), few, least})
        for (const Part& part :
             {Part{1, 0, 0, 0}, Part{7, 0, 0, 6}, Part{7, 0, 3, 3}, Part{7, 1, 0, 5}, Part{7, 1, 1, 6},
              Part{7, 1, 2, 4}, Part{7, 1, 1, 5}, Part{400, 0, 17, 390}, Part{400, 1, 150, 151}}) {
            const Found<TypeParam> expected = plainlyFound(part, source);
            EXPECT_TRUE(found(part, source) == expected) << part.length << " from " << part.low;
            EXPECT_TRUE(found(part, source, true) == expected) << part.length << " from " << part.low;
        }
}

TEST(FindMaxErrors, ListsAreRefusedAtTheFirstMistake) {
    expectRefused({"FINDMAX (int32, 0, inside, 0, 0, int16)"}, 3, 6);
    expectRefused({"FINDMAX (int32, 0, inside, 0, 0, int32, int32, int32)",
                   "FINDMAX (int32, 8, inside, 0, 7, int32, trigger, trigger)"},
                  3, 8);
    expectRefused({"FINDMAX (int32, 0, inside, variable:int32 = 5, 0, int32)"}, 6, 2);
    expectRefused({"FINDMAX (int32, 8, inside, variable:int32 = 5, 7, int32)",
                   "FINDMAX (int32, 8, inside, variable:int32 = 5, variable:int32 = 5, int32)"},
                  10, 4);
    expectRefused({"FINDMAX (int32, 8, inside, -1, variable:int32 = 5, int32)"}, 10, 5);
    expectRefused({"FINDMAX (int32, 8, inside, -1, -1, int32)", "FINDMAX (int32, 8, inside, 8, 8, int32)"}, 5, 4);
    expectRefused({"FINDMAX (int32, 8, inside, 5, 8, int32)", "FINDMAX (int32, 8, inside, 5, -1, int32)"}, 5, 5);
    expectRefused({"FINDMAX (int32, 8, inside, 5, 4, int32)", "FINDMAX (int32, 8, outside, 0, 7, int32)"}, 4, 5);
    expectReady({"FINDMAX (int32, 8, inside, 7, 7, int32)"});
}

}  // namespace
}  // namespace libzepl
