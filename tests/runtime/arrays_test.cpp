// Arrays: declarations that stand for several, and the names of their elements.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "files_support.h"
#include "procedure_support.h"
#include "runtime/binder.h"
#include "runtime/engine/split_source.h"
#include "runtime/expressions/evaluate.h"
#include "runtime/expressions/parser.h"
#include "runtime/procedure/array_trees.h"

namespace libzepl {
namespace {

TEST(Indices, AreRefusedWhereANumberIsComputedBeforehand) {
    const std::string names = " | an expression has numbers, constants, functions, `pi`, `inf`, `nan` and `rate`";
    const std::vector<std::pair<std::string, std::string>> cases{
        {"pipe x : int16\nA (1 + x[-n])\nconstant n = 2",
         "2:8 samples of `x` come while the procedure runs, and this is computed before | a pipe that an expression "
         "defines can use them: pipe NAME : TYPE = EXPRESSION"},
        {"variable x : int16 = 1\nA (1 + x[1])",
         "2:8 elements of `x` are variables, which can change while the procedure runs | numbers that stay are declared "
         "as constant NAME = EXPRESSION"},
        {"trigger x\nA (1 - x[1])", "2:8 elements of `x` are triggers, and a number is wanted" + names},
        {"constant n = 1\nA (1 - n[1])", "2:8 `n` is one number, which has no elements | write `n` alone"},
        {"A (1 - zebra[1])", "1:8 unknown name `zebra`" + names},
        {"A (1 - zebra[1)", "1:15 expected an operator or `]`, not `)`"},
        {"A (1 - x[1][-2][3])",
         "1:16 expected an operator, not `[` | the element of an array, and then a past sample of it, are indices enough"},
        {"constant a = a[a]",
         "1:10 `a` needs `a`: they have no value | a constant is computed from others, never from itself"},
        {"vector x : int16 = [i[1] for i = 1 to 2]", "1:21 unknown name `i`" + names},
        {"constant a = 1..2", "1:15 expected the end of the line, not `..` | write one statement a line"},
        {"pipe x : int16\nA (length(x[1]))", "2:11 `x` is one pipe, which has no elements | write length(x)"},
    };
    for (const auto& [text, mistakes] : cases) EXPECT_EQ(evaluate(text).mistakes, mistakes + "\n") << text;
}

Evaluated expand(const std::string& text, std::map<std::string, std::string> values = {}) {
    auto [procedure, mistakes] = evaluate(text, std::move(values));
    std::vector<Diagnostic> diagnostics;
    Procedure elements = expanded(std::move(procedure), diagnostics);
    return {std::move(elements), mistakes + textOf(diagnostics)};
}

// "A(x,5,r[1]) B(...)"
std::string callsIn(const Procedure& procedure) {
    std::string calls;
    for (const CommandUse& use : procedure.commands) {
        calls += (calls.empty() ? "" : " ") + use.command;
        if (use.array.isElement()) calls += "#" + std::to_string(use.array.index);
        for (const Argument& each : use.arguments) calls += (&each == &use.arguments[0] ? "(" : ",") + each.written;
        calls += ")";
    }
    return calls;
}

TEST(Arrays, ACommandWorksForEachIndexOfWholeArrays) {
    const std::string declared =
        "pipe a[n] : int16\npipe r[3] : int16\npipe m : int16\npipe one[1] : int16\ntrigger t[3]\n"
        "vector w[3] : float = [0.5]\nvariable g[3] : int16 = 1\nconstant n = 1 + 2\n";
    const std::pair<const char*, const char*> cases[] = {
        {"A (a, 5, r)", "A#1(a[1],5,r[1]) A#2(a[2],5,r[2]) A#3(a[3],5,r[3])"},
        {"A (m, t, w, g)", "A#1(m,t[1],w[1],g[1]) A#2(m,t[2],w[2],g[2]) A#3(m,t[3],w[3],g[3])"},
        {"A (a..., 5, m)", "A(a[1],a[2],a[3],5,m)"},
        {"A (one..., r...)", "A(one[1],r[1],r[2],r[3])"},
        {"A (one, m)", "A#1(one[1],m)"},
        {"A (a[n], r[n - 2], inside)", "A(a[3],r[1],inside)"},
        {"A (a[2], one)", "A#1(a[2],one[1])"},
        {"A (w..., t)", "A#1(w[1],w[2],w[3],t[1]) A#2(w[1],w[2],w[3],t[2]) A#3(w[1],w[2],w[3],t[3])"},
    };
    for (const auto& [command, calls] : cases) {
        const auto [procedure, mistakes] = expand(declared + command);
        EXPECT_EQ(mistakes + callsIn(procedure), calls) << command;
    }
}

TEST(Arrays, ElementsOfVariablesHaveTheirValues) {
    const std::string text = "constant k = 2\nvariable g[3] : int16 = [1, k, 3]\nvariable h[2] : int16 = k + 5\n";
    const std::pair<std::map<std::string, std::string>, std::vector<std::int64_t>> cases[] = {
        {{}, {1, 2, 3, 7, 7}},
        {{{"g[2]", "k + 5"}, {"h[1]", "1"}}, {1, 7, 3, 1, 7}},
        {{{"g", "9"}, {"g[3]", "4"}, {"k", "6"}}, {9, 9, 4, 11, 11}},
    };
    for (const auto& [options, values] : cases) {
        std::vector<std::int64_t> given;
        const auto [procedure, mistakes] = expand(text, options);
        EXPECT_EQ(mistakes, "");
        for (const VariableDeclaration& each : procedure.variables) given.push_back(each.value.integer);
        EXPECT_EQ(given, values);
    }
    EXPECT_EQ(
        expand(text, {{"g[1]", "40000"}}).mistakes,
        "0:1 --set g[1]: `40000` is out of range: int16 holds -32768 to 32767 | give a number that int16 holds\n");
}

TEST(Arrays, AMistakeIsReportedOnceAtItsPlace) {
    const std::string whole = "a command takes whole arrays of one length; `r[1]` is one element";
    const std::string events =
        "a file has the events of one trigger, and `t` has 2 elements | give each element its own on "
        "the command line, ";
    const std::pair<std::string, std::string> cases[] = {
        {"A (a, r)", "3:7 `a` has 4 elements, and `r` 3 | " + whole},
        {"A (a[5], r[0])",
         "3:4 there is no `a[5]` | the elements are `a[1]` to `a[4]`\n3:10 there is no `r[0]` | the elements are `r[1]` to "
         "`r[3]`"},
        {"A (a[n - 6])\nconstant n = 1", "3:4 there is no `a[-5]` | the elements are `a[1]` to `a[4]`"},
        {"A (a[n / 2])\nconstant n = 3",
         "3:4 an index is an integer, not `n / 2 = 1.5` | round(), floor(), ceil() and trunc() make integers"},
        {"A (a[0.5])", "3:6 an index is an integer, not `0.5`"},
        {"A (s[1])\npipe s : int16",
         "3:4 `s` is one pipe, which has no elements | declare an array of them: pipe s[COUNT]"},
        {"A (n...)\nconstant n = 3", "3:4 `n` is one number, which has no elements | write `n` alone"},
        {"A (acel[1])\npipe accel[2] : int16", "3:4 unknown name `acel` | did you mean `accel`?"},
        {"A (zebra...)", "3:4 unknown name `zebra` | declare it as an array: pipe zebra[COUNT] : TYPE"},
        {"A (a[1][-1])",
         "3:4 a command takes pipes, and no past samples of them | a pipe that an expression defines gives them: pipe NAME "
         ": TYPE = EXPRESSION"},
        {"A (a[1]:int32)",
         "3:4 samples of `a` come while the procedure runs, and this is computed before | a pipe that an expression defines "
         "can use them: pipe NAME : TYPE = EXPRESSION"},
        {"pipe b[0] : int16", "3:8 an array has 1 to 10000 elements, not `0`"},
        {"pipe b[10001] : int16", "3:8 an array has 1 to 10000 elements, not `10001`"},
        {"pipe b[n / 2] : int16\nA (b, a)\nB (b..., b[7])\nconstant n = 3",
         "3:8 an array has 1 to 10000 elements, not `n / 2 = 1.5` | round(), floor(), ceil() and trunc() make integers"},
        {"pipe b[1 / 0] : int16\nA (length(b))", "3:10 division by zero"},
        {"pipe b[n] : int16 from \"x\"\nconstant n = length(b) + 1",
         "4:10 `n` needs the count of `b` needs `n`: they have no value | a constant is computed from others, never from "
         "itself"},
        {"A (length(a[5]))", "3:11 there is no `a[5]` | the elements are `a[1]` to `a[4]`"},
        {"pipe b[2 : int16", "3:10 expected an operator or `]`, not `:`"},
        {"variable g[3] : int16 = [1, 2]",
         "3:25 `g` has 3 elements, and 2 values are given | give a value for each, or one for all without brackets"},
        {"trigger t[2] from \"x\" to \"y\"", "3:19 " + events +
                                                 "--in t[1]=FILE, or declare triggers without an array\n3:26 " +
                                                 events + "--out t[1]=FILE, or declare triggers without an array"},
        {"pipe b[2] : int16 from \"x\" channel 3..5",
         "3:36 3..5 is 3 channels, and `b` has 2 elements | each element takes one"},
        {"pipe b[2] : int16 from \"x\" column 3..2",
         "3:35 columns count upwards | put the smaller one first: FIRST..LAST"},
        {"vector b[2] : int16 from \"x\" channel 3",
         "3:38 that is one channel, and `b` has 2 elements | give a range of them: channel FIRST..LAST"},
        {"pipe b[2] : int16 from \"x\" column \"y\"",
         "3:35 one column has that heading, and `b` has 2 elements | number a range of them: column FIRST..LAST"},
        {"pipe b : int16 from \"x\" channel 1..2",
         "3:33 `b` is one pipe, and takes one channel | an array takes several: pipe b[COUNT]"},
        {"pipe b[2] : int16 from \"x\" interleaved 2",
         "3:6 the elements of `b` take a channel each, and `interleaved` keeps channels together | leave out "
         "`interleaved`"},
    };
    for (const auto& [text, mistakes] : cases)
        EXPECT_EQ(expand("pipe a[4] : int16 from \"a.wav\"\npipe r[3] : int16\n" + text).mistakes, mistakes + "\n")
            << text;
}

TEST(Arrays, AFileForAllStaysWithTheArray) {
    const auto [procedure, mistakes] = expand("pipe r[k] : float to \"r.csv\" limit 5 * k\nconstant k = 2\n");
    ASSERT_EQ(procedure.jointOutputs.size(), 1U) << mistakes;
    const JointOutput& joint = procedure.jointOutputs[0];
    EXPECT_EQ(joint.name + " " + joint.to.path + " " + std::to_string(joint.to.limit.value_or(0)), "r r.csv 10");
    EXPECT_EQ(joint.elements, (std::vector<std::string>{"r[1]", "r[2]"}));
    for (const PipeDeclaration& element : procedure.pipes) EXPECT_FALSE(element.to) << element.name;
}

// Each of a procedure's few lines could stand for very much.
TEST(Arrays, TogetherAreBounded) {
    std::string many = "pipe a[10000] : int16\n";
    for (int i = 0; i < 100; ++i) many += "A (a..., a)\n";
    const auto [procedure, mistakes] = expand(many);
    EXPECT_EQ(mistakes,
              "2:1 the arrays make over 200000 elements, tasks and arguments of them | declare smaller arrays\n");
    EXPECT_LT(procedure.commands.size(), 200000U);
    EXPECT_NE(expand("pipe a[1000] : int16\nA (a, \"" + std::string(1000000, 'x') + "\")").mistakes, "");
}

TEST(Arrays, InADefinitionStandForTheElementOfTheSameIndex) {
    const auto counts = [](const std::string& name) -> std::int64_t {
        return name == "a" || name == "g" ? 4 : name == "b" ? 3 : 0;
    };
    const std::string lengths =
        "`d` has 4 elements, and `b` 3 | whole arrays in an expression are of one length; `b[1]` is "
        "one element";
    // Names with the past samples of them, in order, or the mistake.
    const std::pair<const char*, std::string> cases[] = {
        {"a - mean", "a[3] mean"},
        {"g * abs(a[-1]) + a[2]", "g[3] a[3]@-1 a[2]"},
        {"a[4][-2] + x[-5] + d[-1]", "a[4]@-2 x@-5 d[3]@-1"},
        {"if(a > 1, b[3], 2)", "a[3] b[3]"},
        {"a + b", lengths},
        {"a[5] + 1", "there is no `a[5]` | the elements are `a[1]` to `a[4]`"},
        {"a[0][-1]", "there is no `a[0]` | the elements are `a[1]` to `a[4]`"},
        {"x[2]",
         "`x` has no elements, since it is no array | a past sample of a pipe is written with a minus, NAME[-1]"},
    };
    const auto namesIn = [](const Expression& tree, const ArrayPlace& defined, const ArrayCounts& known) {
        std::string names;
        const std::function<void(const Expression&)> add = [&](const Expression& each) {
            if (!each.name.empty()) names += (names.empty() ? "" : " ") + each.name;
            if (each.form == Expression::Form::index) names += "@" + std::to_string(each.operands[0].number.integer);
            for (const Expression& operand : each.operands) add(operand);
        };
        try {
            add(treeOfElement(tree, "d", defined, known));
        } catch (const ExpressionRefused& refused) {
            return refused.mistake.message + " | " + refused.mistake.remedy;
        }
        return names;
    };
    std::vector<Diagnostic> diagnostics;
    Mistakes mistakes(diagnostics);
    for (const auto& [text, names] : cases) {
        StatementCursor cursor(text, mistakes, functionNames());
        const Expression tree = takeExpression(cursor, "a number");
        const auto withOwn = [&](const std::string& name) { return name == "d" ? 4 : counts(name); };
        EXPECT_EQ(namesIn(tree, {4, 3, "d"}, withOwn), names) << text;
    }
    StatementCursor cursor("a + 1", mistakes, functionNames());
    EXPECT_EQ(
        namesIn(takeExpression(cursor, ""), {}, counts),
        "`a` has 4 elements, and `d` is one pipe | `a[1]` is one element; an array is defined for each index, pipe d[4]");
}

class ArrayFiles : public FilesTest {
 protected:
    ArrayFiles() {
        for (const std::string name : {"a.wav", "a.npy", "a.csv", "a.bin"}) {
            WriteRequest request = writing<std::int16_t>(name);
            request.channels = 3;
            const auto sink = createSink(request);
            sink->write(std::vector<std::int16_t>{1, 2, 3, 4, 5, 6}.data(), 6);
            sink->finish();
        }
        put("one.csv", "7\n8\n9\n");
    }

