// Looks at pipes and triggers of a session that runs.

#include <cmath>
#include <limits>
#include <numeric>
#include <thread>

#include "runtime/live.h"
#include "tests/support/samples.h"
#include "tests/support/session_support.h"

namespace libzepl {
namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

// The least and the greatest of each column, as it is defined.
template <class Element>
Watched columnsOf(const std::vector<Element>& samples, std::size_t perColumn) {
    Watched columns;
    for (std::size_t at = 0; at < samples.size(); at += perColumn) {
        double least = nan, greatest = nan;
        for (std::size_t i = at; i < std::min(at + perColumn, samples.size()); ++i) {
            const auto sample = static_cast<double>(samples[i]);
            if (std::isnan(sample)) continue;
            if (!(least <= sample)) least = sample;
            if (!(greatest >= sample)) greatest = sample;
        }
        columns.least.push_back(least);
        columns.greatest.push_back(greatest);
    }
    return columns;
}

// As text, since no nan is like another; zeros of either sign count as one.
std::string textOf(const std::vector<double>& values) {
    std::string text;
    for (const double value : values) text += std::to_string(value + 0.0) + " ";
    return text;
}

void expectColumns(const Watched& seen, const Watched& expected, const std::string& what) {
    EXPECT_EQ(textOf(seen.least), textOf(expected.least)) << what;
    EXPECT_EQ(textOf(seen.greatest), textOf(expected.greatest)) << what;
}

template <class Element>
class TapElements : public testing::Test {};
TYPED_TEST_SUITE(TapElements, Elements);

TYPED_TEST(TapElements, ColumnsHaveTheLeastAndTheGreatestOfTheirNumbers) {
    std::vector<TypeParam> samples = randomBits<TypeParam>(5000, 3);
    if constexpr (std::is_floating_point_v<TypeParam>)
        std::fill_n(samples.begin() + 100, 30, std::numeric_limits<TypeParam>::quiet_NaN());
    for (const std::size_t perColumn : {1UL, 7UL, 64UL, 1000UL, 4999UL, 6000UL}) {
        TestSession session({.feed = {.kind = FeedPolicy::Kind::random, .seed = perColumn}});
        const PipeId source = session.input<TypeParam>("source", samples);
        const PipeId copy = session.output("copy", {}, elementTypeOf<TypeParam>());
        session.task("ABS", source, copy);
        Tap tap = session.watch(source, {.columns = 5000, .perColumn = perColumn});
        session.run();
        const Watched seen = tap.take();
        expectColumns(seen, columnsOf(samples, perColumn), std::to_string(perColumn));
        EXPECT_EQ(seen.firstColumn, 0U);
        EXPECT_EQ(seen.seen, samples.size());
        EXPECT_TRUE(seen.ended && seen.elements.empty());
    }
}

// Fills its pipes in several ways, and watches each.
struct WatchedRun {
    explicit WatchedRun(bool isWatched, std::uint64_t seed)
        : session({.feed = {.kind = FeedPolicy::Kind::random, .seed = seed}}) {
        const auto watched = [&](PipeId pipe) {
            if (isWatched)
                taps.push_back(session.watch(pipe, {.elements = 1 << 20, .columns = 1 << 16, .perColumn = 10}));
            return pipe;
        };
        const PipeId source = watched(session.input("source", countUp(9000)));  // the caller's memory
        const PipeId unread = watched(session.input("unread", countUp(9000)));  // nobody reads it
        const PipeId link = watched(session.pipe("link", 100));                 // a small pipe between two tasks
        const PipeId copy = watched(session.output("copy"));                    // kept whole
        const PipeId limited = watched(session.output("limited", 9000));        // by an output that reads
        const PipeId discarded = watched(session.pipe("discarded"));            // written, and read by nobody
        const PipeId values = watched(session.pipe("values", 50));              // one by one
        const PipeId large = watched(session.loop("large", countUp(3)));        // has some to start with; grows
        static_cast<void>(unread);
        session.task("ABS", source, link);
        session.task("ABS", link, copy);
        session.task("ABS", link, limited);
        session.task("ABS", link, discarded);
        session.script("open_read:2 open_write:3 9000( move:2,3 )", source, values);
        session.script("open_read:2 *( pipe_get:2 )", values);
        session.script("open_read:2 open_write:3 2000( move:2,3 )", source, large);
        session.script("open_read:2 *( pipe_num_complete:2,500 pipe_get:2 )", large);
        report = session.run();
    }

