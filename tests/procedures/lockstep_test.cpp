// Inputs that give one frame at a time, all together.

#include "procedures_support.h"

namespace libzepl {
namespace {

using Lockstep = ProcedureTest;

TEST_F(Lockstep, APollingCommandFindsOneSampleOfEachInputForEachFrame) {
    const std::vector<std::int16_t> a{1, 2, 3, 4}, b{10, 20}, c{5, 6, 7};
    putSamples("a.bin", a);
    putSamples("b.bin", b);
    putSamples("c.bin", c);
    const std::string procedure =
        "feed lockstep\n"
        "pipe a : int16 from \"a.bin\"\n"
        "pipe b : int16 from \"b.bin\"\n"
        "pipe c : int16 from \"c.bin\"\n"
        "pipe all : int16 to \"all.bin\"\n"
        "MERGEF (a, b, c, all)\n";
    EXPECT_EQ(run(procedure).status, 0);
    // Each sample after its source's number; an input that has ended is not waited for.
    const std::vector<std::int16_t> expected{0, 1, 1, 10, 2, 5, 0, 2, 1, 20, 2, 6, 0, 3, 2, 7, 0, 4};
    EXPECT_EQ(elementsOf<std::int16_t>("all.bin"), expected);
    EXPECT_EQ(run(procedure, "--feed 4").status, 0);
    EXPECT_NE(elementsOf<std::int16_t>("all.bin"), expected) << "the option replaces the procedure's way";
    EXPECT_EQ(run(procedure.substr(procedure.find('\n') + 1), "--feed lockstep").status, 0);
    EXPECT_EQ(elementsOf<std::int16_t>("all.bin"), expected);
}

// The law of PID1 on two streams, written as a plain loop: with pieces, many set points would be there at a time, and the
// controller would take each when it polls.
TEST_F(Lockstep, AControllerTakesOneSetPointForEachMeasuredSample) {
    const std::vector<double> setpoints = randomSamples(3000, -100.0, 100.0);
    const std::vector<double> measured = randomSamples(3000, -100.0, 100.0);
    putSamples("setpoints.bin", setpoints);
    putSamples("measured.bin", measured);
    EXPECT_EQ(run("pipe setpoint : double from \"setpoints.bin\"\n"
                  "pipe gains    : float starts [0.5, 12, 1.5, 1]\n"
                  "pipe measured : double from \"measured.bin\"\n"
                  "pipe drive    : double to \"drive.bin\"\n"
                  "PID (setpoint, measured, gains, 1.0, drive)\n",
                  "--feed lockstep")
                  .status,
              0);
    double errorSum = 0, filtered = 0, previous = measured[0];
    std::vector<double> expected;
    for (std::size_t n = 0; n < measured.size(); ++n) {
        const double error = setpoints[n] - measured[n];
        filtered = 0.35 * (measured[n] - previous) + 0.65 * filtered;
        expected.push_back(0.5 *
                           ((error + errorSum) * (1.0 / 12) + (1.0 * setpoints[n] - measured[n]) - filtered * 1.5));
        errorSum += error;
        previous = measured[n];
    }
    EXPECT_TRUE(elementsOf<double>("drive.bin") == expected);
}

TEST_F(Lockstep, FramesOfSeveralChannelsComeWhole) {
    const std::vector<std::int16_t> pairs{1, 2, 3, 4, 5, 6}, single{10, 20, 30};
    putSamples("pairs.bin", pairs);
    putSamples("single.bin", single);
    EXPECT_EQ(run("feed lockstep\n"
                  "pipe pairs  : int16 from \"pairs.bin\" interleaved 2\n"
                  "pipe single : int16 from \"single.bin\"\n"
                  "pipe all    : int16 to \"all.bin\"\n"
                  "MERGEF (pairs, single, all)\n")
                  .status,
              0);
    EXPECT_EQ(elementsOf<std::int16_t>("all.bin"),
              (std::vector<std::int16_t>{0, 1, 0, 2, 1, 10, 0, 3, 0, 4, 1, 20, 0, 5, 0, 6, 1, 30}));
}

TEST_F(Lockstep, AnInputThatIsHeldUpForGoodDoesNotHoldUpTheOthers) {
    putSamples("long.bin", std::vector<std::int16_t>(20000, -3));
    putSamples("short.bin", std::vector<std::int16_t>(100, 4));
    const Ran ran =
        run("feed lockstep\n"
            "pipe free : int16 from \"long.bin\"\n"
            "pipe held : int16 from \"long.bin\"\n"
            "pipe short : int16 from \"short.bin\"\n"
            "pipe all : int16 to \"all.bin\"\n"
            "pipe pairs : int16 to \"pairs.bin\"\n"
            "ABS (free, all)\n"
            "CMAG (held, short, pairs)\n");
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(elementsOf<std::int16_t>("all.bin"), std::vector<std::int16_t>(20000, 3));
    EXPECT_EQ(elementsOf<std::int16_t>("pairs.bin"), std::vector<std::int16_t>(100, 5));
}

}  // namespace
}  // namespace libzepl
