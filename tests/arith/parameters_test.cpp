// Which parameters the element-wise commands take, and which mistake of several is told.

#include <map>
#include <sstream>

#include "tests/support/session_support.h"

namespace libzepl {
namespace {

// The list has pipes ("i16", "i32", "f32", "f64"), constants of these types ("1:i32" and so on), and a keyword.
struct ListCase {
    const char* command;
    const char* list;
    const char* outcome;
};

constexpr ListCase cases[] = {
    {"DELTA", "f64 f64", "waiting"},
    {"DELTA", "i16 i32", "error code 3 at 2"},
    {"DELTA", "f64", "refused at 2"},
    {"DELTA", "1:i16 i16", "refused at 1"},
    {"OFFSET", "i16 1:i16 i16", "waiting"},
    {"OFFSET", "i32 1:i16 i32", "waiting"},
    {"OFFSET", "i32 1:i32 i32", "waiting"},
    {"OFFSET", "f32 1:f32 f32", "waiting"},
    {"OFFSET", "i16 1:i32 i16", "error code 3 at 2"},
    {"OFFSET", "f32 1:f64 f32", "error code 3 at 2"},
    {"OFFSET", "f64 1:i16 f64", "error code 3 at 2"},
    {"OFFSET", "i16 1:i32 i32", "error code 3 at 3"},
    {"OFFSET", "i16 i16 i16", "refused at 2"},
    {"SCALE", "i32 1:i16 1:i32 1:i16 i32", "waiting"},
    {"SCALE", "i16 1:i16 1:i16 1:i32 i32", "error code 3 at 5"},
    {"SCALE", "i16 1:i32 1:i32 1:i32 i16", "error code 3 at 2"},
    {"SCALE", "f32 1:f32 1:f64 1:i16 f32", "error code 3 at 3"},
    {"SCALE", "f64 1:f64 1:f64 1:f32 f64", "error code 3 at 4"},
    {"SCALE", "f64 1:f64 1:f64 f64", "refused at 5"},
    {"SQRT", "f64 f64", "waiting"},
    {"SQRT", "f64 f32", "error code 3 at 2"},
    {"BOUND", "i32 1:i16 1:i32 i32", "waiting"},
    {"BOUND", "f64 1:f64 1:f64 f32", "error code 3 at 4"},
    {"BOUND", "i16 1:i32 1:i32 i32", "error code 3 at 2"},
    {"BOUND", "f32 1:f32 1:f64 f64", "error code 3 at 3"},
    {"RANGE", "i32 inside 1:i16 1:i32 i32", "waiting"},
    {"RANGE", "f64 inside 1:f64 1:f64 f32", "error code 3 at 5"},
    {"RANGE", "i16 inside 1:i32 1:i32 i32", "error code 3 at 3"},
    {"RANGE", "f32 inside 1:f32 1:f64 f64", "error code 3 at 4"},
    {"RANGE", "f32 1:f32 1:f32 1:f32 f32", "refused at 2"},
    {"DECIBEL", "i32 1:i16 1:i32 i32", "waiting"},
    {"DECIBEL", "i16 1:i32 1:i32 i32", "error code 3 at 4"},
    {"DECIBEL", "i16 1:i32 1:i32 i16", "error code 3 at 2"},
    {"DECIBEL", "f32 1:f32 1:f64 f32", "error code 3 at 3"},
    {"CMAG", "f32 f32 f32", "waiting"},
    {"CANGLE", "f32 f32 f32", "waiting"},
    {"CMAG", "i16 f32 i16", "error code 3 at 2"},
    {"CANGLE", "i16 f32 i16", "error code 3 at 2"},
    {"CMAG", "i16 i16 i32", "error code 3 at 3"},
    {"CANGLE", "i16 i16 i32", "error code 3 at 3"},
    {"CMAG", "i16 i32 i32", "error code 3 at 2"},
    {"CANGLE", "i16 i32 i32", "error code 3 at 2"},
    {"POLAR", "f32 f32 f32 f32", "waiting"},
    {"POLAR", "i16 i32 f32 f64", "error code 3 at 2"},
    {"POLAR", "i16 i16 f32 f64", "error code 3 at 3"},
    {"POLAR", "i16 i16 i16 f64", "error code 3 at 4"},
    {"POLAR", "i16 i16 i16", "refused at 4"},
};

TaskArgument argumentNamed(TestSession& session, const std::string& name) {
    const std::map<std::string, ElementType> types{{"i16", ElementType::int16},
                                                   {"i32", ElementType::int32},
                                                   {"f32", ElementType::float32},
                                                   {"f64", ElementType::float64}};
    const std::map<std::string, TaskArgument> others{{"1:i16", int16Constant(1)},
                                                     {"1:i32", int32Constant(1)},
                                                     {"1:f32", floatConstant(1)},
                                                     {"1:f64", doubleConstant(1)},
                                                     {"inside", hostWord(0)}};
    static int pipes = 0;
    if (const auto type = types.find(name); type != types.end())
        return session.use(session.pipe("p" + std::to_string(++pipes), {}, type->second));
    return others.at(name);
}

TEST(ArithParameters, AListIsTakenOrRefusedOtherwise) {
    for (const auto& [command, list, outcome] : cases) {
        TestSession session;
        TaskSettings task{.command = command};
        std::istringstream names(list);
        for (std::string name; names >> name;) task.arguments.push_back(argumentNamed(session, name));
        session.addTask(std::move(task));
        EXPECT_EQ(statesOf(session.run())[0], outcome) << command << " (" << list << ")";
    }
}

}  // namespace
}  // namespace libzepl
