// FINDMAX against a plain search, with its index and event.

#include <cmath>

#include "tests/support/covered.h"
#include "tests/support/samples.h"
#include "tests/support/session_support.h"

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
    const PipeId from = session.input("from", source), values = session.output("values", {}, elementTypeOf<Element>()),
                 indices = session.output("indices");
    const TriggerId events = session.addTrigger("events");
    session.collect(events);
    const auto task = [&](const auto& first, const auto& second) {
        session.task("FINDMAX", from, int32Constant(part.length), hostWord(part.region), int32Constant(part.low),
                     int32Constant(part.high), values, first, second);
    };
    if (eventFirst)
        task(events, indices);
    else
        task(indices, events);
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
using Elements = testing::Types<std::int16_t, std::int32_t, float, double>;
TYPED_TEST_SUITE(FindMax, Elements);

TYPED_TEST(FindMax, AnotherThanTheFirstGreatestOfThePartIsFound) {
    std::vector<TypeParam> few;  // with many equal values
    for (int i = 0; i < 2500; ++i) few.push_back(static_cast<TypeParam>(i * i % 7 - 3));
    if constexpr (std::is_floating_point_v<TypeParam>)
        for (std::size_t i = 0; i < few.size(); i += 3) few[i] = -few[i];  // zeros of both signs
    for (const auto& source : {randomBits<TypeParam>(2500, 9), few})
        for (const Part& part : {Part{1, 0, 0, 0}, Part{7, 0, 0, 6}, Part{7, 0, 3, 3}, Part{7, 1, 0, 5},
                                 Part{7, 1, 1, 6}, Part{7, 1, 2, 4}, Part{400, 0, 17, 390}, Part{400, 1, 150, 151}})
            EXPECT_TRUE(found(part, source) == plainlyFound(part, source)) << part.length << " from " << part.low;
}

TYPED_TEST(FindMax, ABlockOfTheLeastTellsAnIndexOfItsPart) {
    const std::vector<TypeParam> least(10, std::numeric_limits<TypeParam>::lowest());
    EXPECT_EQ(found({10, 0, 5, 9}, least).indices, std::vector<std::int32_t>{0});
    if constexpr (std::is_floating_point_v<TypeParam>) {
        const auto none = found({10, 0, 5, 9}, std::vector<TypeParam>(10, static_cast<TypeParam>(NAN)));
        EXPECT_EQ(none.values, std::vector<TypeParam>{least[0]});
    }
}

TYPED_TEST(FindMax, TheOrderOfTheOutputsChangesWhatIsFound) {
    const auto source = randomSamples<TypeParam>(1000, 2);
    const Part part{64, 1, 10, 20};
    EXPECT_TRUE(found(part, source, true) == found(part, source));
}

TEST(FindMaxErrors, AnotherCodeOrPositionIsTold) {
    enum class Extra { none, twoPipes, twoTriggers, variableLow, variableHigh, otherType };
    struct Case {
        Part part;
        Extra extra;
        const char* state;
    };
    for (const Case& c :
         {Case{{0, 0, 0, 0}, Extra::otherType, "error code 3 at 6"},
          Case{{0, 0, 0, 0}, Extra::twoPipes, "error code 3 at 8"},
          Case{{8, 0, 0, 7}, Extra::twoTriggers, "error code 3 at 8"},
          Case{{0, 0, 0, 0}, Extra::variableLow, "error code 6 at 2"},
          Case{{8, 0, 0, 7}, Extra::variableLow, "error code 10 at 4"},
          Case{{8, 0, -1, 7}, Extra::variableHigh, "error code 10 at 5"},
          Case{{8, 0, -1, -1}, Extra::none, "error code 5 at 4"}, Case{{8, 0, 8, 8}, Extra::none, "error code 5 at 4"},
          Case{{8, 0, 5, 8}, Extra::none, "error code 5 at 5"}, Case{{8, 0, 5, -1}, Extra::none, "error code 5 at 5"},
          Case{{8, 0, 5, 4}, Extra::none, "error code 4 at 5"}, Case{{8, 1, 0, 7}, Extra::none, "error code 4 at 5"}}) {
        TestSession session;
        const std::int32_t five = 5;
        const bool pipes = c.extra == Extra::twoPipes, triggers = c.extra == Extra::twoTriggers;
        TaskSettings task{.command = "FINDMAX"};
        const auto variable = [&] { return session.use(session.addVariable("five", ElementType::int32, &five)); };
        task.arguments = {
            session.use(session.pipe("from")),
            int32Constant(c.part.length),
            hostWord(c.part.region),
            c.extra == Extra::variableLow ? variable() : int32Constant(c.part.low),
            c.extra == Extra::variableHigh ? variable() : int32Constant(c.part.high),
            session.use(session.pipe("to", {}, c.extra == Extra::otherType ? ElementType::int16 : ElementType::int32))};
        for (const char* name : {"a", "b"}) {
            if (pipes) task.arguments.push_back(session.use(session.pipe(name)));
            if (triggers) task.arguments.push_back(session.use(session.addTrigger(name)));
        }
        session.addTask(std::move(task));
        EXPECT_EQ(statesOf(session.run()).at(0), c.state);
    }
}

}  // namespace
}  // namespace libzepl
