// Signatures: how they are parsed, which lists they match and with which kinds, and how a mismatch is explained.

#include "runtime/signature.h"

#include <sstream>
#include <tuple>

#include "tests/runtime/signature_support.h"
#include "tests/support/session_support.h"

namespace libzepl {
namespace {

std::string signatureOf(const char* command) { return testLibrary().find(command)->signature.value(); }

const char* const chirp =
    "(in storage (int16|int32|float|double) ampl, in storage (int16|int32) sweep, const storage anyfloat phase, out "
    "pipe contentof(ampl) chirp)";

// Each case is a list and the kinds that it is passed as: "int16, 5 -> int16 number:int16; int16, trigger -> none".
void checkMatches(const std::string& signature, const std::string& cases) {
    std::istringstream text(cases);
    for (std::string one; std::getline(text >> std::ws, one, ';');) {
        const std::size_t arrow = one.find(" -> ");
        const std::string list = one.substr(0, arrow), kinds = one.substr(arrow + 4);
        EXPECT_EQ(matched(signature, list), kinds) << signature << "\n" << list;
        EXPECT_EQ(explained(signature, list).empty(), kinds != "none") << signature << "\n" << list;
    }
}

TEST(Signature, EachMistakeIsReportedAtItsPlace) {
    const std::vector<std::tuple<std::string, int, std::string>> cases{
        {"", 1, "expected `(`, found the end"},
        {"(in int16 a", 12, "expected `)`, found the end"},
        {"(in int16 a) b", 14, "expected the end, found `b`"},
        {"(in int16 a in int16 b)", 13, "expected `,`, found `in`"},
        {"(in int16 a,, in int16 b)", 13, "expected a parameter, found `,`"},
        {"(in int16 a | )", 15, "expected a parameter, found `)`"},
        {"([], in int16 a)", 3, "expected a parameter, found `]`"},
        {"(,)", 3, "expected a parameter, found `)`"},
        {"(in int16 a [, in int16 b)]", 26, "expected `]`, found `)`"},
        {"([in int16 a]+*)", 15, "expected a parameter, found `*`"},
        {"((in int16 a)+)", 14, "expected a parameter, found `+`"},
        {"(in pipe int64 a)", 10, "expected a type, found `int64`"},
        {"(in pipe (int16|) a)", 17, "expected a type, found `)`"},
        {"(in trigger int16 a)", 19, "expected `,`, found `a`"},
        {"(in int16)", 10, "expected the parameter's name, found `)`"},
        {"(in int16 5)", 11, "a signature has no place for `5`"},
        {"(in typeof(a) a)", 12, "no parameter `a` comes before this"},
        {"((in int16 a | out typeof(a) b))", 27, "no parameter `a` comes before this"},
        {"(in int16 vector[valueof(n)] a)", 26, "no parameter `n` comes before this"},
        {"(in int16 vector[int16] a)", 18, "expected uint16, uint32 or valueof, found `int16`"},
        {"(in int16 a, in typeof(a) vector[uint16] b)", 27, "a vector's elements are scalars"},
        {"(in pipe (int16|string) a)", 10, "a pipe carries scalars, not texts, words or vectors"},
        {"(in keyword set {} a)", 18, "expected a keyword, found `}`"},
        {std::string(65537, ' '), 1, "a signature is at most 65536 bytes long"},
        {std::string(33, '('), 33, "brackets are nested more than 32 deep"},
        {"(in " + std::string(32, '('), 36, "brackets are nested more than 32 deep"},
    };
    for (const auto& [text, byte, message] : cases) {
        for (const bool isParsed : {true, false}) {
            try {
                isParsed ? static_cast<void>(parseSignature(text)) : static_cast<void>(checkSignature(text));
                ADD_FAILURE() << text << " was taken";
            } catch (const SignatureError& error) {
                EXPECT_EQ(error.what(), message + " (at byte " + std::to_string(byte) + " of the signature)") << text;
                EXPECT_EQ(error.offset(), byte - 1) << text;
            }
        }
    }
}

TEST(Signature, CommasAndBlanksDoNotChangeTheMeaning) {
    for (const std::string signature :
         {"(in int16 a,in pipe int16 b[,out pipe int16 c])",
          "( in int16 a , in pipe int16 b [ , out pipe int16 c , ] ) ",
          "(\tin int16 a\n,(in pipe int16 b,|,in trigger b)[out pipe int16 c],)",
          "(,in int16 a(,in pipe int16 b|in trigger b[,in string d])[out pipe int16 c])"}) {
        EXPECT_EQ(matched(signature, "1, int16, int16"), "number:int16 int16 int16") << signature;
        EXPECT_EQ(matched(signature, "1, int16"), "number:int16 int16") << signature;
    }
    EXPECT_EQ(matched(std::string(32, '(') + "in int16 a" + std::string(32, ')'), "5"), "number:int16");
    EXPECT_EQ(matched("()", ""), "");
    EXPECT_EQ(matched("()", "1"), "none");
}

TEST(Signature, GroupsAdmitTheirCountsInOrder) {
    checkMatches("([in trigger s,]+ out trigger d[,in int16 tol])",
                 "trigger, trigger, trigger, 5 -> trigger trigger trigger number:int16");
    checkMatches("([in trigger s,]+ out trigger d)", "trigger -> none");
    checkMatches("(in pipe int16 s [,in typeof(s) more]*, const int16 n)",
                 "int16, 5 -> int16 number:int16; int16, int16, int16, 5 -> int16 int16 int16 number:int16");
    checkMatches("(in int16 a [,in int16 b] [,in string c [,in pipe int16 d]])",
                 "1, \"x\", int16 -> number:int16 text int16; 1, int16 -> none");
    checkMatches("(in int16 a (, in int16 vector[valueof(a)] v | [, in int16 v]+), out pipe int16 d)",
                 "2, 1, 2, int16 -> number:int16 number:int16 number:int16 int16; 2, [0]:int16, int16 -> number:int16 "
                 "vector:int16 int16");
    checkMatches("([in int16 a | in trigger t,] in pipe int16 p)", "trigger, int16 -> trigger int16");
    checkMatches("([[in int16 a,]*]+ in pipe int16 p)", "1, 2, int16 -> number:int16 number:int16 int16");
}

TEST(Signature, AKindAdmitsItsOwnArgumentsOnly) {
    const std::string number = "(in storage anyscalar x)", result = "(out storage (int32|double) x)",
                      window = "(const (anyscalar vector[uint32] | int16) x)",
                      words = "(const (keyword set {AB,CD} | keyword region) x)";
    checkMatches("(in pipe anyfixed x)", "int32 -> int32; float -> none; variable:int16 -> none");
    checkMatches("(in pipe (int8|int16) x)", "int16 -> int16");
    checkMatches(number,
                 "variable:float -> variable:float; 5:double -> number:double; [0]:int16 -> none; trigger -> none");
    checkMatches("(const storage anyfloat x)", "variable:double -> variable:double");
    checkMatches("(const anyfloat x)", "variable:int16 -> none");
    checkMatches(result, "variable:int32 -> variable:int32; variable:int16 -> none; 5 -> none; 5:int32 -> none");
    checkMatches(window, "[0]:double -> vector:double; 5 -> number:int16; 1.5 -> none");
    checkMatches("(const (int16|string) x)", "\"a\" -> text");
    checkMatches("(const string x)", "a -> none");
    checkMatches("(out string x)", "\"a\" -> none");
    checkMatches("(out float vector[uint16] x)", "[0]:float -> none");
    checkMatches(words, "AB -> declared; outside -> host; ab -> none; \"AB\" -> none");
    checkMatches("(const keyword colours x)", "inside -> none");
    checkMatches("(in trigger x)", "trigger -> trigger; int16 -> none");
}

TEST(Signature, ALiteralTakesTheFirstTypeThatHoldsIt) {
    const std::string any = "(const (float|double|int32|int16) x)", unsigneds = "(const (int16|uint16|int32|uint32) x)";
    checkMatches(any,
                 "32767 -> number:int16; 32768 -> number:int32; -32769 -> number:int32; 2147483648 -> number:double; "
                 "1.0 -> number:double; nan -> number:double");
    checkMatches("(const (int16|float) x)", "32768 -> number:float");
    checkMatches("(const anyfixed x)", "1.0 -> none");
    checkMatches("(const int16 x)", "1:int32 -> none");
    checkMatches("(const uint16 x)",
                 "65535 -> number:int16; 65536 -> none; -1 -> none; variable:int16 -> variable:int16");
    checkMatches("(const (int16|uint16) x)", "-32768 -> number:int16");
    checkMatches("(const (uint16|double) x)", "40000 -> number:int16");
    checkMatches("(const (int32|uint16) x)", "5 -> number:int16");
    checkMatches(unsigneds, "40000 -> number:int32; 4294967295 -> number:int32; 4294967296 -> none");
}

TEST(Signature, AReferenceFollowsWhatItRefersTo) {
    const std::string bound = "(in pipe anyscalar src, in storage elementof(src) low, out typeof(src) dest)",
                      table = "(in pipe anyscalar s, const elementof(s) vector[uint16] x, const contentof(x) y)",
                      same = "(in (anyscalar | string) a, out pipe int16 p, const typeof(a) b)";
    checkMatches(bound,
                 "int16, 5, int16 -> int16 number:int16 int16; int16, 5, int32 -> none; int16, 40000, int16 -> none; "
                 "int32, 5, int32 -> int32 number:int32 int32; int32, 5:int16, int32 -> int32 number:int16 int32; "
                 "int32, variable:int16, int32 -> int32 variable:int16 int32; int16, variable:int32, int16 -> none; "
                 "double, 5, double -> double number:double double; double, variable:float, double -> none; float, "
                 "5:int16, float -> none; int16, 5, variable:int16 -> none");
    checkMatches("(in pipe int16 a, in storage typeof(a) b)", "int16, 5 -> int16 number:int16");
    checkMatches(signatureOf("OFFSET"), "float, 1, float -> float number:float float");
    checkMatches(table,
                 "float, [0]:float, [0]:float -> float vector:float vector:float; float, [0]:float, [0]:double -> "
                 "none; float, [0]:double, [0]:double -> none; float, [0]:float, 5 -> none");
    checkMatches(same,
                 "5, int16, 7 -> number:int16 int16 number:int16; variable:double, int16, 7 -> variable:double int16 "
                 "number:double; variable:int32, int16, variable:int16 -> none; \"a\", int16, \"b\" -> text int16 "
                 "text; \"a\", int16, 5 -> none");
}

TEST(Signature, ANameInSeveralAlternativesRefersToTheOneTaken) {
    const std::string signature =
        "(in pipe int16 a, (in pipe float a, in string s | in pipe double b, in string s), out typeof(a) c)";
    checkMatches(signature,
                 "int16, float, \"x\", float -> int16 float text float; int16, double, \"x\", int16 -> int16 double "
                 "text int16; int16, double, \"x\", double -> none");
    checkMatches("(in pipe int16 a, (in int16 b | in typeof(a) c))", "int16, int16 -> int16 int16");
    checkMatches("((in pipe int16 a | in trigger t) out typeof(a) b)", "int16, int16 -> int16 int16");
    checkMatches("([in pipe int16 a,] out typeof(a) b)", "int16, int16 -> int16 int16; int16 -> none");
}

TEST(Signature, TypesOfLiteralsAreSearchedUntilTheWholeListFits) {
    const std::string twoLiterals =
        "(const anyscalar a, const anyscalar b, out pipe contentof(a) c, out pipe contentof(b) d)";
    checkMatches(chirp,
                 "100, 5, 0.5, int16 -> number:int16 number:int16 number:double int16; 100, 5, 0.5, int32 -> "
                 "number:int32 number:int16 number:double int32; 100, 5, 0, float -> number:float number:int16 "
                 "number:double float; 100.5, 5, 0.5, int32 -> none; 100:int16, 5, 0.5, int32 -> none");
    checkMatches(twoLiterals, "1, 1, float, int32 -> number:float number:int32 float int32");
}

TEST(Signature, TheListsOfRealCommandsAreMatched) {
    checkMatches(signatureOf("SINEWAVE"),
                 "100, 1000, int16 -> number:int16 number:int16 int16; -1.0, 1, 0.1, 0.001, float -> number:double "
                 "number:int16 number:double number:double float; -1, 1, 0.1, 90, 0.001, float, \"am\", int16, \"fm\", "
                 "float -> number:int16 number:int16 number:double number:double number:double float text int16 text "
                 "float; 100, 1000, int16, \"am\" -> none");
    checkMatches(
        signatureOf("MERGEF"),
        "int16, float, float -> int16 float float; int16, float, int16 -> int16 float int16; int32, float -> none");
    checkMatches(
        signatureOf("MIXRFFT"),
        "256, int16, HALF, PARTS, float -> number:int16 int16 declared declared float; 256, REVERSE, KAISER, 2.5, "
        "float, float, FULL, POLAR, \"b\", double, double -> number:int16 declared declared number:double float float "
        "declared declared text double double; 99999, [0]:int32, double, HALF, POWER, float -> number:int32 "
        "vector:int32 double declared declared float; 256, FORWARD, FORWARD, int16, HALF, PARTS, float -> none");
    checkMatches(signatureOf("DFT"),
                 "4, 256, 0, [0]:int16, int16, int32 -> number:int16 number:int16 number:int16 vector:int16 int16 "
                 "int32; 4, 256, [0]:float, [0]:int32, double, double, double -> number:int16 number:int16 "
                 "vector:float vector:int32 double double double; 4, 256, 0, [0]:float, int16, int32 -> none");
}

TEST(Signature, AHostileSignatureIsGivenUpSoon) {
    std::string nested = "in trigger t";
    for (int depth = 0; depth < 30; ++depth) nested = "[" + nested + "]+[" + "in trigger t" + "]*";
    std::string many;
    for (int i = 0; i < 20; ++i) many += i == 0 ? "trigger" : ", trigger";
    EXPECT_EQ(matched("(" + nested + " in int16 a)", many), "none");
    std::string tied = "(const anyscalar a0", numbers = "1";
    for (int i = 1; i < 30; ++i) {
        tied += ", const (typeof(a" + std::to_string(i - 1) + ")|anyscalar) a" + std::to_string(i);
        numbers += ", 1";
    }
    EXPECT_EQ(matched(tied + ", in trigger t)", numbers), "none");
}

TEST(Signature, AMismatchIsExplainedAtItsPlace) {
    EXPECT_EQ(explained(signatureOf("OFFSET"), "int16, 1.5, int16"),
              "  1 src: a pipe of int16, int32, float or double; given `int16`, a pipe of int16\n"
              "  2 offset: a value of the same type as `src` (int16); but given 1.5, a number with a point\n");
    EXPECT_EQ(explained(signatureOf("OFFSET"), "int16, 40000"),
              "  1 src: a pipe of int16, int32, float or double; given `int16`, a pipe of int16\n"
              "  2 offset: a value of the same type as `src` (int16); but given 40000, a whole number beyond int16\n");
    EXPECT_EQ(explained(signatureOf("OFFSET"), "variable:int16"),
              "  1 src: a pipe of int16, int32, float or double; but given `variable:int16`, a variable of int16\n");
    EXPECT_EQ(explained(signatureOf("SINEWAVE"), "100, 5:double"),
              "  1 peak: a value of int16, int32, float or double; given 100, a whole number\n"
              "  2 period: a value of int16, int32, float or double; given 5:double, a constant of double\n"
              "  3 dest: a pipe of int16, int32, float or double; missing\n");
    EXPECT_EQ(explained("(in trigger t, [const int16 n,] (in string s | out int32 v), const keyword region r)",
                        "trigger, 3000000000"),
              "  1 t: a trigger; given `trigger`, a trigger\n"
              "  2 n: a value of int16; or s: a text; or v: a variable of int32; but given 3000000000, a whole number "
              "beyond int32\n");
    EXPECT_EQ(explained("([in trigger t,]+ [const int16 n,] (in string s | out int32 v), const keyword k {A} r)", ""),
              "  1 t: a trigger; missing\n  2 s: a text; missing\n  3 r: the word A; missing\n");
    EXPECT_EQ(explained("(in int16 a[,in int16 b])", "1, a"),
              "  1 a: a value of int16; given 1, a whole number\n"
              "  2 b: a value of int16; or no more parameters; but given `a`, a word\n");
    EXPECT_EQ(explained("(in int16 a)", "1, \"x\", 2"),
              "  1 a: a value of int16; given 1, a whole number\n"
              "  2 too many parameters; but given `\"x\"`, a text\n");
}

TEST(Signature, TheLayoutShowsEveryPartOfASignature) {
    EXPECT_EQ(
        layOut(parseSignature("(in pipe anyfixed a[, out storage elementof(a) b]*, (const keyword region r, | const "
                              "keyword k {X,Y,Z} w [in trigger t]+) const float vector[valueof(a)] v, const "
                              "contentof(v) u, const (string|typeof(a)) q, out pipe uint16 o)")),
        "in a: a pipe of int16 or int32\n"
        "any number of times, or not at all\n"
        "    out b: a variable of the same type as `a`\n"
        "either\n"
        "    const r: the word inside or outside\n"
        "or\n"
        "    const w: one of the words X, Y or Z\n"
        "    one or more times\n"
        "        in t: a trigger\n"
        "const v: a vector of float, its length the value of `a`\n"
        "const u: a vector of the same type as `v`\n"
        "const q: a text or a pipe of the same type as `a`\n"
        "out o: a pipe of uint16\n");
    EXPECT_EQ(layOut(parseSignature("(in pipe int16 a, (in int16 a | out typeof(a) c), out typeof(c) d)")),
              "in a: a pipe of int16\neither\n    in a: a value of int16\nor\n"
              "    out c: a pipe of the same type as `a`\nout d: a pipe of the same type as `c`\n");
}

TEST(Signature, TheWordsOfARegionHaveTheirValues) {
    EXPECT_EQ(regionValue("inside"), 0);
    EXPECT_EQ(regionValue("outside"), 1);
    EXPECT_EQ(regionValue("beside"), std::nullopt);
}

TEST(Signature, DeclaredWordsAreListed) {
    EXPECT_EQ(checkSignature(signatureOf("MIXRFFT")),
              (std::vector<std::string>{"FORWARD", "REVERSE", "BARTLETT", "VONHANN", "HAMMING", "BLACKMAN", "KAISER",
                                        "RECTANGULAR", "HALF", "FULL", "PARTS", "POWER", "MAGNITUDE", "POLAR"}));
    EXPECT_EQ(checkSignature("(in (keyword a {X,Y} | keyword b {Y,Z} | keyword region) c)"),
              (std::vector<std::string>{"X", "Y", "Z"}));
}

}  // namespace
}  // namespace libzepl
