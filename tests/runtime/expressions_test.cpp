// Constants, expressions, vectors by formula and filters by name.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

#include "files_support.h"
#include "procedure_support.h"
#include "runtime/binder.h"

namespace libzepl {
namespace {

// The value of an expression as the argument of a command.
Number valueOf(const std::string& expression) {
    const auto [p, mistakes] =
        evaluate("rate 360\nconstant n = 7\npipe rec : int16 from \"r.wav\"\nA (" + expression + ")\n");
    EXPECT_EQ(mistakes, "") << expression;
    EXPECT_EQ(p.commands.at(0).arguments.at(0).kind, Argument::Kind::number) << expression;
    return p.commands[0].arguments[0].number;
}

TEST(Expressions, WholeValuesOfWholeNumbersAreIntegers) {
    const std::vector<std::pair<const char*, std::int64_t>> cases{
        {"n", 7},
        {"(n)", 7},
        {"2 * n - 3", 11},
        {"2*n-3", 11},
        {"n -3", 4},
        {"2 - 3 - 4", -5},
        {"-n", -7},
        {"+ -n", -7},
        {"- 5", -5},
        {"--5", 5},
        {"-2 ^ 2", -4},
        {"(-2) ^ 2", 4},
        {"2 ^ 3 ^ 2", 512},
        {"10 ^ 9", 1000000000},
        {"3 ^ 33", 5559060566555523},
        {"n % 4", 3},
        {"-n % 4", -3},
        {"7 % -4", 3},
        {"1 + 2 * 3 < 8", 1},
        {"1.5 != 1.5", 0},
        {"nan == nan", 0},
        {"(1 < 2) + (2 >= 2)", 2},
        {"floor(-0.5)", -1},
        {"ceil(0.2)", 1},
        {"trunc(-1.9)", -1},
        {"round(0.5)", 0},
        {"round(1.5)", 2},
        {"round(n / 2)", 4},
        {"if(n > 3, 10, 1 / 0)", 10},
        {"if(0, 1 / 0, 20)", 20},
        {"max(n, 2, 9)", 9},
        {"abs(-n)", 7},
        {"sqrt(16)", 4},
        {"length(rec) - 1", 999},
        {"rate", 360},
        {"-0x8000000000000000", std::numeric_limits<std::int64_t>::min()},
        {"0x1e+5", 35},
    };
    for (const auto& [expression, value] : cases) {
        const Number number = valueOf(expression);
        EXPECT_TRUE(number.isInteger) << expression;
        EXPECT_EQ(number.integer, value) << expression;
    }
}

TEST(Expressions, OtherValuesHaveAPoint) {
    const std::vector<std::pair<const char*, double>> cases{
        {"4 / 2", 2},
        {"2.0 * n", 14},
        {"2 * (pi)", 2 * std::numbers::pi},
        {"2 ^ -1", 0.5},
        {"2 ^ 0.5", std::numbers::sqrt2},
        {"0.5 * rate / 7", 0.5 * 360 / 7},
        {"1 - 0.1 - 0.2", 1 - 0.1 - 0.2},
        {"1.1 ^ 3", 1.1 * 1.1 * 1.1},
        {"2 ^ 63", 0x1p63},
        {"min(1, 0.5)", 0.5},
        {"-inf + 1", -HUGE_VAL},
        {"1e-3 * 2", 1e-3 * 2},
        {".5-.25", 0.25},
    };
    for (const auto& [expression, value] : cases) {
        const Number number = valueOf(expression);
        EXPECT_FALSE(number.isInteger) << expression;
        EXPECT_EQ(number.real, value) << expression;
    }
    const std::vector<std::pair<const char*, double>> functions{
        {"exp(1.5)", std::exp(1.5)},
        {"log(1.5)", std::log(1.5)},
        {"log10(2.5)", std::log10(2.5)},
        {"sin(1.5)", std::sin(1.5)},
        {"cos(1.5)", std::cos(1.5)},
        {"tan(1.5)", std::tan(1.5)},
        {"atan2(1.5, -2)", std::atan2(1.5, -2)},
        {"2.5 ^ 1.5", std::pow(2.5, 1.5)},
    };
    for (const auto& [expression, value] : functions)
        EXPECT_NEAR(valueOf(expression).real, value, std::fabs(value) * 1e-15) << expression;
}

TEST(Expressions, StandWhereverANumberCan) {
    const auto [p, mistakes] = evaluate(
        "rate 90 * half\n"
        "pipe a : int16 from \"a.wav\" channel n - 1 to \"b.wav\" rate rate / 2 limit n * 10 capacity -n + 7 * 2\n"
        "pipe b : int16 interleaved n to \"c.wav\" limit 2 * n starts [n,\n  abs(-3),\nif(n > 1, 4, 5) - 5,]\n"
        "pipe c : int16 from \"d.csv\" column n\n"
        "trigger t to \"t.csv\" limit half\n"
        "variable v : float = 1 / 4\n"
        "vector w : double = [n / 2, nan,\n  cos(0)]\n"
        "vector x : int32 from \"x.wav\" interleaved half\n"
        "constant n = 1 + two   # used before and after\n"
        "constant two = round(4 / half + 0.6)\n"
        "constant half = 4\n"
        "A (half:int32, (2*half):float, half + 1, a, inside, pi, rate, \"half\", n)\n");
    EXPECT_EQ(mistakes, "");
    EXPECT_EQ(p.rate, 360);
    const PipeDeclaration &a = p.pipes.at(0), &b = p.pipes.at(1);
    EXPECT_EQ(std::tuple(a.from->channel, a.to->rate, a.to->limit, a.capacity), std::tuple(2, 180.0, 30U, 11U));
    EXPECT_EQ(std::tuple(b.interleaved, b.to->limit, b.starts.size()), std::tuple(3, 6U, 3U));
    EXPECT_EQ(std::tuple(b.starts[0].integer, b.starts[1].integer, b.starts[2].integer), std::tuple(3, 3, -1));
    EXPECT_EQ(std::get<std::int64_t>(*p.pipes.at(2).from->column), 3);
    EXPECT_EQ(p.triggers.at(0).to->limit, 4U);
    EXPECT_EQ(p.variables.at(0).value.real, 0.25);
    EXPECT_EQ(p.vectors.at(0).values.at(0).real, 1.5);
    EXPECT_EQ(p.vectors[0].values.at(2).real, 1);
    EXPECT_EQ(p.vectors.at(1).interleaved, 4);
    using Kind = Argument::Kind;
    const std::vector<Kind> kinds{Kind::number, Kind::number, Kind::number, Kind::word,  Kind::word,
                                  Kind::word,   Kind::number, Kind::text,   Kind::number};
    const std::vector<double> values{4, 8, 5, 0, 0, 0, 360, 0, 3};
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        const Argument& argument = p.commands.at(0).arguments.at(i);
        EXPECT_EQ(argument.kind, kinds[i]) << i;
        EXPECT_EQ(argument.number.real, values[i]) << i;
    }
    EXPECT_EQ(p.commands[0].arguments[0].type, ElementType::int32);
    EXPECT_EQ(p.commands[0].arguments[1].written, "(2*half)");
}

TEST(Expressions, AMistakeHasItsPlaceInTheExpression) {
    const std::string round = " | round(), floor(), ceil() and trunc() make integers";
    const std::string names = " | an expression has numbers, constants, functions, `pi`, `inf`, `nan` and `rate`";
    const std::string closed = "declare it, vector NAME : double = lowpass( ... ), and give the name";
    const std::string natural = " is out of range: int16 holds -32768 to 32767";
    const std::vector<std::pair<std::string, std::string>> cases{
        {"A (2 * samlpes)\nconstant samples = 5", "1:8 unknown name `samlpes` | did you mean `samples`?"},
        {"A (2 * zebra)", "1:8 unknown name `zebra`" + names},
        {"A (2 + sine(1))", "1:8 unknown function `sine` | did you mean `sin`?"},
        {"A (sin(1, 2))", "1:4 `sin` takes 1 argument, not 2"},
        {"A (max(1))", "1:4 `max` takes at least 2 arguments, not 1"},
        {"A (1, 2 +)", "1:10 expected a number, a name or `(`, not `)`"},
        {"constant a = 2 *", "1:17 expected a number, a name or `(`, but the line ends here"},
        {"constant a = 1 < 2 < 3", "1:20 a comparison of a comparison | put one of the two in parentheses"},
        {"constant a = 3 = 4", "1:16 expected the end of the line, not `=` | write one statement a line"},
        {"A (2 * n:int32)",
         "1:9 expected `,` or `)`, not `:` | the type of an expression goes after parentheses, as in (2 * n):int32"},
        {"constant a = 1 / (2 - 2)", "1:16 division by zero"},
        {"constant a = 1 % 0", "1:16 division by zero"},
        {"constant a = b + 1\nconstant b = 2 * c\nconstant c = a\nconstant d = a\nA (d, a)",
         "1:10 `a` needs `b` needs `c` needs `a`: they have no value | a constant is computed from others, never from "
         "itself"},
        {"rate 2 * rate",
         "1:6 `rate` needs `rate`: they have no value | a constant is computed from others, never from itself"},
        {"A (rate / 2)", "1:4 `rate` is the rate that the procedure states, and it states none | add it: rate NUMBER"},
        {"pipe x : int16\nA (x * 2)",
         "2:4 `x` is a pipe, and this is computed before samples flow | commands work on pipes; `length(x)` is how "
         "many "
         "frames its recording has"},
        {"variable x : int16 = 1\nA (1 - x)",
         "2:8 `x` is a variable, which can change while the procedure runs | numbers that stay are declared as "
         "constant "
         "NAME = EXPRESSION"},
        {"trigger x\nA (1 - x)", "2:8 `x` is a trigger, and a number is wanted" + names},
        {"A (1 + length(x))", "1:15 `length` takes the name of a pipe, and `x` is none"},
        {"A (length(2))", "1:11 `length` takes the name of a pipe"},
        {"constant h = 5 / 2\npipe x : int16 to \"x\" limit h",
         "2:29 `limit` takes an integer from 1, not `h = 2.5`" + round},
        {"constant n = 2\npipe x : int16 to \"x\" limit 2 - n",
         "2:29 `limit` takes an integer from 1, not `2 - n = 0`"},
        {"constant n = 2\npipe x : int16 to \"x\" limit 5 interleaved n",
         "2:43 5 elements are no whole frames of 2 channels | give a multiple of 2"},
        {"constant n = 2\npipe p : int16 interleaved n to \"x.wav\" limit n + 1\nABS (p, p)",
         "2:28 3 elements are no whole frames of 2 channels | give a multiple of 2"},
        {"constant n = 2\nrate 2 - n", "2:6 a rate is a positive, finite number, not `2 - n = 0`"},
        {"constant n = 30000\nvariable x : int16 = 2 * n", "2:22 `2 * n = 60000`" + natural + " | int32 holds it"},
        {"constant n = 30000\nA ((2 * n):int16)", "2:4 `(2 * n) = 60000`" + natural + " | int32 holds it"},
        {"constant x = 1\npipe x : int16", "2:6 `x` is declared at line 1 | give this one another name"},
        {"vector x : int16 = [i / 2 for i = 2 to 4]",
         "1:21 `i / 2 = 1.0, the 1. value` is not an integer, which int16 takes" + round},
        {"vector x : int16 = [i for i = 1 to 0.5]",
         "1:36 `i` counts integers, and 0.5 is none that it can reach | round(), floor() and ceil() make integers"},
        {"vector x : int16 = [1 for i = 1 to 0]",
         "1:23 `i` from 1 to 0 gives no value | it counts upwards, to the last value too"},
        {"vector x : int16 = [1 for i = 1 to 10 ^ 12]",
         "1:23 `i` from 1 to 1000000000000 gives over 1048576 values | read a longer vector from a file"},
        {"vector x : int16 = [1, 2 for i = 1 to 3]", "1:26 expected `,` or `]`, not `for`"},
        {"vector x : double = fs\nconstant fs = 1",
         "1:21 `fs` is no vector | write its values as [ ... ], or name a filter: lowpass, highpass, bandpass or "
         "bandstop"},
        {"A (lowpass(5, 0.1))", "1:4 `lowpass` gives a vector, and one number is wanted | " + closed},
        {"vector x : double = lowpass(5, 50)",
         "1:32 `lowpass` takes a frequency above 0 and below 0.5, not 50 | frequencies are parts of the sampling rate, "
         "such as 50 / rate"},
        {"vector x : double = bandpass(5, 0.3, 0.2)",
         "1:38 `bandpass` takes frequencies that rise, and below 0.5, not 0.2 | frequencies are parts of the sampling "
         "rate, such as 50 / rate"},
        {"vector x : double = highpass(6, 0.2)",
         "1:30 `highpass` has an odd number of taps: with 6 nothing passes at half the sampling rate | take 7"},
        {"vector x : double = lowpass(0, 0.2)", "1:29 `lowpass` has a whole number of taps from 1 to 1048576, not 0"},
        {"vector x : double = lowpass(5, 0.2, 500)", "1:37 the attenuation is from 0 to 300 dB, not 500"},
    };
    for (const auto& [text, mistakes] : cases) EXPECT_EQ(evaluate(text).mistakes, mistakes + "\n") << text;
}

TEST(Expressions, NestingIsBounded) {
    const std::string deep = "the expression is nested too deeply";
    for (const auto& [open, close] :
         {std::pair("(", ")"), {"-", ""}, {"abs(", ")"}, {"2^", ""}, {"if(1,0,", ")"}, {"a[", "]"}})
        for (const int n : {190, 5000}) {
            std::string text = "constant a = ";
            for (int i = 0; i < n; ++i) text += open;
            text += "1 ";
            for (int i = 0; i < n; ++i) text += close;
            EXPECT_EQ(evaluate(text).mistakes.find(deep) != std::string::npos, n > 1000) << open << n;
        }
    for (const int n : {1500, 20000}) {
        std::string text = "constant a = 1";
        for (int i = 0; i < n; ++i) text += "+1";
        EXPECT_EQ(evaluate(text).mistakes.find(deep) != std::string::npos, n > 2000) << n;
    }
    std::string chain;
    for (int i = 0; i < 20000; ++i)
        chain += "constant c" + std::to_string(i) + " = c" + std::to_string(i + 1) + " + 1\n";
    const auto [p, mistakes] = evaluate(chain + "constant c20000 = 0\nA (c0)\n");
    EXPECT_EQ(mistakes, "");
    EXPECT_EQ(p.commands.at(0).arguments.at(0).number.integer, 20000);
}

TEST(Expressions, OptionsGiveConstantsAndVariables) {
    const std::string text = "constant fs = 5\nconstant n = 2 * fs\nvariable v : int16 = 1\nA (fs, n)\n";
    const auto values = [&](std::map<std::string, std::string> given) {
        const auto [p, mistakes] = evaluate(text, std::move(given));
        EXPECT_EQ(mistakes, "");
        const std::vector<Argument>& arguments = p.commands.at(0).arguments;
        return std::tuple(arguments.at(0).number.real, arguments.at(1).number.real, p.variables.at(0).value.integer);
    };
    EXPECT_EQ(values({{"fs", "48000"}}), std::tuple(48000, 96000, 1));
    EXPECT_EQ(values({{"n", "fs + 0.5"}, {"v", "round(n)"}}), std::tuple(5, 5.5, 6));
    const std::vector<std::tuple<const char*, const char*, std::string>> refused{
        {"fs", "48000*x",
         "--set fs: unknown name `x`\n48000*x\n      ^" +
             std::string(" | an expression has numbers, constants, functions, `pi`, `inf`, `nan` and `rate`")},
        {"fs", "n",
         "--set fs: `fs` needs `n` needs `fs`: they have no value\nn\n^ | a constant is computed from others, "
         "never from itself"},
        {"fs", "1 2", "--set fs: expected an operator or the end of the value, not `2`\n1 2\n  ^"},
        {"v", "1 / (n - n)", "--set v: division by zero\n1 / (n - n)\n  ^"},
        {"v", "n / 4", "--set v: `n / 4 = 2.5` is not an integer, which int16 takes | give a number that int16 holds"},
    };
    for (const auto& [name, value, mistake] : refused)
        EXPECT_EQ(evaluate(text, {{name, value}}).mistakes, "0:1 " + mistake + "\n") << value;
}

std::vector<double> valuesOf(const std::string& vector) {
    const auto [p, mistakes] = evaluate("constant n = 4\nvector v : double = " + vector + "\n");
    EXPECT_EQ(mistakes, "") << vector;
    std::vector<double> values;
    for (const Number& number : p.vectors.at(0).values) values.push_back(number.real);
    return values;
}

TEST(Expressions, AFormulaGivesAVector) {
    EXPECT_EQ(valuesOf("[n * i for i = -1 to n - 3]"), (std::vector<double>{-4, 0, 4}));
    EXPECT_EQ(valuesOf("[n / 2 for n = n to n]"), std::vector<double>{2});
    const std::vector<double> hann = valuesOf("[0.5 - 0.5 * cos(2 * pi * i / n)\n for i = 0 to n - 1]");
    ASSERT_EQ(hann.size(), 4U);
    for (std::size_t i = 0; i < 4; ++i) EXPECT_NEAR(hann[i], std::vector<double>({0, 0.5, 1, 0.5})[i], 1e-15);
}

// The reference taps come from tools/filter_taps.py.
TEST(Filters, HaveTheTapsOfTheWindowMethod) {
    const std::vector<std::pair<const char*, std::vector<double>>> cases{
        {"lowpass(9, 0.1)",
         {0.00019901838617074845, 0.013953511774956674, 0.09063588476344801, 0.23601013032664078, 0.31840290949756755,
          0.23601013032664078, 0.09063588476344801, 0.013953511774956674, 0.00019901838617074845}},
        {"lowpass(8, 50 / 360, 40)",
         {0.0012607402093382104, 0.04968786936931717, 0.1681232007432058, 0.2809281896781388, 0.2809281896781388,
          0.1681232007432058, 0.04968786936931717, 0.0012607402093382104}},
        {"highpass(7, 0.2)",
         {0.0001721075978321912, -0.015229188252324532, -0.20563340922602663, 0.6195357732482604, -0.20563340922602663,
          -0.015229188252324532, 0.0001721075978321912}},
        {"bandpass(8, 0.1, 0.3)",
         {-0.00021387898679818844, -0.05108720146491228, -0.09222370349069493, 0.5195787202905057, 0.5195787202905057,
          -0.09222370349069493, -0.05108720146491228, -0.00021387898679818844}},
        {"bandstop(9, 0.1, 0.2, 21)",
         {0.0975106232824849, 0.1300141643766466, 0.04603827124608023, -0.0920765424921605, 0.6370269671738976,
          -0.0920765424921605, 0.04603827124608023, 0.1300141643766466, 0.0975106232824849}},
    };
    for (const auto& [call, taps] : cases) {
        const std::vector<double> made = valuesOf(call);
        ASSERT_EQ(made.size(), taps.size()) << call;
        for (std::size_t i = 0; i < taps.size(); ++i) EXPECT_NEAR(made[i], taps[i], 1e-12) << call << " " << i;
    }
}

double gainAt(const std::vector<double>& taps, double frequency) {
    std::complex<double> sum;
    for (std::size_t i = 0; i < taps.size(); ++i)
        sum += std::polar(taps[i], -2 * std::numbers::pi * frequency * static_cast<double>(i));
    return std::abs(sum);
}

TEST(Filters, StopByEightyDecibelsAndPassWithGainOne) {
    struct Row {
        const char* call;
        std::vector<std::pair<double, double>> passed, stopped;
    };
    const std::vector<Row> rows{
        {"lowpass(129, 0.1)", {{0, 0.07}}, {{0.13, 0.5}}},
        {"highpass(129, 0.1)", {{0.13, 0.5}}, {{0, 0.07}}},
        {"bandpass(129, 0.1, 0.3)", {{0.13, 0.27}}, {{0, 0.07}, {0.33, 0.5}}},
        {"bandstop(129, 0.1, 0.3)", {{0, 0.07}, {0.33, 0.5}}, {{0.13, 0.27}}},
    };
    for (const Row& row : rows) {
        const std::vector<double> taps = valuesOf(row.call);
        for (const auto& [from, to] : row.passed)
            for (double f = from; f <= to; f += 0.001) EXPECT_NEAR(gainAt(taps, f), 1, 2e-4) << row.call << " " << f;
        for (const auto& [from, to] : row.stopped)
            for (double f = from; f <= to; f += 0.001) EXPECT_LT(gainAt(taps, f), 1.3e-4) << row.call << " " << f;
    }
}

class Lengths : public FilesTest {
 protected:
    std::string run(const std::string& text, std::map<std::string, std::string> inputs = {}) {
        std::vector<Diagnostic> diagnostics;
        const Procedure procedure = parseProcedure({at("p.zp").string(), text}, diagnostics);
        BindOptions options;
        options.inputs = std::move(inputs);
        const BoundProcedure bound = bindProcedure(procedure, testLibrary(), options, diagnostics);
        if (!bound.session) return textOf(diagnostics);
        bound.session->run();
        return bytesOf("out.csv");
    }
};

TEST_F(Lengths, AreFramesOfTheRecordingThatIsRead) {
    put("in.csv", "a,b\n1,2\n3,4\n5,6\n");
    put("other.csv", "1\n2\n");
    put("raw.bin", "12345678");
    const std::string rest = "pipe s : int16 starts [length(x)]\npipe t : int16 to \"out.csv\" limit 1\nABS (s, t)\n";
    EXPECT_EQ(run("pipe x : int16 from \"in.csv\" interleaved 2\n" + rest), "t\n3\n");
    EXPECT_EQ(run("constant k = 2\npipe x : int16 from \"in.csv\" column k\n" + rest), "t\n3\n");
    EXPECT_EQ(run("pipe x : int16 from \"in.csv\"\n" + rest, {{"x", at("other.csv").string()}}), "t\n2\n");
    EXPECT_EQ(run("pipe x : int16 from \"raw.bin\"\n" + rest), "t\n4\n");
    EXPECT_EQ(run("pipe x : int16 from -\n" + rest),
              "2:31 the length of `x` is not known: it is read from a stream | give the number itself: constant NAME = "
              "NUMBER\n");
    EXPECT_EQ(run("pipe x : int16\n" + rest),
              "2:31 the length of `x` is not known: no file gives its samples | give it a `from` file, or the number "
              "itself\n");
}

}  // namespace
}  // namespace libzepl