    // What the procedure writes to the first elements, or its mistakes and warnings.
    std::string run(const std::string& declaration, std::map<std::string, std::string> inputs = {}) {
        std::vector<Diagnostic> diagnostics;
        const Procedure procedure = parseProcedure(
            {at("p.zp").string(),
             declaration + "\npipe x : int16 to \"x.csv\" limit 2\npipe y : int16 to \"y.csv\"\n" + commands_},
            diagnostics);
        BindOptions options;
        for (auto& [name, file] : inputs) options.inputs[name] = at(file).string();
        const BoundProcedure bound = bindProcedure(procedure, testLibrary(), options, diagnostics);
        if (bound.session != nullptr) {
            EXPECT_EQ(bound.session->run().status, Report::Status::ok);
        }
        std::string result = bound.session == nullptr ? "" : bytesOf("x.csv") + bytesOf("y.csv");
        std::replace(result.begin(), result.end(), '\n', ' ');
        const std::string folder = folder_.string() + "/";
        std::string told = textOf(diagnostics);
        for (std::size_t i = told.find(folder); i != std::string::npos; i = told.find(folder))
            told.erase(i, folder.size());
        return result + told;
    }

    std::string commands_ = "ABS (a[1], x)\nABS (a[2], y)\n";
};

TEST_F(ArrayFiles, AnElementTakesItsChannel) {
    for (const std::string name : {"a.wav", "a.npy", "a.csv", "a.bin"})
        EXPECT_EQ(run("pipe a[3] : int16 from \"" + name + "\""), "x 1 4 y 2 5 ") << name;
    EXPECT_EQ(run("pipe a[2] : int16 from \"a.wav\" channel 2..3"), "x 2 5 y 3 6 ");
    EXPECT_EQ(run("constant k = 2\npipe a[k] : int16 from \"a.csv\" column k..k + 1"), "x 2 5 y 3 6 ");
    EXPECT_EQ(run("pipe a[3] : int16 from \"none.wav\"", {{"a", "a.npy"}, {"a[2]", "one.csv"}}), "x 1 4 y 7 8 9 ");
    EXPECT_EQ(run("pipe a[3] : int16", {{"a", "a.csv"}}), "x 1 4 y 2 5 ");
    commands_ = "ABS (s, x)\nABS (a[3], y)\n";
    EXPECT_EQ(run("constant n = length(a) + length(a[2])\npipe a[3] : int16 from \"a.bin\"\npipe s : int16 starts [n]"),
              "x 4 y 3 6 ");
    EXPECT_EQ(run("constant n = length(a[3])\npipe a[3] : int16 from \"a.bin\"\npipe s : int16 starts [n]",
                  {{"a[3]", "one.csv"}}),
              "x 3 y 7 8 9 ");
}

TEST_F(ArrayFiles, AFileHasJustAsManyChannels) {
    const std::string none = " | the recording has the channels 1 to 3\n";
    const std::pair<const char*, std::string> cases[] = {
        {"pipe a[4] : int16 from \"a.wav\"",
         "1:24 a.wav: it has 3 channels, and an array of 4 takes just as many | declare an array of 3\n"},
        {"pipe a[2] : int16 from \"a.csv\"",
         "1:24 a.csv: it has 3 columns, and an array of 2 takes just as many | say which with `column 1..2` or another "
         "range\n"},
        {"pipe a[2] : int16 from \"a.wav\" channel 3..4", "1:24 a.wav: there is no channel 4" + none},
        {"rate 5\npipe a[3] : int16 from \"a.wav\"",
         "x 1 4 y 2 5 2:24 a.wav states 1000 frames a second, and the procedure's `rate` is 5 | the run goes by `rate 5`; "
         "correct it, or leave it out\n"},
    };
    for (const auto& [declaration, mistakes] : cases) EXPECT_EQ(run(declaration), mistakes) << declaration;
    EXPECT_EQ(
        run("pipe a[3] : int16 from \"a.wav\"\npipe n : int16 starts [length(a)]", {{"a[2]", "one.csv"}}),
        "2:31 the length of `a` is not known: --in a[2] gives an element a file of its own | write the length of one "
        "element, length(a[1])\n");
    EXPECT_EQ(run("pipe a[3] : int16 from \"a.wav\"\ntrigger t[2]", {{"a[4]", "x"}, {"t", "x"}, {"b[1]", "x"}}),
              "0:1 --in a[4]=x: the procedure declares no pipe or trigger `a[4]` | its elements are `a[1]` to `a[3]`\n"
              "0:1 --in b[1]=x: the procedure declares no pipe or trigger `b[1]` | it declares `a`, `x`, `y`, `t`\n"
              "0:1 --in t=x: a file has the events of one trigger, and `t` has 2 elements | name one of them: --in "
              "t[1]=FILE\n");
}

TEST_F(ArrayFiles, AMistakeOfEachIndexIsOneBlockOfText) {
    std::vector<Diagnostic> diagnostics;
    const Procedure procedure = parseProcedure(
        {"p.zp",
         "pipe a[3] : int16\npipe q[3] : int32\npipe r[3] : int16\nABS (a, q)\nABS (q, a)\nABS (a[1], q[1])\n"
         "SCRIPT (\"exit:3\", r)\n"},
        diagnostics);
    const BoundProcedure bound = bindProcedure(procedure, testLibrary(), {}, diagnostics);
    ASSERT_NE(bound.session, nullptr) << textOf(diagnostics);
    const Report report = bound.session->run();
    std::string said;
    for (const Diagnostic& each : diagnose(bound.procedure, report, bound.advice))
        said += std::to_string(each.place.line) + " " + each.message.substr(0, each.message.find(" that")) + "\n";
    EXPECT_EQ(
        said,
        "4 ABS[1..3]: parameter 2, `q`: its element type differs from\n5 ABS[1..3]: parameter 2, `a`: its element type "
        "differs from\n6 ABS: parameter 2, `q[1]`: its element type differs from\n7 SCRIPT[1..3]: ended itself with "
        "code 3\n");
    EXPECT_NE(toJson(report, {}).find("\"element\": 3"), std::string::npos);
}

TEST_F(ArrayFiles, ChannelsOfOneStreamAreTakenApart) {
    ReadRequest request = reading("long.bin");
    const std::vector<std::int16_t> samples = noise(3 * 50000 + 2);
    put("long.bin", {reinterpret_cast<const char*>(samples.data()), 2 * samples.size()});
    request.elements = 3;
    request.isSplit = request.partial = true;
    MemoryBudget enough(1 << 20), scarce(1 << 16);
    const auto split = [&](MemoryBudget& memory) {
        return splitSource(openSource(request), ElementType::int16, {{"b", 2}, {"c", 3}}, memory);
    };
    const auto sources = split(enough);
    EXPECT_EQ(sources[1]->length(), 50000U);
    for (const std::size_t channel : {std::size_t{1}, std::size_t{2}}) {
        std::vector<std::int16_t> expected;
        for (std::size_t i = channel; i < 3 * 50000; i += 3) expected.push_back(samples[i]);
        EXPECT_EQ(elementsOf<std::int16_t>(*sources[channel - 1]), expected) << channel;
    }
    EXPECT_EQ(sources[0]->notes().size() + sources[1]->notes().size(), 1U);
    const auto few = split(scarce);
    EXPECT_EQ(refusal([&] { elementsOf<std::int16_t>(*few[1]); }).substr(0, 20), "no memory is left fo");
    EXPECT_EQ(refusal([&] {
                  splitSource(openSource(request), ElementType::int16, {{"d", 4}}, enough);
              }),
              "`d` takes channel 4, and there are 3 | channels count from 1");
}

}  // namespace
}  // namespace libzepl
