// What must hold of results that hang on how the input arrives.
#pragma once

#include <functional>

#include "tests/determinism/cases.h"

namespace libzepl {

using Int16s = std::vector<std::int16_t>;
using Words32 = std::vector<std::int32_t>;
using Positions = std::vector<std::uint32_t>;

inline std::size_t switches(const std::vector<bool>& states) {
    std::size_t count = 0;
    for (std::size_t n = 1; n < states.size(); ++n) count += states[n] != states[n - 1] ? 1 : 0;
    return count;
}

// A bit switches at most once in three words, and the other bits pass.
inline void onlyTheBitChanges(const Run& run) {
    const Int16s words = run.input<std::int16_t>("words"), mod = run.output<std::int16_t>("mod");
    ASSERT_EQ(mod.size(), words.size());
    int width = 3;
    bool on = false;
    for (std::size_t n = 0; n < words.size(); ++n, ++width) {
        ASSERT_EQ(words[n] & ~32, mod[n] & ~32) << n;
        if (((mod[n] & 32) != 0) == on) continue;
        ASSERT_GE(width, 3) << n;
        on = !on;
        width = 0;
    }
}

// As many outputs as the input suffices for, none beyond what the coefficients make of the greatest sample; the first
// output, which the first pass makes, is right.
inline void staysBounded(const Int16s& outputs, std::size_t count, double bound, double first) {
    EXPECT_EQ(outputs.size(), count);
    for (const std::int16_t x : outputs) EXPECT_LE(std::abs(x), bound);
    EXPECT_EQ(outputs.at(0), static_cast<std::int16_t>(first));
}

inline void staleFilterStaysBounded(const Run& run) {
    const Int16s src = run.input<std::int16_t>("src");
    staysBounded(run.output<std::int16_t>("mixed"), (src.size() - 3) / 3 + 1, 1000,
                 0.375 * src[0] + 0.125 * src[1] + 0.125 * src[2]);
}

inline void staleLowpassStaysBounded(const Run& run) {
    const Int16s src = run.input<std::int16_t>("src"), exact = run.output<std::int16_t>("exact");
    staysBounded(run.output<std::int16_t>("mixed"), (src.size() - 27) / 2 + 1, 2000, exact.at(0));
}

// A pass makes at most 38 frames: that many can be waited for at the end.
inline void decimatedFramesAreThoseOfEach(const Run& run) {
    constexpr std::size_t channels = 32;
    const Int16s each = run.output<std::int16_t>("each"), third = run.output<std::int16_t>("third");
    const std::size_t frames = third.size() / channels, whole = (each.size() / channels + 2) / 3;
    EXPECT_EQ(third.size() % channels, 0U);
    ASSERT_LE(frames, whole);
    EXPECT_GE(frames + 38, whole);
    for (std::size_t n = 0; n < third.size(); ++n)
        ASSERT_EQ(third[n], each[n / channels * 3 * channels + n % channels]) << n;
}

inline void mergedStreamsAreWhole(const Run& run) {
    for (const auto& [source, back] : {std::pair{"one", "back1"}, {"two", "back2"}, {"three", "back3"}})
        EXPECT_TRUE(run.outputs.at(back) == run.inputs.at(source)) << source;
}

inline void mergedBlocksAreWhole(const Run& run) {
    constexpr std::size_t blockSize = 33;
    const std::vector<std::string> names{"one", "two", "three"};
    std::vector<Int16s> streams(names.size());
    const Int16s blocks = run.output<std::int16_t>("blocks");
    ASSERT_EQ(blocks.size() % (blockSize + 1), 0U);
    for (auto at = blocks.begin(); at != blocks.end(); at += blockSize + 1) {
        Int16s& stream = streams.at(static_cast<std::size_t>(*at));
        stream.insert(stream.end(), at + 1, at + 1 + blockSize);
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
        Int16s whole = run.input<std::int16_t>(names[i]);
        whole.resize(whole.size() / blockSize * blockSize);
        EXPECT_TRUE(streams[i] == whole) << names[i];
    }
}

// Each request gives so many whole blocks of the source in a row, behind those of the request before; at the end some of
// them are still waited for.
inline void recentBlocksStandInRows(const Run& run) {
    constexpr std::ptrdiff_t blockSize = 20;
    const Int16s src = run.input<std::int16_t>("src"), blocks = run.output<std::int16_t>("blocks");
    auto from = src.begin();
    auto at = blocks.begin();
    for (const std::int16_t request : run.input<std::int16_t>("requests"))
        for (int n = 0; n < request && at != blocks.end(); ++n, at += blockSize) {
            const auto found = std::search(from, src.end(), at, at + blockSize);
            ASSERT_NE(found, src.end());
            ASSERT_EQ((found - src.begin()) % blockSize, 0);
            ASSERT_TRUE(n == 0 || found == from);
            from = found + blockSize;
        }
    EXPECT_EQ(at, blocks.end());
}

inline void secondIsEmptied(const Run& run) { EXPECT_EQ(run.report.pipes.at(2).unread, 0U); }

// With these gains a drive is set point less measurement, within the limits. Some way of taking at most one set point for
// each measurement explains all drives: `held` tells which set points can be the one in force.
inline void driveFollowsTheSetPoints(const Run& run) {
    const std::vector<double> points = run.input<double>("setpt"), measured = run.input<double>("feedb");
    const std::vector<double> drive = run.output<double>("drive");
    ASSERT_EQ(drive.size(), measured.size());
    std::vector<bool> held(points.size());
    held[0] = true;
    for (std::size_t n = 0; n < drive.size(); ++n) {
        for (std::size_t i = points.size(); i-- > 0;)
            held[i] =
                (held[i] || (i > 0 && held[i - 1])) && drive[n] == std::clamp(points[i] - measured[n], -300.0, 400.0);
        ASSERT_NE(std::find(held.begin(), held.end(), true), held.end()) << n;
    }
}

// Each pass hands both values through, or filters on from the ones before it; it changes between the two no more often
// than the modes do. At the end both wait for the controller, the filter with its next drive sent.
inline void latchPassesOrFilters(const Run& run) {
    const std::vector<double> control = run.input<double>("ctrlmon"), plant = run.input<double>("plntmon");
    const std::vector<double> fbset = run.output<double>("fbset"), drive = run.output<double>("drive");
    ASSERT_TRUE(drive.size() == control.size() || drive.size() == control.size() + 1) << drive.size();
    ASSERT_EQ(fbset.size(), control.size() + 1);
    double driveFilter = 0, controlFilter = 0;
    std::vector<bool> passes{true}, modes{true};
    for (std::size_t n = 0; n < control.size(); ++n) {
        passes.push_back(drive[n] == control[n] && fbset[n] == plant[n]);
        if (passes.back()) {
            driveFilter = control[n];
            controlFilter = plant[n];
            continue;
        }
        driveFilter = driveFilter * double{29.0F / 30} + 500 * double{1.0F / 30};
        ASSERT_EQ(drive[n], driveFilter) << n;
        ASSERT_EQ(fbset[n], 500 + controlFilter - plant[n]) << n;
        controlFilter = control[n] * double{0.05F} + controlFilter * double{0.95F};
    }
    for (const std::int32_t mode : run.input<std::int32_t>("mode")) modes.push_back(mode != 0);
    EXPECT_LE(switches(passes), switches(modes));
}

// Periods are 0 to 3: each level stands at the end of one to three values.
inline void rampsReachTheirLevels(const Run& run) {
    const Int16s levels = run.input<std::int16_t>("levels"), ramps = run.output<std::int16_t>("ramps");
    auto at = ramps.begin();
    for (const std::int16_t level : levels) {
        const auto end = std::find(at, at + std::min<std::ptrdiff_t>(3, ramps.end() - at), level);
        ASSERT_TRUE(end != ramps.end() && *end == level) << level;
        at = end + 1;
    }
    EXPECT_EQ(ramps.back(), levels.back());
}

// Some values of the source, 30 of a straight line from the one behind them to the target, and the target for ever.
inline void scramPassesRampsAndHolds(const Run& run) {
    const Int16s setin = run.input<std::int16_t>("setin"), setdrv = run.output<std::int16_t>("setdrv");
    ASSERT_EQ(setdrv.size(), 1000U);
    const auto [alarm, ramp] = std::mismatch(setin.begin(), setin.end(), setdrv.begin(), setdrv.end());
    if (ramp == setdrv.end()) return;
    for (int n = 0; ramp + n != setdrv.end(); ++n)
        ASSERT_NEAR(ramp[n], n < 30 ? *alarm + (-2000.0 - *alarm) * (n + 1) / 30 : -2000, n < 29 ? 30 : 0) << n;
}

// Headers tell where the samples of their blocks stand in the source, and nothing of the stream is missing.
inline void spannedBlocksAreTheStream(const Run& run) {
    const Int16s src = run.input<std::int16_t>("src"), blocks = run.output<std::int16_t>("blocks");
    const Words32 tags = run.output<std::int32_t>("tags");
    EXPECT_EQ(run.outputs.at("blocks"), run.outputs.at("stream"));
    ASSERT_EQ(tags.size() % 2, 0U);
    std::size_t taken = 0;
    for (std::size_t i = 0; i < tags.size(); i += 2) {
        const std::size_t length = tags[i] & 0xFFFF, position = static_cast<std::size_t>(tags[i + 1]);
        ASSERT_TRUE(length >= 1 && length <= 25 && taken + length <= blocks.size()) << tags[i];
        for (std::size_t n = 0; n < length; ++n) ASSERT_EQ(blocks[taken + n], src.at(position + n)) << position;
        taken += length;
    }
    EXPECT_EQ(taken, blocks.size());
}

// Each position that an assertion is moved to is asserted, once or more, and no other.
inline void scaledEventsAreAll(const Run& run) {
    Positions wanted = run.input<std::uint32_t>("src"), events = run.output<std::uint32_t>("scaled");
    for (std::uint32_t& position : wanted) position = (position + 5) / 30 * 2;
    EXPECT_TRUE(std::is_sorted(events.begin(), events.end()));
    EXPECT_LE(events.size(), wanted.size());
    wanted.erase(std::unique(wanted.begin(), wanted.end()), wanted.end());
    events.erase(std::unique(events.begin(), events.end()), events.end());
    EXPECT_EQ(events, wanted);
}

// The words add up to the events, each status has moved by 10 or more, and less than that is left untold.
inline void sentWordsTellTheEvents(const Run& run) {
    Positions events;
    std::uint32_t position = 0xFFFFFFFF;
    for (const std::uint32_t word : run.output<std::uint32_t>("words")) {
        position += word & 0x7FFFFFFF;
        if (word >> 31 == 0)
            events.push_back(position);
        else
            EXPECT_GE(word & 0x7FFFFFFF, 10U) << position;
    }
    EXPECT_EQ(events, run.output<std::uint32_t>("src"));
    EXPECT_LT(run.report.triggers.at(0).status - position, 10U);
    EXPECT_EQ(run.outputs.at("again"), run.outputs.at("src"));
}

inline void alarmGoesOnOnce(const Run& run) {
    ASSERT_EQ(run.report.digital.size(), 2U);
    for (std::uint32_t n = 0; n < 2; ++n) {
        EXPECT_EQ(run.report.digital[n].bit, 19U);
        EXPECT_EQ(run.report.digital[n].value, n);
    }
}

// The output starts at 0, changes by turns, goes on at most as often as the signal enters the region, and ends as the last
// sample says.
inline void alarmFollowsTheRegion(const Run& run) {
    std::vector<bool> inside{false};
    for (const std::int16_t x : run.input<std::int16_t>("scan")) inside.push_back(x >= 300 && x <= 2000);
    const std::vector<DigitalReport>& changes = run.report.digital;
    ASSERT_GE(changes.size(), 2U);
    for (std::size_t n = 0; n < changes.size(); ++n) {
        EXPECT_EQ(changes[n].bit, 5U);
        EXPECT_EQ(changes[n].value, n % 2);
        EXPECT_GE(changes[n].frame, n > 0 ? changes[n - 1].frame : 0);
        EXPECT_LE(changes[n].frame, 1126U);
    }
    EXPECT_LE(changes.size() / 2, (switches(inside) + 1) / 2);
    EXPECT_EQ(changes.back().value != 0, inside.back());
}

inline void alarmLastsItsTime(const Run& run) {
    const std::vector<DigitalReport>& changes = run.report.digital;
    ASSERT_GE(changes.size(), 3U);
    for (std::size_t n = 2; n < changes.size(); n += 2) EXPECT_EQ(changes[n].frame, changes[n - 1].frame + 45);
    for (std::size_t n = 0; n < changes.size(); ++n) EXPECT_EQ(changes[n].value, n % 2);
}

inline void requestsAreAssertedInOrder(const Run& run) {
    const Positions events = run.output<std::uint32_t>("event");
    EXPECT_GE(events.size(), 1U);
    EXPECT_LE(events.size(), 7U);
    EXPECT_LE(events.back(), 1107U);
    EXPECT_EQ(std::adjacent_find(events.begin(), events.end(), std::greater_equal<>()), events.end());
}

}  // namespace libzepl
