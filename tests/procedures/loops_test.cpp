// Procedures whose pipes lead back, and a ramp that holds its target for ever.

#include "procedures_support.h"

namespace libzepl {
namespace {

using Loops = ProcedureTest;

// PID over a process that gives half of its drive and a quarter: the law written as a plain loop.
struct Controller {
    double errorSum = 0, filtered = 0, previous = 0, measured = 0;

    double drive(double setpoint) {
        const double error = setpoint - measured;
        filtered = 0.35 * (measured - previous) + 0.65 * filtered;
        const double output = 0.5 * ((error + errorSum) * (1.0 / 12) + (1.0 * setpoint - measured) - filtered * 1.5);
        errorSum += error;
        previous = measured;
        measured = (output + 0.25) * 0.5;
        return output;
    }
};

std::string controlLoop(const std::string& limit) {
    return "pipe setpoint : double from \"setpoints.bin\"\n"
           "pipe gains    : float starts [0.5, 12, 1.5, 1]\n"
           "pipe measured : double starts [0]\n"
           "pipe drive    : double to \"drive.bin\"" +
           limit +
           "\n"
           "PID   (setpoint, measured, gains, 1.0, drive)\n"
           "SCALE (drive, 0.25, 0.5, 1.0, measured)\n";
}

TEST_F(Loops, PidFollowsItsLawOverAProcess) {
    const std::vector<double> setpoints = randomSamples(100000, -100.0, 100.0);
    putSamples("setpoints.bin", setpoints);
    const Ran ran = run(controlLoop(" limit 100000"), "--feed whole");
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.notes(), Lines());
    Controller controller;
    std::vector<double> expected(setpoints.size());
    for (std::size_t n = 0; n < expected.size(); ++n) expected[n] = controller.drive(setpoints[n]);
    EXPECT_TRUE(elementsOf<double>("drive.bin") == expected);
}

// Where set points come in pieces, the last one holds while the next is not there: each drive follows from the set point at
// hand or the next one, and all are taken in their order.
TEST_F(Loops, PidTakesEachSetPointWhenItComes) {
    const std::vector<double> setpoints = randomSamples(100000, -100.0, 100.0);
    putSamples("setpoints.bin", setpoints);
    for (const std::string feed : {"", "--feed random:4"}) {
        const Ran ran = run(controlLoop(""), feed);
        EXPECT_EQ(ran.status, 1);
        EXPECT_EQ(ran.notes(), Lines({"PID (line 5) was still running by itself when the inputs had ended",
                                      "SCALE (line 6) was still running by itself when the inputs had ended"}));
        Controller controller;
        std::size_t taken = 0;
        for (const double drive : elementsOf<double>("drive.bin")) {
            Controller next = controller;
            const bool takes = taken < setpoints.size() && next.drive(setpoints[taken]) == drive;
            if (takes) {
                controller = next;
                ++taken;
            } else {
                ASSERT_NE(taken, 0U);
                ASSERT_EQ(controller.drive(setpoints[taken - 1]), drive) << feed << " after set point " << taken;
            }
        }
        EXPECT_EQ(taken, setpoints.size()) << feed;
    }
}

const std::string scram =
    "pipe levels : int16 from \"levels.bin\"\n"
    "trigger alarm from \"alarm.csv\"\n"
    "pipe ecg : int16 from \"data/ecg208.wav\"\n"
    "pipe size : int16 to \"size.bin\"\n"
    "PIDSCRAM (levels, driven, 10, 4, \"LINEAR\", alarm)\n"
    "ABS (ecg, size)\n";

// Levels until the alarm, four steps from the level then at hand, and then the target for ever.
std::vector<std::int16_t> scrammed(const std::vector<std::int16_t>& levels, std::size_t passed, std::size_t count) {
    std::vector<std::int16_t> driven(levels.begin(), levels.begin() + static_cast<std::ptrdiff_t>(passed));
    const int step = levels[passed] - 10;
    for (int k = 1; k <= 4; ++k) driven.push_back(static_cast<std::int16_t>(10 + (1 - k / 4.0) * step));
    driven.resize(count, 10);
    return driven;
}

TEST_F(Loops, AnAlarmStartsTheRampAtTheLevelAtHand) {
    const std::vector<std::int16_t> levels = randomSamples<std::int16_t>(1000, 100, 30000);
    putSamples("levels.bin", levels);
    for (const std::string position : {"0", "500"}) {
        put("alarm.csv", "event,position\nassert," + position + "\n");
        for (const char* feed : someFeeds) {
            const Ran ran = run("pipe driven : int16 to \"driven.bin\" limit 3000\n" + scram, feed);
            const std::size_t passed = 999 - ran.unread("levels");
            EXPECT_EQ(ran.status, 0);
            EXPECT_TRUE(position != "0" || passed == 0) << feed;
            EXPECT_TRUE(elementsOf<std::int16_t>("driven.bin") == scrammed(levels, passed, 3000)) << position << feed;
            EXPECT_TRUE(elementsOf<std::int16_t>("size.bin") == rectified(recording())) << position << feed;
        }
    }
}

// Each sample goes round once, as source 0 and then as source 1. The pipes hold less than a turn of MERGEF gives.
TEST_F(Loops, ARingThatHoldsLessThanATurnGivesStillMoves) {
    for (const char* capacity : {"", "capacity 10", "capacity 1"})
        for (const std::string feed : {"", "--feed whole", "--feed 7"}) {
            const std::string room = std::string(capacity) + "\n";
            const Ran ran = run("pipe ecg : int16 from \"data/ecg208.wav\"\npipe back : int16 " + room +
                                    "pipe link : int16 " + room +
                                    "pipe done : int16 to \"done.bin\"\n"
                                    "MERGEF (ecg, back, link)\n"
                                    "SEPARATEF (link, back, done)\n",
                                feed);
            EXPECT_EQ(ran.notes(), Lines()) << capacity << feed;
            EXPECT_TRUE(elementsOf<std::int16_t>("done.bin") == recording()) << capacity << feed;
        }
}

// A loop that doubles what goes round in it: it fills its pipes and stops there, and the recording is not held up by it.
TEST_F(Loops, ARingThatGainsByItselfStopsWhenItIsFull) {
    const Ran ran =
        run("pipe ring : int16 starts [1] capacity 16\n"
            "pipe copy : int16 capacity 16\n"
            "ABS (ring, copy)\n"
            "REPLICATE (copy, 2, ring)\n"
            "pipe ecg : int16 from \"data/ecg208.wav\"\n"
            "pipe size : int16 to \"size.bin\"\n"
            "ABS (ecg, size)\n");
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.notes(),
              Lines({"ABS (line 3) waits for room in `copy`", "REPLICATE (line 4) waits for room in `ring`"}));
    EXPECT_TRUE(elementsOf<std::int16_t>("size.bin") == rectified(recording()));
}

}  // namespace
}  // namespace libzepl
