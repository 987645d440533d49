// What the controllers refuse, at which parameter, and what they say of it.

#include "tests/control/control_support.h"

namespace libzepl {
namespace {

struct Case {
    std::string call;
    Lines outcome;                            // how the task ends, and what it prints
    std::vector<float> gains = {1, 1, 1, 1};  // what comes on the pipe `gains`
};

void expectOutcomes(const std::vector<Case>& cases) {
    for (const Case& c : cases) {
        const Call call(c.call, {{"gains", c.gains}});
        Lines lines{call.state};
        lines.insert(lines.end(), call.report.console.begin(), call.report.console.end());
        EXPECT_EQ(lines, c.outcome) << c.call;
    }
}

TEST(ControlParameters, PidReportsTheFirstMistake) {
    const std::string inconsistent = "*** ERROR - PID output range limits are inconsistent";
    const auto gain = [](const std::string& name, const std::string& value) {
        return Lines{"error code 5 at 3", "*** WARNING - PID " + name + " gain " + value + " is out of range"};
    };
    expectOutcomes({{"PID (int16, int16, gains, 1:float, int16, -5)", {"error code 8 at 7"}},
                    {"PID (int16, int16, gains, 1:float, int16, 5, 5)", {"running"}},
                    {"PID (int16, int16, gains, 1:float, int16, 5:int32, 5:int32)", {"error code 3 at 6"}},
                    {"PID (int16, int16, gains, 1:float, int16, -5, 5:int32)", {"error code 3 at 7"}},
                    {"PID (int16, int16, gains, 1:float, int16, 5, -5)", {"error code 4 at 7", inconsistent}},
                    // The limits are looked at only once there are good gains.
                    {"PID (int16, int16, gains, 1:float, int16, 5, -5)", {"waiting"}, {1, 1, 1}},
                    {"PID (int16, int16, gains, 1:float, int16, 5, -5)", gain("K", "0.0000e+00"), {0, 1, 1, 1}},
                    {"PID (int16, int16, gains, 1:float, int16)", gain("Ti", "-2.0000e+00"), {1, -2, 1, 7}},
                    {"PID (int16, int16, gains, 1:float, int16)", gain("Td", "1.2300e+02"), {1, 1, 123, 7}},
                    {"PID (int16, int16, gains, 1:float, int16)", gain("Kz", "7.0000e+00"), {1, 1, 1, 7}},
                    {"PID (int16, int32, gains, 1:float, int32)", {"error code 3 at 2"}},
                    {"PID (int16, int16, gains, 1:float, int32)", {"error code 3 at 5"}}});
}

TEST(ControlParameters, EachFormOfPid1IsToldApart) {
    const std::string latch = "*** Warning: PID1 output latch feature is not supported.";
    const std::string rate = "*** Warning: PID1 rate limiter feature is not supported";
    const std::string reversed = "*** Error: PID1 output range limits reversed";
    expectOutcomes(
        {{"PID1 (int16, variable:int16, 1, 1, 1, int16)", {"waiting"}},
         {"PID1 (int16, variable:int16, 1, 1, 1, int16, -4)", {"waiting", rate}},
         {"PID1 (int16, variable:int16, 1, 1, 1, int16, 0, 0)", {"waiting"}},
         {"PID1 (int16, variable:int16, 1, 1, 1, int16, 4, -4)", {"error code 4 at 8", reversed}},
         {"PID1 (int16, variable:int16, 1, 1, 1, int16, -4, 4, 0)", {"waiting", rate}},
         {"PID1 (int16, variable:int16, 1, 1, 1, int16, -4, 4, 0, 0)", {"error code 9 at 10"}},
         {"PID1 (int16, variable:int16, 1, 1, 1, int16, int16, 4)", {"error code 10 at 7"}},
         {"PID1 (int16, variable:int16, 1, 1, 1, variable:int16)", {"error code 8 at 7", latch}},
         {"PID1 (int16, variable:int16, 1, 1, 1, variable:int16, int16)", {"waiting", latch}},
         {"PID1 (int16, variable:int16, 1, 1, 1, variable:int16, -4)", {"error code 10 at 7", latch}},
         {"PID1 (int16, variable:int16, 1, 1, 1, variable:int16, int16, -4)", {"waiting", latch, rate}},
         {"PID1 (int16, variable:int16, 1, 1, 1, variable:int16, int16, 4, -4)",
          {"error code 4 at 8", latch, reversed}},
         {"PID1 (int16, variable:int16, 1, 1, 1, variable:int16, int16, -4, 4, 0)", {"waiting", latch, rate}},
         {"PID1 (int16, variable:int16, 1, 1, 1, int32)", {"refused at 6"}}});
}

TEST(ControlParameters, ListsAreRefusedAtTheFirstMistake) {
    expectOutcomes({{"PIDLATCH (int32, int16, int16, int16, int16, int16)", {"error code 3 at 2"}},
                    {"PIDLATCH (int16, int32, int16, int16, int16, int16)", {"error code 3 at 2"}},
                    {"PIDLATCH (int16, int16, int32, int16, int16, int16)", {"error code 3 at 3"}},
                    {"PIDLATCH (int16, int16, int16, int32, int16, int16)", {"error code 3 at 4"}},
                    {"PIDLATCH (int16, int16, int16, int16, int32, int16)", {"error code 3 at 5"}},
                    {"PIDLATCH (int16, int16, int16, int16, int16, int32)", {"waiting"}},
                    {"PIDRAMP (int16, int32, 3, \"\")", {"error code 7 at 4"}},
                    {"PIDRAMP (int16, int32, 3, \"linear\")", {"error code 7 at 4"}},
                    {"PIDRAMP (int16, int32, 3, \"LINEA\")", {"error code 7 at 4"}},
                    {"PIDRAMP (int16, int32, 3, \"LINEAR.\")", {"error code 7 at 4"}},
                    {"PIDRAMP (int16, int32, 3, \"EXPONENTIALS\")", {"error code 7 at 4"}},
                    {"PIDRAMP (int16, int32, 3, \"LINEAR\")", {"error code 3 at 2"}},
                    {"PIDSCRAM (int16, int16, 1:double, 3, \"LINEAR\", trigger)",
                     {"waiting"}},  // the target's kind is not looked at
                    {"PIDSCRAM (int16, int16, 1:double, 3, \"linear\", trigger)", {"error code 7 at 5"}},
                    {"PIDSCRAM (int16, int32, 1:double, 3, \"linear\", trigger)", {"error code 3 at 2"}}});
}

}  // namespace
}  // namespace libzepl
