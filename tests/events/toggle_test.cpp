// TOGGLE against a plain walk over the whole streams, however they arrive.

#include "tests/events/events_support.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

const Covers covers("TOGGLE");

using Samples = std::vector<std::int16_t>;

struct Region {
    std::int32_t word;
    std::int16_t low, high;
};

bool meets(const Region& region, std::int16_t x) {
    if (region.word == 0) return region.low <= x && x <= region.high;
    return region.word == 1 && (x > region.high || x < region.low);
}

struct Setting {
    Region on, off;
    bool twoStreams = false;
    std::uint32_t skip = 0;  // property 3 of the trigger; it comes out of the on stream alone
    std::uint32_t block = 256;
};

Positions plainly(const Setting& s, const Samples& on, const Samples& off) {
    Positions positions;
    bool isOn = false;
    for (std::size_t i = s.skip; i < on.size(); ++i) {
        const std::int16_t x = !isOn ? on[i] : s.twoStreams ? off[i - s.skip] : on[i];
        if (!meets(isOn ? s.off : s.on, x)) continue;
        positions.push_back(static_cast<std::uint32_t>(i));
        isOn = !isOn;
    }
    return positions;
}

// The assertions, and the final status behind them.
Positions toggled(const Setting& s, const Samples& on, const Samples& off, FeedPolicy feed = {}) {
    TestSession session({.feed = feed, .block = s.block});
    const TriggerId dest = session.addTrigger("dest");
    session.collect(dest);
    session.setTriggerProperty(dest, 3, s.skip);
    const auto region = [&](const std::string& name, const Region& given) {
        session.define(name, hostWord(given.word));
        return ", " + name + ", " + written(given.low) + ", " + written(given.high);
    };
    session.input("on", on);
    if (s.twoStreams) session.input("off", off);
    addCall(session,
            "TOGGLE (on" + region("first", s.on) + (s.twoStreams ? ", off" : "") + region("second", s.off) + ", dest)");
    const Report report = session.run();
    Positions events = session.collectedEvents(dest);
    events.push_back(report.triggers.at(0).status);
    return events;
}

// Every sample is accounted for, so the status ends at the last.
void expectPlain(const Setting& s, const Samples& on, const Samples& off) {
    Positions expected = plainly(s, on, off);
    expected.push_back(static_cast<std::uint32_t>(on.size()) - 1);
    const auto have = sameForEveryArrival(
        s.block, [&](FeedPolicy feed) { return toggled(s, on, off, feed); }, 4);
    EXPECT_EQ(have, expected) << s.on.word << s.off.word << (s.twoStreams ? " two" : " one");
}

Samples slowNoise(std::size_t n, std::uint64_t seed) {
    Samples samples = randomBits<std::int16_t>(n, seed);
    for (std::size_t i = 1; i < n; ++i) samples[i] = static_cast<std::int16_t>((samples[i - 1] * 15 + samples[i]) / 16);
    return samples;
}

TEST(Toggle, AssertionsAreThoseOfAPlainWalk) {
    const Samples noise = randomBits<std::int16_t>(3000, 1), slow = slowNoise(3000, 2), other = slowNoise(3000, 3);
    for (const bool two : {false, true})
        for (const auto& [on, off] : {std::pair<Region, Region>{{1, -3000, 3000}, {0, -500, 500}},
                                      {{0, 0, 32767}, {0, -32768, -1}},
                                      {{0, 5, 5}, {1, 5, 4}},
                                      {{1, -32768, 32767}, {0, 0, 0}},
                                      {{0, 100, -100}, {0, 0, 0}},
                                      {{1, 100, -100}, {1, 32767, -32768}},
                                      {{1, -10, 10}, {2, -32768, 32767}},
                                      {{-1, -32768, 32767}, {0, 0, 9}}}) {
            expectPlain({on, off, two}, noise, slow);
            expectPlain({on, off, two}, slow, other);
        }
}

TEST(Toggle, AMatchIsFoundAtEveryDistanceFromTheLast) {
    Samples samples;  // the sign changes after 1, 2, 3, ... samples
    for (std::size_t run = 1; run < 300; ++run)
        samples.insert(samples.end(), run, static_cast<std::int16_t>(run % 2 == 0 ? 32767 : -32768));
    expectPlain({{0, 32767, 32767}, {0, -32768, -32768}}, samples, {});
    expectPlain({{1, -32768, 32766}, {1, -32767, 32767}, true}, samples, samples);
}

TEST(Toggle, SkipsItsFirstSamplesOnTheOnStreamOnly) {
    const Samples on = slowNoise(10000, 4);
    for (const std::uint32_t skip : {1U, 4095U, 4096U, 4097U, 9000U})
        for (const bool two : {false, true})
            expectPlain({{1, -2000, 2000}, {0, -300, 300}, two, skip}, on, slowNoise(10000 - skip, 5));
}

// With two streams the samples up to a match are counted in 16 bits. A count that so becomes negative moves the other
// stream back, to samples that stand before it in memory: here to those that end the on block.
TEST(Toggle, AMatchPast32767SamplesOfABlockIsCountedIn16Bits) {
    Samples on(40000, 0);
    on.back() = 100;
    Setting s{{0, 100, 100}, {0, 100, 100}, false, 0, 40000};
    EXPECT_EQ(toggled(s, on, {}), (Positions{39999, 39999}));
    s.twoStreams = true;
    EXPECT_EQ(toggled(s, on, Samples(40000, 0)), (Positions{0xFFFFFFFF - 25536, 25535, 25535}));
}

// TOGGLE waits inside its block when 4096 assertions are unread; the script then stops it by a limit.
TEST(Toggle, ALimitChangedWhileItWaitsActsAtOnce) {
    TestSession session({.feed = whole, .block = 8192});
    const std::int16_t top = 9;
    session.input("source", Samples(8192, 5));
    const VariableId limit = session.addVariable("limit", ElementType::int16, &top);
    const TriggerId dest = session.addTrigger("dest");
    addCall(session, "TOGGLE (source, inside, 1, limit, inside, 1, limit, dest)");
    session.script("open_read:2 3( task_switch ) ?trigger_num:2 store:3,0 *( trigger_get:2 )", dest, limit);
    const Report report = session.run();
    EXPECT_EQ(report.console, Lines{"4096"});
    EXPECT_EQ(report.triggers.at(0).asserted, 4097U);
    EXPECT_EQ(report.triggers.at(0).status, 8191U);
}

TEST(Toggle, ATriggerThatItCannotDriveIsRefused) {
    const struct {
        std::uint32_t mode, property;
        const char *one, *two;
    } cases[] = {{1, 0, "waiting", "waiting"},
                 {2, 0, "error code 7 at 8", "error code 7 at 9"},
                 {0, 1, "error code 7 at 8", "error code 7 at 9"}};
    for (const auto& [mode, property, one, two] : cases)
        for (const bool second : {false, true}) {
            TestSession session;
            const TriggerId dest = session.addTrigger("dest");
            session.setTriggerMode(dest, mode);
            session.setTriggerProperty(dest, 1, property);
            addCall(session,
                    std::string("TOGGLE (int16, inside, 1, 1, ") + (second ? "int16, " : "") + "inside, 1, 1, dest)");
            EXPECT_EQ(statesOf(session.run())[0], second ? two : one) << mode << property;
        }
}

}  // namespace
}  // namespace libzepl
