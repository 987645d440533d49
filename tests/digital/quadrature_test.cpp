// QDECODE over the moves of an encoder and its lost steps; QDCOUNT across the wraps of its counter.

#include <random>

#include "tests/support/arrivals.h"
#include "tests/support/covered.h"
#include "tests/support/given.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

const Covers coversDecode("QDECODE"), coversCount("QDCOUNT");

using Samples = std::vector<std::int16_t>;
using Positions = std::vector<std::int32_t>;

Positions decoded(const Samples& samples, std::int16_t bitpair, std::optional<std::int16_t> decim = {},
                  FeedPolicy feed = {}) {
    TestSession session({.feed = feed});
    const PipeId from = session.input("from", samples), to = session.output("to");
    TaskSettings task{.command = "QDECODE", .arguments = {session.use(from), int16Constant(bitpair), session.use(to)}};
    if (decim) task.arguments.push_back(int16Constant(*decim));
    session.addTask(std::move(task));
    EXPECT_EQ(session.run().status, Report::Status::ok);
    return session.collected<std::int32_t>(to);
}

std::int32_t decodedIntoVariable(const Samples& samples, std::int16_t bitpair, FeedPolicy feed = {}) {
    TestSession session({.feed = feed});
    const std::int32_t before = 77;
    const VariableId position = session.addVariable("position", ElementType::int32, &before);
    session.task("QDECODE", session.input("from", samples), int16Constant(bitpair), position);
    EXPECT_EQ(session.run().status, Report::Status::ok);
    return session.valueOf<std::int32_t>(position);
}

// The place of a pair's value on the Gray circle 0, 1, 3, 2.
int placeOf(int pair) { return pair ^ pair >> 1; }

// Moves by places on the circle: 1 forward, 3 back; 2 is lost, and the place stays.
Positions plainlyDecoded(const Samples& samples, int bitpair) {
    Positions positions;
    std::int32_t position = 0;
    int place = -1;
    for (const std::int16_t sample : samples) {
        const int next = placeOf(static_cast<std::uint16_t>(sample) >> bitpair & 3);
        const int move = place < 0 ? 0 : (next - place + 4) % 4;
        if (move != 2) place = next;
        position += move == 1 ? 1 : move == 3 ? -1 : 0;
        positions.push_back(position);
    }
    return positions;
}

TEST(Quadrature, ALegalMoveOrALostStepCountsOtherwise) {
    EXPECT_EQ(decoded({0, 1, 3, 2, 0}, 0), (Positions{0, 1, 2, 3, 4}));
    EXPECT_EQ(decoded({0, 2, 3, 1, 0}, 0), (Positions{0, -1, -2, -3, -4}));
    EXPECT_EQ(decoded({0, 3, 2}, 0), (Positions{0, 0, -1}));
    const Samples noise = randomBits<std::int16_t>(3000, 6);
    for (const std::int16_t bitpair : Samples{0, 2, 14}) {
        const Positions expected = plainlyDecoded(noise, bitpair);
        EXPECT_EQ(sameForEveryArrival(256, [&](FeedPolicy feed) { return decoded(noise, bitpair, {}, feed); }),
                  expected);
        EXPECT_EQ(sameForEveryArrival(256, [&](FeedPolicy feed) { return decodedIntoVariable(noise, bitpair, feed); }),
                  expected.back());
    }
}

TEST(Quadrature, DecimationStartsAnewWithABlock) {
    const Samples noise = randomBits<std::int16_t>(140000, 7);
    const Positions all = plainlyDecoded(noise, 2);
    for (const std::uint32_t decim : {1U, 3U, 256U, 257U, 65535U, 65536U}) {
        Positions expected;
        for (std::size_t i = decim; i <= all.size(); i += decim) expected.push_back(all[i - 1]);
        EXPECT_EQ(decoded(noise, 2, static_cast<std::int16_t>(decim)), expected) << decim;  // 65536 is written as 0
    }
}

