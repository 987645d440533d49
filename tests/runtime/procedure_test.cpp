// The parser of procedures: declarations, forms of lines, each mistake with its place and hint, bounds; and numbers.

#include "runtime/procedure.h"

#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace libzepl {
namespace {

struct Parsed {
    Procedure procedure;
    std::string mistakes;  // "line:column message" each, closed with a line feed
};

Parsed parse(const std::string& text) {
    std::vector<Diagnostic> diagnostics;
    Parsed parsed{parseProcedure({"test.zp", text}, diagnostics), {}};
    for (const Diagnostic& each : diagnostics)
        parsed.mistakes += std::to_string(each.place.line) + ":" + std::to_string(each.place.column) + " " +
                           each.message + (each.remedy.empty() ? "" : " | " + each.remedy) + "\n";
    return parsed;
}

TEST(Procedure, DeclarationsAreReadWithAllTheirClauses) {
    const auto [p, mistakes] = parse(
        "# heartbeats\n"
        "rate 2.5e2\n"
        "pipe ecg : int16 to \"o.csv\" limit 9 starts [1, -2,\n 0x10, ] column \"A # \\\"B\\\"\" capacity 64 "
        "from \"in.wav\" convert round\n"
        "pipe raw:double from - channel 2\n"
        "trigger beat from \"e.csv\" to - limit 3\n"
        "variable gain : float = -inf\n"
        "vector taps : float = [ # none\n  .5, # half\n  2\n]\n"
        "vector more : int32 from \"v.npy\" column 3\n"
        "DELTA (ecg, -5 : int32, \"a\\\\b\\n\\t\", inside, 0.5)\n"
        "IDLE ()");
    EXPECT_EQ(mistakes, "");
    EXPECT_EQ(p.rate, 250);
    const PipeDeclaration &ecg = p.pipes.at(0), &raw = p.pipes.at(1);
    EXPECT_EQ(std::tuple(ecg.name, ecg.capacity, ecg.starts.size(), ecg.starts.at(2).integer),
              std::tuple("ecg", 64u, 3u, 16));
    EXPECT_EQ(std::tuple(ecg.from->path, std::get<std::string>(*ecg.from->column), ecg.from->conversion),
              std::tuple("in.wav", "A # \"B\"", "round"));
    EXPECT_TRUE(ecg.from->place.line == 4 && !ecg.from->limit && !raw.to);
    EXPECT_EQ(std::tuple(ecg.to->path, ecg.to->limit), std::tuple("o.csv", 9u));
    EXPECT_EQ(std::tuple(raw.type, raw.from->path, raw.from->channel), std::tuple(ElementType::float64, "-", 2));
    EXPECT_EQ(std::tuple(p.triggers.at(0).to->path, p.triggers[0].to->limit), std::tuple("-", 3u));
    EXPECT_EQ(p.variables.at(0).value.real, -std::numeric_limits<double>::infinity());
    EXPECT_EQ(std::tuple(p.vectors.at(0).values.size(), p.vectors[0].values.at(0).real), std::tuple(2u, 0.5));
    EXPECT_EQ(std::get<std::int64_t>(*p.vectors.at(1).from->column), 3);
    using Kind = Argument::Kind;
    const std::vector<Argument>& arguments = p.commands.at(0).arguments;
    ASSERT_EQ(arguments.size(), 5u);
    EXPECT_EQ(arguments[0].kind, Kind::word);
    EXPECT_EQ(std::tuple(arguments[1].number.integer, arguments[1].type), std::tuple(-5, ElementType::int32));
    EXPECT_EQ(std::tuple(arguments[2].kind, arguments[2].text), std::tuple(Kind::text, "a\\b\n\t"));
    EXPECT_EQ(std::tuple(arguments[4].type, arguments[4].place.column, arguments[4].text),
              std::tuple(std::nullopt, 45, "0.5"));
    EXPECT_EQ(p.commands.at(1).place.line, 14);
}

TEST(Procedure, NoWordIsReserved) {
    const auto [p, mistakes] = parse(
        "pipe pipe : int16 from \"from\"\npipe from : int16\npipe rate : int16 capacity 2\ntrigger to to \"to\"\n"
        "variable float : float = 1\npipe inf : int16\n"
        "rate (pipe, from,\n rate,\n from, to\n)\npipe (nan, inf, inf:float, -inf)\n");
    EXPECT_EQ(mistakes, "");
    EXPECT_EQ(p.pipes.size(), 4u);
    ASSERT_EQ(p.commands.size(), 2u);
    EXPECT_EQ(p.commands[0].arguments.size(), 5u);
    using Kind = Argument::Kind;
    const std::vector<Kind> kinds{Kind::number, Kind::word, Kind::number, Kind::number};
    for (std::size_t i = 0; i < kinds.size(); ++i) EXPECT_EQ(p.commands[1].arguments.at(i).kind, kinds[i]) << i;
}

TEST(Procedure, LineEndsBlanksAndCommentsChangeNothing) {
    const std::string plain = "rate 5\npipe a : int16 starts [1,\n2]\nDELTA (a, \"x\") # end\n";
    std::string crlf;
    for (char c : plain) crlf += c == '\n' ? "\r\n" : std::string(1, c);
    const std::string tabbed = "\t rate\t5\n\n  pipe\ta:int16\tstarts[1\t,\n\t# two\n2]#\nDELTA(a,\"x\")";
    for (const std::string& text : {plain, crlf, "\xEF\xBB\xBF" + plain, tabbed, crlf.substr(0, crlf.size() - 1)}) {
        const auto [p, mistakes] = parse(text);
        EXPECT_EQ(mistakes, "") << text;
        EXPECT_EQ(p.pipes.at(0).starts.size(), 2u) << text;
        EXPECT_EQ(p.commands.at(0).arguments.size(), 2u) << text;
    }
    EXPECT_EQ(parse("\xEF\xBB\xBFrate ]").mistakes, "1:6 expected a number, not `]`\n");
}

TEST(Procedure, EachMistakeIsReportedAtItsPlaceWithAHint) {
    const std::string clauses =
        "a pipe takes capacity, starts, interleaved, from, channel, column, convert, partial, to, limit, rate, "
        "format, timeout, fill";
    const std::string natural = " is out of range: int16 holds -32768 to 32767";
    const std::string beyond = " is out of range: float holds up to 3.4028235e38 and inf | double holds it";
    const std::string noInteger = "write it without a point or an exponent, or take float or double";
    const std::vector<std::pair<std::string, std::string>> cases{
        {"pip x : int16", "1:1 unknown declaration `pip` | did you mean `pipe`?"},
        {"FOO a",
         "1:5 expected `(` and the arguments of `FOO`, not `a` | a line is a declaration (rate, feed, constant, pipe, "
         "trigger, variable, vector, table) or COMMAND ( argument, ... )"},
        {"5 (a)", "1:1 expected a declaration or a command, not `5`"},
        {"rate 1\nrate 2", "2:1 the rate is given at line 1 | leave one of the two out"},
        {"rate 0", "1:6 a rate is a positive, finite number, not `0`"},
        {"rate inf", "1:6 a rate is a positive, finite number, not `inf`"},
        {"rate nan", "1:6 a rate is a positive, finite number, not `nan`"},
        {"pipe x int16", "1:8 expected `:` and a type, not `int16`"},
        {"pipe x : int61", "1:10 unknown type `int61` | did you mean `int16`?"},
        {"pipe x : byte", "1:10 unknown type `byte` | the types are int16, int32, float and double"},
        {"pipe x : int16 form \"a\"", "1:16 unknown clause `form` | did you mean `from`?"},
        {"pipe x : int16 : 3", "1:16 expected a clause or the end of the line, not `:` | " + clauses},
        {"pipe x : int16 from \"a\" from -", "1:25 `from` is given twice | give it once"},
        {"pipe x : int16 limit 3 from -", "1:16 `limit` without `to` and a file"},
        {"vector x : int16 convert round", "1:18 `convert` without `from` and a file"},
        {"pipe x : int16 from - column 1 channel 1", "1:32 `channel` and `column` exclude each other"},
        {"pipe x : int16 from - interleaved 2 channel 1", "1:23 `interleaved` and `channel` exclude each other"},
        {"pipe x : int16 from - interleaved 2 column 1", "1:37 `column` and `interleaved` exclude each other"},
        {"pipe x : int16 interleaved 0", "1:28 `interleaved` takes an integer from 1 to 1048576, not `0`"},
        {"pipe x : int16 interleaved 4 to - limit 6",
         "1:35 6 elements are no whole frames of 4 channels | give a multiple of 4"},
        {"pipe x : int16 to - partial", "1:21 `partial` without `from` and a file"},
        {"pipe x : int16 from - rate 5", "1:23 `rate` without `to` and a file"},
        {"pipe x : int16 to - rate 0", "1:26 a rate is a positive, finite number, not `0`"},
        {"pipe x : int16 format wav from -", "1:23 `format` goes after the file that it is of"},
        {"pipe x : int16 from - format wav format au", "1:41 `format` is given twice for one file"},
        {"pipe x : int16 from \"\"", "1:21 the file's name is empty"},
        {"pipe x : int16 from a", "1:21 expected a file's name in double quotes, or `-`, not `a`"},
        {"pipe x : int16 from", "1:20 expected a file's name in double quotes, or `-`, but the line ends here"},
        {"pipe x : int16 capacity 0", "1:25 `capacity` takes an integer from 1, not `0`"},
        {"pipe x : int16 capacity 1e3", "1:25 `capacity` takes an integer from 1, not `1e3`"},
        {"pipe x : int16 starts []", "1:24 expected a number, not `]`"},
        {"trigger x channel 1",
         "1:11 unknown clause `channel` | a trigger takes from, to, limit, with, format, timeout"},
        {"vector x : int16", "1:17 expected `= [ ... ]` or `from` and a file, but the line ends here"},
        {"vector x : int16 = [1 2]", "1:23 expected `,` or `]`, not `2`"},
        {"vector x : int16 = [1] from -", "1:24 expected the end of the line, not `from` | write one statement a line"},
        {"variable x : int16 = 0xFFFF", "1:22 `0xFFFF`" + natural + " | for the bits of `0xFFFF` write -1"},
        {"variable x : int16 = 0x10000", "1:22 `0x10000`" + natural + " | int32 holds it"},
        {"A (1.0:int16)", "1:4 `1.0` is not an integer, which int16 takes | " + noInteger},
        {"A (0x80000000 :int32)",
         "1:4 `0x80000000` is out of range: int32 holds -2147483648 to 2147483647 | for the "
         "bits of `0x80000000` write -2147483648"},
        {"A (1e39:float, -3.5e38:float, inf:float, 1e39)", "1:4 `1e39`" + beyond + "\n1:16 `-3.5e38`" + beyond},
        {"pipe x : float starts [1, 1e39]\nvector y : float = [1e39]\nvariable z : float = -1e308",
         "1:27 `1e39`" + beyond + "\n2:21 `1e39`" + beyond + "\n3:22 `-1e308`" + beyond},
        {"vector x : int16 = [32768,\n nan]", "1:21 `32768`" + natural +
                                                  " | int32 holds it\n"
                                                  "2:2 `nan` is not an integer, which int16 takes | " +
                                                  noInteger},
        {"pipe x : int16\ntrigger x", "2:9 `x` is declared at line 1 | give this one another name"},
        {"pipe x : byt\nvector x : int16",
         "1:10 unknown type `byt` | the types are int16, int32, float and double\n"
         "2:8 `x` is declared at line 1 | give this one another name"},
        {"A (a,)", "1:6 expected an argument, not `)`"},
        {"A (5:)", "1:6 expected a type: int16, int32, float or double, not `)`"},
        {"A (a,\nrate\n5)", "3:1 expected `,` or `)`, not `5`"},
        {"A (a]\nB (\n", "1:5 expected `,` or `)`, not `]`\n2:3 `(` is not closed | close it with `)`"},
        {"A (a) B (b)", "1:7 expected the end of the line, not `B` | write one statement a line"},
        {"A ([1])",
         "1:4 an argument is a name, a number, a word or a text | declare the values, vector NAME : TYPE = "
         "[ ... ], and give the name"},
        {"A (1e, 2)", "1:4 `1e` is not a number"},
        {"A (\"a)\nB (\"b\\",
         "1:4 the text is not closed | close it with a double quote\n"
         "2:4 the text is not closed | close it with a double quote"},
        {"A (\"\\d\")",
         "1:5 unknown escape `\\d` | a text takes `\\\"`, `\\\\`, `\\n` and `\\t`; a backslash itself is "
         "written `\\\\`"},
        {"A (a; b; c)", "1:5 `;` cannot be here"},
        {"A ('a')", "1:4 `'` cannot be here | texts are written in double quotes"},
        {"A (a) # \x01\x02", "1:9 `\\x01\\x02` cannot be here | a procedure is plain text"},
        {"A (a)\rB (b)", "1:6 `\\x0D` cannot be here | a procedure is plain text"},
        {std::string("\xFF\xFEr\0", 4), "1:1 the text is UTF-16 or UTF-32 | save it as UTF-8"},
        {std::string("A (\0", 4), "1:4 a NUL character | a procedure is plain text in UTF-8"},
        {std::string("\xEF\xBB\xBF\0", 4), "1:1 a NUL character | a procedure is plain text in UTF-8"},
        {std::string("A (a)\nB\0(b", 10), "2:2 a NUL character | a procedure is plain text in UTF-8"},
    };
    for (const auto& [text, mistakes] : cases) EXPECT_EQ(parse(text).mistakes, mistakes + "\n") << text;
}

TEST(Procedure, AnExponentMayHaveASign) {
    const auto [p, mistakes] = parse("A (1e+5, 2E-1)");
    EXPECT_EQ(mistakes, "");
    ASSERT_EQ(p.commands.at(0).arguments.size(), 2u);
    EXPECT_EQ(p.commands[0].arguments[0].number.real, 1e5);
    EXPECT_EQ(p.commands[0].arguments[1].number.real, 0.2);
}

TEST(Procedure, EachFileOfAPipeHasItsClauses) {
    const auto [p, mistakes] = parse(
        "pipe x : int16 from \"f\" format wav partial interleaved 2 to \"g\" format npy rate 12.5 limit 4\n"
        "vector v : int16 from \"f\" format csv interleaved 3\ntrigger t from \"f\" format csv\n");
    EXPECT_EQ(mistakes, "");
    const PipeDeclaration& pipe = p.pipes.at(0);
    EXPECT_EQ(pipe.from->format + " " + pipe.to->format + " " + p.vectors.at(0).from->format, "wav npy csv");
    EXPECT_TRUE(pipe.from->partial && !pipe.to->partial);
    EXPECT_EQ(pipe.to->rate, 12.5);
    EXPECT_EQ(pipe.interleaved, 2);
    EXPECT_EQ(p.vectors.at(0).interleaved, 3);
    EXPECT_EQ(p.triggers.at(0).from->format, "csv");
}

TEST(Procedure, AMissingBracketSpoilsOnlyItsOwnStatement) {
    for (const std::string broken : {"A (a, b", "A (a,", "A (", "A (a\n  , b # )", "A (a, \")\""}) {
        const auto [p, mistakes] = parse(broken + "\nB (c)\npipe c : int16 starts [1]\nC (c)\n");
        EXPECT_EQ(mistakes, "1:3 `(` is not closed | close it with `)`\n") << broken;
        EXPECT_EQ(p.commands.size(), 2u) << broken;
        EXPECT_EQ(p.pipes.size(), 1u) << broken;
    }
    for (const std::string next : {"rate 5", "pipe a : int16", "vector a : int16 = [1]", "B (a)"})
        EXPECT_EQ(parse("vector v : int16 = [1,\n 2\n" + next).mistakes,
                  "1:20 `[` is not closed | close it with `]`\n");
    EXPECT_EQ(parse("A (a b,\n  c,\n  d)\nB (a)").procedure.commands.size(), 1u);
}

TEST(Procedure, ReadingStopsAtItsBounds) {
    const std::string line = "A (\n";
    std::string many;
    for (int i = 0; i < 1000; ++i) many += line;
    std::vector<Diagnostic> diagnostics;
    parseProcedure({"", many}, diagnostics);
    EXPECT_EQ(diagnostics.size(), 1000u);
    EXPECT_EQ(diagnostics.back().message, "`(` is not closed");
    diagnostics.clear();
    parseProcedure({"", many + line + line}, diagnostics);
    ASSERT_EQ(diagnostics.size(), 1001u);
    EXPECT_EQ(diagnostics.back().message, "too many mistakes: the rest has not been read");
    EXPECT_EQ(diagnostics.back().place.line, 1001);
    const std::string greatest(16 << 20, '#');
    EXPECT_EQ(parse(greatest).mistakes, "");
    EXPECT_EQ(parse(greatest + '#').mistakes,
              "0:1 a procedure of over 16 MiB | is this a recording? it is named in a `from` clause\n");
}

TEST(Numbers, EveryFormIsReadExactly) {
    const std::vector<std::pair<const char*, std::int64_t>> integers{
        {"0", 0}, {"+7", 7}, {"007", 7}, {"0x1f", 31}, {"-0X1F", -31}, {"9007199254740993", 9007199254740993}};
    for (const auto& [text, value] : integers) {
        const Number number = parseNumber(text).value();
        EXPECT_TRUE(number.isInteger) << text;
        EXPECT_EQ(number.integer, value) << text;
        EXPECT_EQ(number.real, static_cast<double>(value)) << text;
    }
    const std::vector<std::pair<const char*, double>> reals{{"5.", 5},          {".5", 0.5},         {"-1e3", -1000},
                                                            {"1E+2", 100},      {"2e-1", 0.2},       {"5e-324", 5e-324},
                                                            {"+inf", HUGE_VAL}, {"-inf", -HUGE_VAL}, {"-0.0", -0.0}};
    for (const auto& [text, value] : reals) {
        const Number number = parseNumber(text).value();
        EXPECT_FALSE(number.isInteger) << text;
        EXPECT_EQ(std::bit_cast<std::uint64_t>(number.real), std::bit_cast<std::uint64_t>(value)) << text;
    }
    EXPECT_EQ(parseNumber("9223372036854775807")->integer, std::numeric_limits<std::int64_t>::max());
    for (const char* text : {"-9223372036854775808", "-0x8000000000000000"})
        EXPECT_EQ(parseNumber(text)->integer, std::numeric_limits<std::int64_t>::min());
    EXPECT_TRUE(parseNumber("-0")->isInteger && std::signbit(parseNumber("-0")->real));
    EXPECT_TRUE(std::isnan(parseNumber("nan")->real));
}

TEST(Numbers, AMalformedNumberIsRefused) {
    for (const char* text : {"",  "-",   "+-1", "--1", "1e", "1e+", "0x",  "0x-1",     "0xg",    "12abc", "1.2.3",
                             ".", ".e1", "1,5", " 1",  "1 ", "NaN", "INF", "infinity", "nan(1)", "0x1p3", "1_0"}) {
        EXPECT_FALSE(parseNumber(text)) << text;
        EXPECT_EQ(whyNoNumber(text), libzepl::quoted(text) + " is not a number");
    }
    for (const char* text :
         {"9223372036854775808", "-9223372036854775809", "0x8000000000000000", "99999999999999999999"})
        EXPECT_EQ(whyNoNumber(text),
                  libzepl::quoted(text) + " is beyond the integers of 64 bits: with a point it is a double");
    for (const char* text : {"1e309", "-1e309", "1e-400"})
        EXPECT_EQ(whyNoNumber(text), libzepl::quoted(text) + " is too large or too small for a double");
}

TEST(Numbers, TheShortestTextOfADoubleReadsBackAsIt) {
    std::mt19937_64 random(20240607);
    for (int i = 0; i < 20000; ++i) {
        const double value = std::bit_cast<double>(random());
        if (!std::isfinite(value)) continue;
        char text[32];
        const auto [end, error] = std::to_chars(text, text + sizeof text, value, std::chars_format::scientific);
        ASSERT_EQ(error, std::errc());
        ASSERT_EQ(parseNumber({text, static_cast<std::size_t>(end - text)})->real, value);
    }
}

TEST(Numbers, ATypeHoldsAndStoresTheValuesOfItsRange) {
    const auto stored = [](ElementType type, const char* text) {
        std::uint64_t cell = 0;
        storeNumber(type, *parseNumber(text), &cell);
        return cell;
    };
    // how many of the integer types hold it
    const std::vector<std::pair<const char*, int>> held{
        {"32767", 2},      {"32768", 1},       {"-32768", 2},      {"-32769", 1}, {"2147483647", 1},
        {"2147483648", 0}, {"-2147483648", 1}, {"-2147483649", 0}, {"1.0", 0},    {"nan", 0}};
    for (const auto& [text, types] : held) {
        EXPECT_EQ(holds(ElementType::int16, *parseNumber(text)), types == 2) << text;
        EXPECT_EQ(holds(ElementType::int32, *parseNumber(text)), types >= 1) << text;
        EXPECT_TRUE(holds(ElementType::float32, *parseNumber(text))) << text;
    }
    // The middle between the greatest float and the next power of two is the first that is none.
    for (const char* text : {"3.4028235677973362e38", "-3.4028235677973362e38", "inf", "-inf", "9223372036854775807"})
        EXPECT_TRUE(holds(ElementType::float32, *parseNumber(text))) << text;
    EXPECT_EQ(stored(ElementType::float32, "3.4028235677973362e38"), 0x7F7FFFFFu);
    for (const char* text : {"3.4028235677973366e38", "-3.4028235677973366e38", "1e308"})
        EXPECT_FALSE(holds(ElementType::float32, *parseNumber(text))) << text;
    EXPECT_EQ(stored(ElementType::int16, "-2"), 0xFFFEu);
    EXPECT_EQ(stored(ElementType::int32, "-2"), 0xFFFFFFFEu);
    EXPECT_EQ(stored(ElementType::float32, "0.1"), 0x3DCCCCCDu);
    EXPECT_EQ(stored(ElementType::float32, "16777217"), 0x4B800000u);  // half way, to even
    EXPECT_EQ(stored(ElementType::float64, "-2"), 0xC000000000000000u);
}

}  // namespace
}  // namespace libzepl
