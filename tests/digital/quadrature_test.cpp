// QDECODE over the moves of an encoder and its lost steps; QDCOUNT across the wraps of its counter.

#include "tests/support/call.h"
#include "tests/support/covered.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

const Covers coversDecode("QDECODE"), coversCount("QDCOUNT");

using Samples = std::vector<std::int16_t>;
using Positions = std::vector<std::int32_t>;

std::int32_t decodedIntoVariable(const Samples& samples, std::int16_t bitpair) {
    const Call call("QDECODE " + list("in", bitpair, "variable position:int32 = 77"), {{"in", samples}});
    EXPECT_EQ(call.report.status, Report::Status::ok);
    return call.valueOf<std::int32_t>(call.variableNamed("position"));
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

TEST(Quadrature, LegalMovesCountAndLostStepsDoNot) {
    Samples noise = randomBits<std::int16_t>(3000, 6);
    noise[0] = -1;
    for (const std::int16_t bitpair : Samples{0, 2, 14}) {
        const Positions expected = plainlyDecoded(noise, bitpair);
        EXPECT_EQ(resultOf<std::int32_t>("QDECODE " + list("in", bitpair, "out"), noise), expected);
        EXPECT_EQ(decodedIntoVariable(noise, bitpair), expected.back());
    }
}

TEST(Quadrature, DecimationContinuesOverBlocks) {
    const Samples noise = randomBits<std::int16_t>(140000, 7);
    const Positions all = plainlyDecoded(noise, 2);
    for (const std::uint32_t decim : {1U, 3U, 256U, 257U, 65535U, 65536U}) {
        Positions expected;
        for (std::size_t i = decim; i <= all.size(); i += decim) expected.push_back(all[i - 1]);
        const auto given = static_cast<std::int16_t>(decim);  // 65536 is written as 0
        EXPECT_EQ(resultOf<std::int32_t>("QDECODE " + list("in", "2", "out", given), noise), expected) << decim;
    }
}

TEST(Quadrature, BitPairsAreEvenAndAtMost14) {
    // Above 14 is told before odd.
    expectRefused({"QDECODE (int16, 15, int32)", "QDECODE (int16, 16, int32)", "QDECODE (int16, -2, int32)"}, 5, 2);
    expectRefused({"QDECODE (int16, 13, int32)", "QDECODE (int16, 1, int32)"}, 6, 2);
    expectRefused({"QDECODE (int16, 0, variable:int32, 1)"}, 10, 3);
}

TEST(Quadrature, TheFirstReadingIsRelativeUnlessItIsAbsolute) {
    const Positions fromZero{0, 1, -1}, fromHundred{100, 101, 99}, absolute{105, 106, 104};
    for (const auto& [options, expected] : {std::pair("", fromZero),
                                            {"100, ", fromHundred},
                                            {"100, \"RELATIVE\", ", fromHundred},
                                            {"100:int32, \"REL\", ", fromHundred},
                                            {"100, \"ABSOLUTE\", ", absolute},
                                            {"100:int32, \"ABS\", ", absolute},
                                            {"\"ABS\", ", Positions{5, 6, 4}}})
        EXPECT_EQ(resultOf<std::int32_t>(std::string("QDCOUNT (in, ") + options + "out)", Samples{5, 6, 4}), expected)
            << options;
}

TEST(Quadrature, PositionsContinueOverTheWrapInBothWaysOfTransfer) {
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
        EXPECT_EQ(resultOf<std::int32_t>("QDCOUNT (in, 2147483000:int32, out)", readings, options), expected);
        EXPECT_EQ(resultOf<std::int16_t>("QDCOUNT (in, 2147483000:int32, out)", readings, options),
                  Samples(expected.begin(), expected.end()));
    }
}

TEST(Quadrature, CounterListsAreRefusedAtTheFirstMistake) {
    expectReady({"QDCOUNT (int16, int32)", "QDCOUNT (int16, 5, \"REL\", int16)"});
    expectRefused({"QDCOUNT (int16, 5)", "QDCOUNT (int16, \"ABS\")"}, 8, 3);
    expectRefused({"QDCOUNT (int16, \"abs\", int32)"}, 7, 2);
    expectRefused({"QDCOUNT (int16, 5, \"RELATIV\", int32)"}, 7, 3);
    expectRefused({"QDCOUNT (int16, 5, \"ABS\")"}, 8, 4);
    expectRefused({"QDCOUNT (int16, int32, int32)"}, 9, 3);
    expectRefused({"QDCOUNT (int16, 5, int32, int32)"}, 9, 4);
    expectRefused({"QDCOUNT (int16, \"ABS\", \"REL\")"}, 10, 4);
}

}  // namespace
}  // namespace libzepl