TEST(Quadrature, AnotherBitPairIsAccepted) {
    // Above 14 is told before odd.
    for (const auto& [bitpair, error] : {std::pair(15, "error code 5 at 2"),
                                         {16, "error code 5 at 2"},
                                         {-2, "error code 5 at 2"},
                                         {13, "error code 6 at 2"},
                                         {1, "error code 6 at 2"}}) {
        TestSession session;
        session.task("QDECODE", session.input("from", Samples{1}), int16Constant(static_cast<std::int16_t>(bitpair)),
                     session.pipe("to"));
        EXPECT_EQ(statesOf(session.run()).at(0), error) << bitpair;
    }
    TestSession session;
    const std::int32_t zero = 0;
    session.task("QDECODE", session.input("from", Samples{1}), int16Constant(0),
                 session.addVariable("position", ElementType::int32, &zero), int16Constant(1));
    EXPECT_EQ(statesOf(session.run()).at(0), "error code 10 at 3");
}

template <class Result>
std::vector<Result> counted(const Samples& readings, const std::string& options, FeedPolicy feed = {},
                            bool blocks = true) {
    TestSession session({.feed = feed, .info = {{30, blocks ? 1 : 0}}});
    TaskSettings task{.command = "QDCOUNT", .arguments = {session.use(session.input("from", readings))}};
    for (const TaskArgument& option : argumentsIn(session, options)) task.arguments.push_back(option);
    const PipeId to = session.output("to", {}, elementTypeOf<Result>());
    task.arguments.push_back(session.use(to));
    session.addTask(std::move(task));
    EXPECT_EQ(session.run().status, Report::Status::ok) << options;
    return session.collected<Result>(to);
}

TEST(Quadrature, TheFirstReadingIsTakenOtherwise) {
    const Samples readings{5, 6, 4};
    EXPECT_EQ(counted<std::int32_t>(readings, "100"), (Positions{100, 101, 99}));
    EXPECT_EQ(counted<std::int32_t>(readings, ""), (Positions{0, 1, -1}));
    for (const char* options : {"100 RELATIVE", "100l REL"})
        EXPECT_EQ(counted<std::int32_t>(readings, options), (Positions{100, 101, 99}));
    for (const char* options : {"100 ABSOLUTE", "100l ABS"})
        EXPECT_EQ(counted<std::int32_t>(readings, options), (Positions{105, 106, 104}));
    EXPECT_EQ(counted<std::int16_t>({-1}, "ABS"), Samples{-1});
}

TEST(Quadrature, APositionIsLostAtAWrapOrInAnotherWayOfTransfer) {
    const Samples readings = randomBits<std::int16_t>(3000, 8);
    std::vector<std::int32_t> expected;
    std::int32_t position = 2147483000;
    for (std::size_t i = 0; i < readings.size(); ++i) {
        const std::int16_t previous = i == 0 ? readings[0] : readings[i - 1];
        const auto step = static_cast<std::int16_t>(readings[i] - previous);
        position = static_cast<std::int32_t>(std::int64_t{position} + step);
        expected.push_back(position);
    }
    for (const bool blocks : {true, false}) {
        EXPECT_EQ(
            sameForEveryArrival(
                1024, [&](FeedPolicy feed) { return counted<std::int32_t>(readings, "2147483000l", feed, blocks); }),
            expected);
        EXPECT_EQ(counted<std::int16_t>(readings, "2147483000l", {}, blocks),
                  Samples(expected.begin(), expected.end()));
    }
}

TEST(Quadrature, AnotherListOfACounterIsAccepted) {
    expectSetUps(
        "QDCOUNT",
        "ready: i16 i32; ready: i16 5 REL i16; 8 at 3: i16 5; 8 at 3: i16 ABS; 7 at 2: i16 abs i32; 7 at 3: i16 5 "
        "RELATIV i32; 8 at 4: i16 5 ABS; 9 at 3: i16 i32 i32; 9 at 4: i16 5 i32 i32");
}

}  // namespace
}  // namespace libzepl
