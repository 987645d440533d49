// What is in a task's slots, and which lists are refused.

#include "host/codes.h"
#include "tests/support/session_support.h"

namespace libzepl {
namespace {

TaskArgument named(TaskArgument argument, std::string name) {
    argument.name = std::move(name);
    return argument;
}

template <class Value>
VariableId variable(TestSession& session, const char* name, Value value) {
    return session.addVariable(name, elementTypeOf<Value>(), &value);
}

TEST(Parameters, IntegersReadRightAtAnyWidth) {
    TestSession session;
    const auto narrow = variable<std::int16_t>(session, "narrow", -2),
               least = variable<std::int16_t>(session, "l", -32768);
    const auto wide = variable<std::int32_t>(session, "wide", -70000);
    session.script("?value:2 ?value64:2 ?value:3 ?value:4 ?value64:4", narrow, least, wide);
    session.script("?value:2 ?value64:2 ?value64:3", int16Constant(-3), int32Constant(-2147483647 - 1));
    session.script("?value:2 ?value:3 ?value64:3", floatConstant(1), doubleConstant(-0.0));
    EXPECT_EQ(session.run().console, Lines({"-2", "-2", "-32768", "-70000", "-70000", "-3", "-3", "-2147483648",
                                            "1065353216", "0", "-9223372036854775808"}));
}

TEST(Parameters, TextsWordsAndVectorsAreGiven) {
    TestSession session;
    const VectorId taps = session.addVector("taps", ElementType::int32, bytesOf(std::vector<std::int32_t>{4, -5, 6}));
    const VectorId empty = session.addVector("empty", ElementType::float64, {});
    session.script("text:2 text:3 ?value:4", textConstant("two words"), declaredWord("hann"), hostWord(-9));
    session.script(
        "?vector_length:2 ?vector_start:2,1 ?vector_start:2,2 ?vector_type:2 ?vector_length:3 ?vector_type:3", taps,
        empty);
    EXPECT_EQ(session.run().console, Lines({"two words", "hann", "-9", "3", "-5", "6", "2048", "0", "524288"}));
}

TEST(Parameters, EachHasExactlyOneKind) {
    TestSession session;
    const double zero = 0;
    for (const ElementType type : allElementTypes)
        session.script("?param_type:2 ?param_type:3 ?param_type:4", session.pipe("pipe", {}, type),
                       session.addVariable("variable", type, &zero), session.addVector("vector", type, {}));
    session.script(
        "?param_type:2 ?param_type:3 ?param_type:4 ?param_type:5 ?param_type:6 ?param_type:7 ?param_type:8 "
        "?param_type:9",
        int16Constant(0), int32Constant(0), floatConstant(0), doubleConstant(0), session.addTrigger("trigger"),
        hostWord(0), textConstant(""), declaredWord(""));
    Lines lines;
    for (const int kind : {0x40,   0x1,     0x400, 0x80, 0x2,     0x800,   0x2000, 0x1000, 0x20000, 0x8000,
                           0x4000, 0x80000, 0x4,   0x8,  0x10000, 0x40000, 0x10,   0x100,  0x200,   0x200000})
        lines.push_back(std::to_string(kind));
    EXPECT_EQ(session.run().console, lines);
}

struct ListCase {
    const char* command;
    std::vector<TaskArgument> arguments;
    const char* outcome;  // what is printed, or the state and the text
};

std::string outcomeOf(const ListCase& list) {
    TestSession session;
    session.pipe("ints");
    session.pipe("reals", {}, ElementType::float32);
    std::vector<TaskArgument> arguments = list.arguments;
    for (TaskArgument& argument : arguments)
        if ((argument.kind & zepl::anyPipe) != 0) argument = session.use(session.pipeNamed(argument.name));
    session.addTask({.command = list.command, .arguments = arguments, .signatureAdvice = "see help"});
    const Report report = session.run();
    if (!report.console.empty()) return report.console[0];
    if (report.tasks[0].text.empty()) return "goes on";
    EXPECT_EQ(report.tasks[0].remedy, "see help");
    EXPECT_EQ(report.status, Report::Status::refused);
    return statesOf(report)[0] + ": " + report.tasks[0].text;
}

TEST(Parameters, ListsThatDoNotFitAreRefusedByPositionAndReason) {
    TestSession names;
    const TaskArgument ints = names.use(names.pipe("ints"));
    const TaskArgument floats = names.use(names.pipe("reals", {}, ElementType::float32));
    const TaskArgument five = named(int16Constant(5), "5"), real = named(floatConstant(0.5F), "0.5");
    const TaskArgument word = declaredWord("hann"), text = textConstant("t");
    const std::vector<TaskArgument> tooLong(8, text);
    const ListCase lists[] = {
        {"PAIR", {ints, five}, "goes on"},
        {"PAIR", {ints, five, word, text}, "goes on"},
        {"PAIR", {ints, five, hostWord(1)}, "goes on"},
        {"PAIR", {ints}, "refused at 2: takes 2 to 4 parameters, and 1 is given"},
        {"PAIR", {}, "refused at 1: takes 2 to 4 parameters, and 0 are given"},
        {"PAIR", {floats, real, word, text, text}, "refused at 5: takes 2 to 4 parameters, and 5 are given"},
        {"SIMILAR", {ints}, "refused at 2: takes 2 parameters, and 1 is given"},
        {"PAIR",
         {floats, real},
         "refused at 1: parameter 1, `reals`, is a pipe of float, and a pipe of int16 or int32 is wanted there"},
        {"PAIR",
         {ints, real},
         "refused at 2: parameter 2, `0.5`, is a number of float, and a variable of int16 or a number of int16 or "
         "int32 is wanted there"},
        {"PAIR", {ints, five, text}, "refused at 3: parameter 3, `\"t\"`, is a text, and a word is wanted there"},
        {"PAIR", {ints, five, word, word}, "refused at 4: parameter 4, `hann`, is a word, and a text is wanted there"},
        {"GROUPED", {text}, "1"},
        {"GROUPED", {text, ints, five, floats, real}, "5"},
        {"GROUPED", {text, ints, five, floats, real, ints, five}, "7"},
        {"GROUPED",
         {text, ints, five, ints, floats},
         "refused at 5: parameter 5, `reals`, is a pipe of float, and a number of int16, int32, float or double is "
         "wanted there"},
        {"GROUPED", tooLong, "refused at 8: takes 1 to 7 parameters, and 8 are given"},
        {"MANY", {five, five, real}, "3"},
        {"MANY", {five}, "1"},
    };
    for (const ListCase& list : lists) EXPECT_EQ(outcomeOf(list), list.outcome) << list.command;
}

TEST(Parameters, AllSetUpErrorsAreReportedAndOutputsDropped) {
    TestSession session;
    const PipeId source = session.input("source", countUp(3)), result = session.pipe("result");
    const PipeId small = session.pipe("small", {}, ElementType::int16);
    SinkLog log;
    session.setOutput(result, std::make_unique<LogSink>(log));
    session.script("param_error_msg:5,2", named(int16Constant(9), "9"));
    session.task("SIMILAR", source, small);
    session.task("ABS", source, result);
    session.script("param_error_msg:77,0");
    const Report report = session.run();
    EXPECT_EQ(statesOf(report), Lines({"error code 5 at 2", "error code 3 at 2", "running", "error code 77 at 0"}));
    EXPECT_EQ(report.tasks[0].text, "parameter 2, `9`: the value is out of range");
    EXPECT_EQ(report.tasks[1].text,
              "parameter 2, `small`: its element type differs from that of the parameter it goes with");
    EXPECT_EQ(report.tasks[3].text, "parameter 0: error 77");
    EXPECT_EQ(report.status, Report::Status::refused);
    EXPECT_EQ(log.finished, 0);
}

TEST(Parameters, ASetUpErrorAfterASwitchStopsTheRunAsWell) {
    TestSession session;
    const PipeId source = session.input("source", countUp(100000));
    SinkLog log;
    session.setOutput(source, std::make_unique<LogSink>(log));
    session.script("open_read:2 pipe_get:2 param_error_msg:7,1", source);
    const Report report = session.run();
    EXPECT_EQ(report.status, Report::Status::refused);
    EXPECT_EQ(statesOf(report)[0], "error code 7 at 1");
    EXPECT_EQ(log.finished, 0);
}

}  // namespace
}  // namespace libzepl
