// QDECODE over the moves of an encoder and its lost steps; QDCOUNT across the wraps of its counter.

#include "tests/support/covered.h"
#include "tests/support/given.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

const Covers coversDecode("QDECODE"), coversCount("QDCOUNT");

using Samples = std::vector<std::int16_t>;
using Positions = std::vector<std::int32_t>;

std::int32_t decodedIntoVariable(const Samples& samples, std::int16_t bitpair) {
    TestSession session;
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
    Samples noise = randomBits<std::int16_t>(3000, 6);
    noise[0] = -1;
    for (const std::int16_t bitpair : Samples{0, 2, 14}) {
        const Positions expected = plainlyDecoded(noise, bitpair);
        EXPECT_EQ(resultOf<std::int32_t>("QDECODE", noise, {constant(bitpair)}), expected);
        EXPECT_EQ(decodedIntoVariable(noise, bitpair), expected.back());
    }
}

TEST(Quadrature, DecimationStartsAnewWithABlock) {
    const Samples noise = randomBits<std::int16_t>(140000, 7);
    const Positions all = plainlyDecoded(noise, 2);
    for (const std::uint32_t decim : {1U, 3U, 256U, 257U, 65535U, 65536U}) {
        Positions expected;
        for (std::size_t i = decim; i <= all.size(); i += decim) expected.push_back(all[i - 1]);
        const auto given = static_cast<std::int16_t>(decim);  // 65536 is written as 0
        EXPECT_EQ(resultOf<std::int32_t>("QDECODE", noise, "2", {constant(given)}), expected) << decim;
    }
}

TEST(Quadrature, AnotherBitPairIsAccepted) {
    // Above 14 is told before odd.
    expectSetUps("QDECODE",
                 "5 at 2: i16 15 i32; 5 at 2: i16 16 i32; 5 at 2: i16 -2 i32; 6 at 2: i16 13 i32; "
                 "6 at 2: i16 1 i32; 10 at 3: i16 0 =0l 1");
}

TEST(Quadrature, TheFirstReadingIsTakenOtherwise) {
    const Positions fromZero{0, 1, -1}, fromHundred{100, 101, 99}, absolute{105, 106, 104};
    for (const auto& [options, expected] : {std::pair("", fromZero),
                                            {"100", fromHundred},
                                            {"100 RELATIVE", fromHundred},
                                            {"100l REL", fromHundred},
                                            {"100 ABSOLUTE", absolute},
                                            {"100l ABS", absolute},
                                            {"ABS", Positions{5, 6, 4}}})
        EXPECT_EQ(resultOf<std::int32_t>("QDCOUNT", Samples{5, 6, 4}, options), expected) << options;
}

TEST(Quadrature, APositionIsLostAtAWrapOrInAnotherWayOfTransfer) {
    const Samples readings = randomBits<std::int16_t>(3000, 8);
    Positions expected;
    std::int32_t position = 2147483000;
    for (std::size_t i = 0; i < readings.size(); ++i) {
        const std::int16_t previous = i == 0 ? readings[0] : readings[i - 1];
        const auto step = static_cast<std::int16_t>(readings[i] - previous);
        position = static_cast<std::int32_t>(std::int64_t{position} + step);
        expected.push_back(position);
    }
    for (const std::uint32_t blocks : {1U, 0U}) {
        const SessionOptions options{.info = {{30, blocks}}};
        EXPECT_EQ(resultOf<std::int32_t>("QDCOUNT", readings, "2147483000l", {}, options), expected);
        EXPECT_EQ(resultOf<std::int16_t>("QDCOUNT", readings, "2147483000l", {}, options),
                  Samples(expected.begin(), expected.end()));
    }
}

TEST(Quadrature, AnotherListOfACounterIsAccepted) {
    expectSetUps(
        "QDCOUNT",
        "ready: i16 i32; ready: i16 5 REL i16; 8 at 3: i16 5; 8 at 3: i16 ABS; 7 at 2: i16 abs i32; 7 at 3: i16 5 "
        "RELATIV i32; 8 at 4: i16 5 ABS; 9 at 3: i16 i32 i32; 9 at 4: i16 5 i32 i32; 10 at 4: i16 ABS REL");
}

}  // namespace
}  // namespace libzepl
