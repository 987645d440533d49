// What the controllers refuse, at which parameter, and what they say of it.

#include "tests/control/control_support.h"

namespace libzepl {
namespace {

struct ListCase {
    std::string call;
    Lines outcome;                            // how the task ends, and what it prints
    std::vector<float> gains = {1, 1, 1, 1};  // what comes on the pipe at the `$`
};

void expectOutcomes(const std::vector<ListCase>& cases) {
    for (const ListCase& c : cases) {
        TestSession session;
        addCall(session, c.call, {session.use(session.input("gains", c.gains))});
        const Report report = session.run();
        Lines lines{statesOf(report)[0]};
        lines.insert(lines.end(), report.console.begin(), report.console.end());
        EXPECT_EQ(lines, c.outcome) << c.call;
    }
}

TEST(ControlParameters, PidTellsAnotherCodeOrPosition) {
    const std::string inconsistent = "*** ERROR - PID output range limits are inconsistent";
    const auto gain = [](const std::string& name, const std::string& value) {
        return Lines{"error code 5 at 3", "*** WARNING - PID " + name + " gain " + value + " is out of range"};
    };
    expectOutcomes({{"PID s s $ 1f s -5", {"error code 8 at 7"}},
                    {"PID s s $ 1f s 5 5", {"running"}},
                    {"PID s s $ 1f s 5l 5l", {"error code 3 at 6"}},
                    {"PID s s $ 1f s -5 5l", {"error code 3 at 7"}},
                    {"PID s s $ 1f s 5 -5", {"error code 4 at 7", inconsistent}},
                    // The limits are looked at only once there are good gains.
                    {"PID s s $ 1f s 5 -5", {"waiting"}, {1, 1, 1}},
                    {"PID s s $ 1f s 5 -5", gain("K", "0.0000e+00"), {0, 1, 1, 1}},
                    {"PID s s $ 1f s", gain("Ti", "-2.0000e+00"), {1, -2, 1, 7}},
                    {"PID s s $ 1f s", gain("Td", "1.2300e+02"), {1, 1, 123, 7}},
                    {"PID s s $ 1f s", gain("Kz", "7.0000e+00"), {1, 1, 1, 7}},
                    {"PID s l $ 1f l", {"error code 3 at 2"}},
                    {"PID s s $ 1f l", {"error code 3 at 5"}}});
}

TEST(ControlParameters, AFormOfPid1IsTakenForAnother) {
    const std::string latch = "*** Warning: PID1 output latch feature is not supported.";
    const std::string rate = "*** Warning: PID1 rate limiter feature is not supported";
    const std::string reversed = "*** Error: PID1 output range limits reversed";
    expectOutcomes({{"PID1 s v 1 1 1 s", {"waiting"}},
                    {"PID1 s v 1 1 1 s -4", {"waiting", rate}},
                    {"PID1 s v 1 1 1 s 0 0", {"waiting"}},
                    {"PID1 s v 1 1 1 s 4 -4", {"error code 4 at 8", reversed}},
                    {"PID1 s v 1 1 1 s -4 4 0", {"waiting", rate}},
                    {"PID1 s v 1 1 1 s -4 4 0 0", {"error code 9 at 10"}},
                    {"PID1 s v 1 1 1 s s 4", {"error code 10 at 7"}},
                    {"PID1 s v 1 1 1 v", {"error code 8 at 7", latch}},
                    {"PID1 s v 1 1 1 v s", {"waiting", latch}},
                    {"PID1 s v 1 1 1 v -4", {"error code 10 at 7", latch}},
                    {"PID1 s v 1 1 1 v s -4", {"waiting", latch, rate}},
                    {"PID1 s v 1 1 1 v s 4 -4", {"error code 4 at 8", latch, reversed}},
                    {"PID1 s v 1 1 1 v s -4 4 0", {"waiting", latch, rate}},
                    {"PID1 s v 1 1 1 l", {"refused at 6"}}});
}

TEST(ControlParameters, AnotherCodeOrPositionIsTold) {
    expectOutcomes({{"PIDLATCH l s s s s s", {"error code 3 at 2"}},
                    {"PIDLATCH s l s s s s", {"error code 3 at 2"}},
                    {"PIDLATCH s s l s s s", {"error code 3 at 3"}},
                    {"PIDLATCH s s s l s s", {"error code 3 at 4"}},
                    {"PIDLATCH s s s s l s", {"error code 3 at 5"}},
                    {"PIDLATCH s s s s s l", {"waiting"}},
                    {"PIDRAMP s l 3 \"", {"error code 7 at 4"}},
                    {"PIDRAMP s l 3 \"linear", {"error code 7 at 4"}},
                    {"PIDRAMP s l 3 \"LINEA", {"error code 7 at 4"}},
                    {"PIDRAMP s l 3 \"LINEAR.", {"error code 7 at 4"}},
                    {"PIDRAMP s l 3 \"EXPONENTIALS", {"error code 7 at 4"}},
                    {"PIDRAMP s l 3 \"LINEAR", {"error code 3 at 2"}},
                    {"PIDSCRAM s s 1d 3 \"LINEAR t", {"waiting"}},  // the target's kind is not looked at
                    {"PIDSCRAM s s 1d 3 \"linear t", {"error code 7 at 5"}},
                    {"PIDSCRAM s l 1d 3 \"linear t", {"error code 3 at 2"}}});
}

}  // namespace
}  // namespace libzepl
