// What the commands on events refuse, and at which parameter.

#include "tests/events/events_support.h"

namespace libzepl {
namespace {

TEST(EventParameters, ListsAreRefusedAtTheFirstMistake) {
    expectRefused({"TAND (trigger)", "TAND (trigger, -5)"}, 0, 2);
    expectReady({"TAND (trigger, trigger, 0)", "TAND (trigger" + more(64, "trigger") + ", 5)"});
    expectRefused({"TAND (trigger, trigger, trigger, -1)"}, 6, 4);
    expectRefused({"TAND (trigger, trigger, 5:int32)"}, 0, 3);
    expectRefused({"TAND (trigger, trigger, 5, trigger)"}, 3, 3);
    expectRefused({"TAND (trigger, trigger, 5, 6, -7)"}, 6, 5);
    expectRefused({"TAND (trigger" + more(65, "trigger") + ", 5)"}, 0, 67);
    expectRefused({"TAND (trigger" + more(65, "trigger") + ")"}, 9, 66);
    expectRefused({"TOR (trigger" + more(65, "trigger") + ")"}, 0, 66);
    expectRefused({"TOR (trigger)", "TOR (trigger, 5)"}, 0, 2);
    expectRefused({"TCOLLATE (trigger, trigger)"}, 0, 3);
    expectRefused({"TCOLLATE (trigger" + more(15, "trigger") + ", int32)"}, 0, 17);
    expectRefused({"TCOLLATE (trigger" + more(17, "trigger") + ")"}, 0, 18);
    expectRefused({"NTH (trigger, 0, trigger)", "NTH (trigger, -1:int32, trigger)"}, 6, 2);
    expectRefused({"NTH (trigger, variable:int16, trigger)"}, 0, 2);
    expectRefused({"TGEN (0, trigger)", "TGEN (-5:int32, trigger)"}, 6, 1);
    expectRefused({"TRIGSCALE (trigger, -5, 0, 0, trigger)"}, 6, 3);
    expectRefused({"TRIGSCALE (trigger, -5, 1, 0, trigger)"}, 6, 4);
    expectRefused({"TRIGSCALE (trigger, 5, 1:int32, 1, trigger)"}, 0, 3);
    expectRefused({"FREQUENCY (trigger, 0, int16)", "FREQUENCY (trigger, -1:int32, int32)"}, 6, 2);
    expectRefused({"FREQUENCY (trigger, 5, float)"}, 0, 3);
    expectRefused({"TSTAMP (trigger, double)"}, 0, 2);
    expectRefused({"TRIGSEND (trigger, 0, int32)", "TRIGSEND (trigger, 16777217:int32, int32)"}, 5, 2);
    expectReady({"TRIGSEND (trigger, 16777216:int32, int32)"});
    expectReady({"TRIGSEND (trigger" + more(32, "int32") + ")"});
    expectRefused({"TRIGSEND (trigger" + more(33, "int32") + ")"}, 9, 34);
    expectRefused({"TRIGSEND (trigger, 5" + more(33, "int32") + ")"}, 0, 35);
    expectRefused({"TRIGSEND (trigger, int16)"}, 0, 2);
    expectRefused({"TRIGRECV (int16, trigger)"}, 0, 1);
    expectRefused({"PCASSERT (variable:int16, trigger, 0)"}, 6, 3);
    expectReady({"PCASSERT (variable:int32, trigger, -1)", "PCASSERT (int16, trigger, double)"});
    expectRefused({"PCASSERT (5, trigger)"}, 0, 1);
    expectRefused({"PCASSERT (int16, trigger, 5:int32)"}, 0, 3);
    expectRefused({"ALARM (int16, 5, 5, 5, 5)", "ALARM (int16, inside, 5:int32, 5:int32, 5)"}, 10, 3);
    expectRefused({"ALARM (int32, inside, 5:int32, 5, 5)", "ALARM (float, inside, 5:float, 5:double, 5)",
                   "ALARM (double, 1, inside, 5:float, 5:float, 16)"},
                  10, 4);
    expectRefused({"ALARM (double, 1, inside, 5:double, 5, 16)"}, 10, 5);
    expectRefused({"ALARM (int16, 1, inside, 5, 5, 16)", "ALARM (int16, 1, inside, 5, 5, -1)"}, 5, 5);
    expectRefused({"ALARM (int16, 1, inside, 5, 5)"}, 8, 6);
    expectReady({"ALARM (int16, inside, 5, 5, 16)"});
    expectRefused({"ALARM (int16, inside, 5, 5)"}, 0, 5);
    expectReady({"TOGGLE (int16, inside, 1, 1, inside, 1, 1, trigger)",
                 "TOGGLE (int16, inside, 1, 1, int16, inside, 1, 1, trigger)"});
    expectRefused({"TOGGLE (int16, inside, 1, 1, int16, inside, 1, 1)", "TOGGLE (int16, inside, 1, 1, int16, 1, 1, 1)"},
                  8, 9);
    expectRefused({"TOGGLE (int16, inside, 1, 1, inside, inside, 1, 1)",
                   "TOGGLE (int16, inside, 1, 1, int16, 1, 1, trigger, trigger)"},
                  10, 6);
    expectRefused({"TOGGLE (int16, inside, 1, 1, inside, 1, 1, 1)",
                   "TOGGLE (int16, inside, 1, 1, int16, inside, 1, trigger, trigger)"},
                  10, 8);
    expectRefused({"TOGGLE (int16, inside, 1, 1, inside, inside, 1, trigger, trigger)"}, 9, 9);
    expectRefused({"TOGGLE (int16, inside, 1, 1, inside, 1, 1)"}, 0, 8);
    expectReady({"TOGGWT (int16, trigger, int16)", "TOGGWT (int16, trigger, int16, 16384, \"FORMAT=STREAM\", int32)",
                 "TOGGWT (int16, trigger, int16, \"FORMAT=STREAM\", int32, int32)"});
    expectRefused({"TOGGWT (int16, trigger, int16, 0)", "TOGGWT (int16, trigger, int16, 16385, int32)"}, 5, 4);
    expectRefused({"TOGGWT (int16, trigger, int16, 1, int32)"}, 8, 5);
    expectRefused({"TOGGWT (int16, trigger, int16, \"none\", \"FORMAT=STREAM\")"}, 10, 5);
    expectRefused({"TOGGWT (int16, trigger, int16, int32)"}, 0, 4);
    expectRefused({"TOGGWT (int16, trigger, int16, 9, \"FORMAT=STREAM\", \"FORMAT=STREAM\")"}, 0, 6);
}

}  // namespace
}  // namespace libzepl
