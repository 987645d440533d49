// DEXPAND's words bit by bit, and COMPRESS's records replayed.

#include <cstdlib>
#include <random>

#include "tests/support/arrivals.h"
#include "tests/support/covered.h"
#include "tests/support/given.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

const Covers coversExpand("DEXPAND"), coversCompress("COMPRESS");

using Words = std::vector<std::int16_t>;

Words expanded(const Words& samples, const Words& ports, const std::string& mode, bool board = false,
               FeedPolicy feed = {}) {
    TestSession session({.feed = feed, .info = {{4, board ? 1 : 0}}});
    const PipeId from = session.input("from", samples), to = session.output("to", {}, ElementType::int16);
    TaskSettings task{.command = "DEXPAND", .arguments = {session.use(from)}};
    task.arguments.push_back(session.use(session.addVector("ports", ElementType::int16, bytesOf(ports))));
    task.arguments.push_back(session.use(to));
    for (const TaskArgument& argument : argumentsIn(session, mode)) task.arguments.push_back(argument);
    session.addTask(std::move(task));
    EXPECT_EQ(session.run().status, Report::Status::ok) << mode;
    return session.collected<std::int16_t>(to);
}

Words wordsOf(const std::vector<int>& values) { return Words(values.begin(), values.end()); }

TEST(DExpand, AWordHasOtherBits) {
    const Words four = wordsOf({0xC512, 0x0512, 0x0534, 0x8534});
    for (const char* mode : {"", "0", "ASERIES"}) EXPECT_EQ(expanded({0x1234}, {5}, mode), four) << mode;
    EXPECT_EQ(expanded({0x1234}, {5}, "1", true), four);
    EXPECT_EQ(expanded({-1}, {63}, ""), wordsOf({0xFFFF, 0x3FFF, 0x3FFF, 0xBFFF}));
    // Twice the sample, offset binary in the high byte alone; below 0 it counts as 0.
    EXPECT_EQ(expanded({0x1234, -5, 0x7FFF}, {0}, "1"),
              wordsOf({0xC0A4, 0x00A4, 0x0068, 0x8068, 0xC080, 0x0080, 0, 0x8000, 0xC07F, 0x007F, 0x00FE, 0x80FE}));
    EXPECT_EQ(expanded({0x1234, -1}, {5, 6}, "SI"), wordsOf({0xFFFF, 0x4012, 0xC534, 0x40FF, 0xC6FF}));
    EXPECT_EQ(expanded({}, {5}, "SI"), wordsOf({0xFFFF}));
}

TEST(DExpand, TheTurnOfThePortsStartsAnewWithABlock) {
    const Words samples = randomBits<std::int16_t>(1000, 9), ports{1, 2, 3};
    const Words words =
        sameForEveryArrival(256, [&](FeedPolicy feed) { return expanded(samples, ports, "", false, feed); });
    ASSERT_EQ(words.size(), 4000U);
    for (std::size_t i = 0; i < words.size(); ++i)
        EXPECT_EQ(words[i] >> 8 & 0x3F & ~0x30, ports[i / 4 % 3] & 0x0F) << i;
    EXPECT_EQ(
        sameForEveryArrival(256, [&](FeedPolicy feed) { return expanded(samples, ports, "SI", false, feed); }).size(),
        2001U);
}

TEST(DExpand, AnotherModeOrPortIsAccepted) {
    for (const auto& [ports, mode, error] : {std::tuple(Words{64}, "SERIES", "error code 6 at 4"),
                                             {Words{64}, "2", "error code 6 at 4"},
                                             {Words{64}, "-1", "error code 6 at 4"},
                                             {Words{}, "", "error code 5 at 2"},
                                             {Words{1, 64}, "", "error code 5 at 2"},
                                             {Words{-1}, "SI", "error code 5 at 2"},
                                             {Words{63, 0}, "1", "waiting"}}) {
        TestSession session;
        TaskSettings task{.command = "DEXPAND", .arguments = {session.use(session.input("from", Words{}))}};
        task.arguments.push_back(session.use(session.addVector("ports", ElementType::int16, bytesOf(ports))));
        task.arguments.push_back(session.use(session.pipe("to", {}, ElementType::int16)));
        for (const TaskArgument& argument : argumentsIn(session, mode)) task.arguments.push_back(argument);
        session.addTask(std::move(task));
        EXPECT_EQ(statesOf(session.run()).at(0), error) << mode;
    }
}