    TestSession session;
    std::vector<Tap> taps;
    Report report;
};

TEST(Taps, EverythingThatIsWrittenIsSeenHoweverItIsRead) {
    for (const std::uint64_t seed : {1UL, 2UL, 3UL}) {
        WatchedRun run(true, seed);
        for (std::size_t i = 0; i < run.taps.size(); ++i) {
            const std::string name = run.report.pipes[i].name;
            std::vector<std::int32_t> expected = countUp(run.report.pipes[i].written);
            if (name == "large") std::iota(expected.begin() + 3, expected.end(), 0);
            const Watched seen = run.taps[i].take();
            EXPECT_EQ(seen.as<std::int32_t>(), expected) << name;
            expectColumns(seen, columnsOf(expected, 10), name);
            EXPECT_EQ(seen.first + seen.firstColumn, 0U) << name;
        }
    }
}

TEST(Taps, WatchingAndLookingChangeNothing) {
    for (const std::uint64_t seed : {1UL, 2UL, 3UL}) {
        WatchedRun plain(false, seed), watched(true, seed);
        plain.report.seconds = watched.report.seconds = 0;
        EXPECT_EQ(toJson(plain.report, {}), toJson(watched.report, {}));
        EXPECT_EQ(plain.session.snapshot().round, watched.session.snapshot().round);
    }
}

TEST(Taps, WhatIsNotTakenInTimeIsDroppedTheOldestFirst) {
    TestSession session;
    const PipeId source = session.input("source", countUp(5005));
    session.task("ABS", source, session.output("copy"));
    Tap tap = session.watch(source, {.elements = 100, .columns = 3, .perColumn = 10});
    session.run();
    const Watched seen = tap.take();
    EXPECT_EQ(seen.as<std::int32_t>(), countUp(100, 4905));
    EXPECT_EQ(seen.first, 4905U);
    EXPECT_EQ(seen.firstColumn, 4980U);
    EXPECT_EQ(seen.least, std::vector<double>({4980, 4990, 5000}));
    EXPECT_EQ(seen.greatest, std::vector<double>({4989, 4999, 5004}));
    const Watched again = tap.take();
    EXPECT_TRUE(again.elements.empty() && again.least.empty() && again.ended);
}

TEST(Taps, ATapSeesFromWhenItIsAttachedToWhenItIsDetached) {
    TestSession session;
    const PipeId source = session.pipe("source"), copy = session.output("copy");
    session.task("ABS", source, copy);
    LiveInput& input = session.feedLive(source);
    session.start();
    std::optional<Tap> first(session.watch(copy, {.elements = 100}));
    std::vector<std::int32_t> seen;
    const auto await = [&](std::size_t count) {
        while (seen.size() < count) {
            const std::vector<std::int32_t> more = first->take().as<std::int32_t>();
            seen.insert(seen.end(), more.begin(), more.end());
            std::this_thread::yield();
        }
    };
    input.push(countUp(15));
    await(15);
    Tap second = session.watch(copy, {.elements = 100, .columns = 9, .perColumn = 10});
    input.push(countUp(20, 15));
    await(35);
    first.reset();
    input.push(countUp(10, 35));
    input.finish();
    session.wait();
    EXPECT_EQ(seen, countUp(35));
    const Watched late = second.take();
    EXPECT_EQ(late.first, 15U);
    EXPECT_EQ(late.as<std::int32_t>(), countUp(30, 15));
    EXPECT_EQ(late.firstColumn, 20U) << "a column whose beginning was not seen is none";
    EXPECT_EQ(late.greatest, std::vector<double>({29, 39, 44}));
}

TEST(Taps, AColumnThatWasNotSeenFromItsBeginningIsNone) {
    TestSession session;
    const PipeId source = session.pipe("source"), copy = session.output("copy");
    session.task("ABS", source, copy);
    LiveInput& input = session.feedLive(source);
    session.start();
    input.pushAll(countUp(150));
    while (session.snapshot().pipes[0].written < 150) continue;
    Tap tap = session.watch(source, {.columns = 10, .perColumn = 100});
    session.snapshot();  // the tap is there
    input.finish();
    session.wait();
    EXPECT_TRUE(tap.take().least.empty());
}

TEST(Taps, ATakerSeesPiecesOfTheStreamWhileItRuns) {
    std::vector<std::int32_t> samples = randomSamples<std::int32_t>(300000, 5);
    for (std::int32_t& x : samples) x &= 0x7FFFFFFF;
    TestSession session({.feed = {.kind = FeedPolicy::Kind::random, .seed = 5}});
    const PipeId source = session.input("source", samples), copy = session.output("copy");
    session.task("ABS", source, session.pipe("unread"));
    session.task("ABS", source, copy);
    Tap tap = session.watch(copy, {.elements = 3000, .columns = 40, .perColumn = 100});
    session.start();
    std::uint64_t next = 0;
    for (bool ended = false; !ended;) {
        const Watched seen = tap.take();
        ended = seen.ended;
        const std::vector<std::int32_t> elements = seen.as<std::int32_t>();
        EXPECT_GE(seen.first, next);
        next = seen.first + elements.size();
        ASSERT_TRUE(
            std::equal(elements.begin(), elements.end(), samples.begin() + static_cast<std::ptrdiff_t>(seen.first)));
        for (std::size_t k = 0; k < seen.least.size(); ++k) {
            const auto at = samples.begin() + static_cast<std::ptrdiff_t>(seen.firstColumn + 100 * k);
            ASSERT_EQ(seen.least[k], *std::min_element(at, at + 100));
        }
    }
    session.wait();
    EXPECT_EQ(next, samples.size());
    EXPECT_EQ(session.collected<std::int32_t>(copy), samples);
}

TEST(Taps, EventsAreSeenWhetherTheyAreReadOrNot) {
    TestSession session({.feed = {.piece = 10}});
    const PipeId source = session.input("source", countUp(300));
    const TriggerId read = session.addTrigger("read"), unread = session.addTrigger("unread"),
                    made = session.addTrigger("made");
    std::vector<TriggerRow> rows;
    std::vector<std::uint32_t> positions;
    for (std::uint32_t at = 1; at < 300; at += 2) {
        rows.push_back({true, at});
        positions.push_back(at);
    }
    session.setInput(read, rows);
    session.setInput(unread, rows);
    session.script("open_read:2 *( pipe_get:2 )", source);
    session.script("open_read:2 *( trigger_get:2 )", read);
    session.script("open_write:2 trigger_put:2,5 task_switch trigger_put:2,7", made);
    TriggerTap readTap = session.watch(read, 1000), unreadTap = session.watch(unread, 4),
               madeTap = session.watch(made, 9);
    session.run();
    EXPECT_EQ(readTap.take().positions, positions);
    const WatchedEvents last = unreadTap.take();
    EXPECT_EQ(last.positions, std::vector<std::uint32_t>({293, 295, 297, 299}));
    EXPECT_EQ(last.first, 146U);
    EXPECT_EQ(madeTap.take().positions, std::vector<std::uint32_t>({5, 7}));
}

TEST(Taps, SettingsThatKeepNothingAreRefused) {
    TestSession session;
    const PipeId source = session.pipe("source");
    for (const WatchSettings settings :
         {WatchSettings{}, WatchSettings{.columns = 5}, WatchSettings{.elements = maxWatched + 1}})
        EXPECT_THROW(session.watch(source, settings), Problem);
}

}  // namespace
}  // namespace libzepl
