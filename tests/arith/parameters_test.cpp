// Which parameters the element-wise commands take, and which mistake of several is told.

#include "tests/support/call.h"

namespace libzepl {
namespace {

TEST(ArithParameters, ListsAreRefusedAtTheFirstMistake) {
    expectReady({"ABS (float, float)", "OFFSET (int32, 1, int32)", "SCALE (int32, 1, 1:int32, 1, int32)",
                 "BOUND (int32, 1, 1:int32, int32)", "RANGE (int32, inside, 1, 1:int32, int32)",
                 "DECIBEL (int32, 1, 1:int32, int32)", "CMAG (float, float, float)",
                 "POLAR (float, float, float, float)"});
    expectRefused({"ABS (int16)", "ABS (int16, trigger)"}, 0, 2);
    expectRefused({"ABS (int32, int16, int32)"}, 0, 3);
    expectRefused({"ABS (1, int16)"}, 0, 1);
    expectRefused({"DELTA (int16, int32)", "OFFSET (int16, 1:int32, int16)", "OFFSET (float, 1.0, float)",
                   "SCALE (int16, 1:int32, 1:int32, 1:int32, int16)", "SQRT (double, float)",
                   "BOUND (int16, 1:int32, 1:int32, int32)", "DECIBEL (int16, 1:int32, 1:int32, int16)",
                   "CMAG (int16, int32, int32)", "CANGLE (int16, int32, int32)", "POLAR (int16, int32, float, double)"},
                  3, 2);
    expectRefused(
        {"OFFSET (int16, 1:int32, int32)", "SCALE (float, 1:float, 1.0, 1, float)",
         "BOUND (float, 1:float, 1.0, double)", "RANGE (int16, inside, 1:int32, 1:int32, int32)",
         "DECIBEL (float, 1:float, 1.0, float)", "CMAG (int16, int16, int32)", "POLAR (int16, int16, float, double)"},
        3, 3);
    expectRefused({"SCALE (int16, 1, 1, 1:int32, int32)", "RANGE (double, inside, 1.0, 1.0, float)"}, 3, 5);
    expectRefused({"SCALE (double, 1.0, 1.0, 1:float, double)", "BOUND (double, 1.0, 1.0, float)",
                   "RANGE (float, inside, 1:float, 1.0, double)", "DECIBEL (int16, 1:int32, 1:int32, int32)",
                   "POLAR (int16, int16, int16, double)"},
                  3, 4);
}

}  // namespace
}  // namespace libzepl