Words compressed(const Words& samples, const std::string& thresholds, const Words& vector, FeedPolicy feed = {}) {
    TestSession session({.feed = feed});
    const PipeId from = session.input("from", samples), to = session.output("to", {}, ElementType::int16);
    TaskSettings task{.command = "COMPRESS", .arguments = {session.use(from)}};
    for (const TaskArgument& argument : argumentsIn(session, thresholds)) task.arguments.push_back(argument);
    if (!vector.empty())
        task.arguments.push_back(session.use(session.addVector("chanvec", ElementType::int16, bytesOf(vector))));
    task.arguments.push_back(session.use(to));
    session.addTask(std::move(task));
    EXPECT_EQ(session.run().status, Report::Status::ok) << thresholds;
    return session.collected<std::int16_t>(to);
}

TEST(Compress, ARecordIsMissingOrHoldsOtherValues) {
    EXPECT_EQ(compressed({0, 4, 5, 9, 10}, "1 5", {}), (Words{0, 0, 0, 0, 0, 5, 2, 0, 0, 10, 4, 0}));
    EXPECT_EQ(compressed({7, -32768, 32767}, "1 32767", {}), (Words{0, 7, 0, 0, 0, -32768, 1, 0, 0, 32767, 2, 0}));
    for (const char* always : {"1 0", "1 -5"})
        EXPECT_EQ(compressed({3, 3}, always, {}), (Words{0, 3, 0, 0, 0, 3, 1, 0})) << always;
    EXPECT_EQ(compressed({1, 2, 3}, "4 5", {}), Words{});
    // Frames of three, their own thresholds; the rest of a frame is left.
    const Words frames{1, 2, 3, 2, 3, 4, 3, 4, 5, 9};
    const Words expected{0, 1, 0, 0, 1, 2, 0, 0, 2, 3, 0, 0, 0, 2, 1, 0, 0, 3, 2, 0, 1, 4, 2, 0};
    EXPECT_EQ(compressed(frames, "3 1 2 3", {}), expected);
    EXPECT_EQ(compressed(frames, "3", {1, 2, 3}), expected);
}

// Each channel, rebuilt from the records, is never farther from the original than its threshold allows.
TEST(Compress, RecordsDoNotGiveTheChannelsBack) {
    constexpr int channels = 300;
    std::mt19937 random(10);
    Words samples, thresholds;
    std::vector<int> walk(channels);
    for (int i = 0; i < channels; ++i) thresholds.push_back(static_cast<std::int16_t>(i % 7));
    for (int frame = 0; frame < 200; ++frame)
        for (int& value : walk)
            samples.push_back(static_cast<std::int16_t>(value += static_cast<int>(random() % 5) - 2));
    const Words records = sameForEveryArrival(
        1024, [&](FeedPolicy feed) { return compressed(samples, "300", thresholds, feed); }, 3);
    Words now(channels);
    std::size_t at = 0;
    for (int frame = 0; frame < 200; ++frame) {
        for (; at < records.size() && static_cast<std::uint16_t>(records[at + 2]) == frame; at += 4)
            now[static_cast<std::size_t>(records[at])] = records[at + 1];
        for (std::size_t i = 0; i < channels; ++i)
            ASSERT_LT(std::abs(now[i] - samples[static_cast<std::size_t>(frame) * channels + i]),
                      std::max(1, +thresholds[i]))
                << "channel " << i << " in frame " << frame;
    }
    EXPECT_EQ(at, records.size());
}

TEST(Compress, AnotherListIsAccepted) {
    std::string sixteen = "ready: i16 16";
    for (int i = 0; i < 16; ++i) sixteen += " 1";
    expectSetUps("COMPRESS",
                 sixteen + " i16; refused at 19: i16 17" + sixteen.substr(13) +
                     " 1 i16; ready: i16 1024 1 i16; 5 at 2: i16 1025 1 i16; 5 at 2: i16 0 1 i16; 5 at 2: i16 -1 "
                     "1 i16; 9 at 5: i16 1 1 1 i16; 8 at 6: i16 3 1 1 i16; 10 at 4: i16 2 1 i16 i16; 10 at 4: "
                     "i16 1 1 1; ready: i16 2 1 1 i16");
    for (const std::size_t length : {1U, 3U}) {
        TestSession session;
        const TaskArgument vector =
            session.use(session.addVector("chanvec", ElementType::int16, std::vector<std::byte>(2 * length)));
        const TaskArgument from = session.use(session.pipe("from", {}, ElementType::int16)),
                           to = session.use(session.pipe("to", {}, ElementType::int16));
        session.addTask({.command = "COMPRESS", .arguments = {from, int16Constant(2), vector, to}});
        EXPECT_EQ(statesOf(session.run()).at(0), "error code 1 at 3");
    }
}

}  // namespace
}  // namespace libzepl
