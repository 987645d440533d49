// Which parameters the element-wise commands take, and which mistake of several is told.

#include "tests/support/given.h"

namespace libzepl {
namespace {

TEST(ArithParameters, AListIsTakenOrRefusedOtherwise) {
    const std::pair<const char*, const char*> cases[] = {
        {"ABS",
         "ready: f32 f32; refused at 2: i16; refused at 3: i32 i16 i32; refused at 1: 1 i16; refused at 2: i16 event"},
        {"DELTA", "3 at 2: i16 i32"},
        {"OFFSET", "ready: i32 1 i32; 3 at 2: i16 1l i16; 3 at 2: f32 1.0 f32; 3 at 3: i16 1l i32"},
        {"SCALE",
         "ready: i32 1 1l 1 i32; 3 at 5: i16 1 1 1l i32; 3 at 2: i16 1l 1l 1l i16; 3 at 3: f32 1f 1.0 1 f32; "
         "3 at 4: f64 1.0 1.0 1f f64"},
        {"SQRT", "3 at 2: f64 f32"},
        {"BOUND", "ready: i32 1 1l i32; 3 at 4: f64 1.0 1.0 f32; 3 at 2: i16 1l 1l i32; 3 at 3: f32 1f 1.0 f64"},
        {"RANGE",
         "ready: i32 inside 1 1l i32; 3 at 5: f64 inside 1.0 1.0 f32; 3 at 3: i16 inside 1l 1l i32; "
         "3 at 4: f32 inside 1f 1.0 f64"},
        {"DECIBEL", "ready: i32 1 1l i32; 3 at 4: i16 1l 1l i32; 3 at 2: i16 1l 1l i16; 3 at 3: f32 1f 1.0 f32"},
        {"CMAG", "ready: f32 f32 f32; 3 at 3: i16 i16 i32; 3 at 2: i16 i32 i32"},
        {"CANGLE", "3 at 2: i16 i32 i32"},
        {"POLAR", "ready: f32 f32 f32 f32; 3 at 2: i16 i32 f32 f64; 3 at 3: i16 i16 f32 f64; 3 at 4: i16 i16 i16 f64"},
    };
    for (const auto& [command, lists] : cases) expectSetUps(command, lists);
}

}  // namespace
}  // namespace libzepl
