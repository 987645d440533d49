// How mistakes are shown: the block of text, the caret, cut lines, the order, hints and suggestions.

#include "runtime/diagnostics.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace libzepl {
namespace {

TEST(Diagnostics, OneMistakeIsOneBlockOfText) {
    const SourceText source{"heart.zp", "rate 360\nDELTA (ecg, slop)\n"};
    const Diagnostic mistake{Severity::error, {2, 13, 4}, "unknown pipe `slop`", "did you mean `slope`?"};
    EXPECT_EQ(render(mistake, source),
              "heart.zp:2:13: error: unknown pipe `slop`\n"
              "  DELTA (ecg, slop)\n"
              "              ^~~~\n"
              "  did you mean `slope`?\n");
    const Diagnostic everywhere{Severity::warning, {}, "first\nsecond", "one\ntwo"};
    EXPECT_EQ(render(everywhere, source), "heart.zp: warning: first\n  second\n  one\n  two\n");
    EXPECT_EQ(render(everywhere, {}), "warning: first\n  second\n  one\n  two\n");
}

TEST(Diagnostics, TheCaretStandsUnderTheMistake) {
    struct Case {
        const char* text;
        Place place;
        const char* picture;
    };
    const std::vector<Case> cases{
        {"\ta\tbc", {1, 4, 2}, "  \ta\tbc\n  \t \t^~\n"},
        {"a\tb", {1, 1, 3}, "  a\tb\n  ^\t~\n"},
        {"\tx", {1, 1, 1}, "  \tx\n  ^\n"},
        {"\xC3\xA9\xC3\xA9 x", {1, 6, 1}, "  \xC3\xA9\xC3\xA9 x\n     ^\n"},  // two bytes are one column
        {"\xC3\xA9", {1, 2, 1}, "  \xC3\xA9\n   ^\n"},                        // a place inside a character
        {"a\x01\x7Fz", {1, 4, 1}, "  a\\x01\\x7Fz\n           ^\n"},
        {"\x1B[2J", {1, 1, 1}, "  \\x1B[2J\n  ^~~~\n"},
        {"\xC2\x9BzJ", {1, 3, 1}, "  \\xC2\\x9BzJ\n          ^\n"},  // a control character of two bytes
        {"\xFF\xC3", {1, 2, 1}, "  \\xFF\\xC3\n      ^~~~\n"},       // no UTF-8; a character cut short
        {"\xC0\xAF\xED\xA0\x80", {1, 6, 1}, "  \\xC0\\xAF\\xED\\xA0\\x80\n                      ^\n"},
        {"abc", {1, 4, 1}, "  abc\n     ^\n"},
        {"abc", {1, 99, 99}, "  abc\n     ^\n"},
        {"abc", {1, 2, 99}, "  abc\n   ^~\n"},
        {"a\r\nb\r\n", {1, 1, 1}, "  a\n  ^\n"},
        {"a\nb", {2, 1, 1}, "  b\n  ^\n"},
        {"a\n", {2, 1, 1}, "  \n  ^\n"},
        {"a\n", {3, 1, 1}, ""},
        {"\xEF\xBB\xBFyz", {1, 2, 1}, "  yz\n   ^\n"},
    };
    for (const Case& each : cases) {
        const std::string block = render(Diagnostic{Severity::error, each.place, "m", ""}, {"", each.text});
        EXPECT_EQ(block.substr(block.find('\n') + 1), each.picture) << each.text;
    }
}

TEST(Diagnostics, ALongLineIsCutAroundTheMistakeBetweenCharacters) {
    for (int column : {1, 2, 57, 58, 59, 120, 243, 244, 300, 301}) {
        std::string line(300, 'a');
        if (column <= 300) line[static_cast<std::size_t>(column - 1)] = 'X';
        std::istringstream block(render(Diagnostic{Severity::error, {1, column, 300}, "m", ""}, {"", line}));
        std::string message, shown, caret;
        std::getline(std::getline(std::getline(block, message), shown), caret);
        EXPECT_LE(shown.size(), 122u);
        EXPECT_EQ(caret.find('^'), column <= 300 ? shown.find('X') : shown.size()) << column;
        EXPECT_EQ(shown.substr(2, 3) == "...", column > 58) << column;
        EXPECT_EQ(shown.ends_with("..."), column < 244) << column;
    }
    std::string accents;
    for (int i = 0; i < 150; ++i) accents += "\xC3\xA9";
    for (int column = 1; column <= 301; ++column) {
        const std::string block = render(Diagnostic{Severity::error, {1, column, 1}, "m", ""}, {"", accents});
        EXPECT_EQ(block.find('\\'), std::string::npos) << column << '\n' << block;
    }
}

TEST(Diagnostics, MistakesAreReportedInTheOrderOfTheText) {
    const std::vector<Diagnostic> mistakes{{Severity::error, {3, 1, 1}, "c", ""},
                                           {Severity::warning, {1, 2, 1}, "b1", ""},
                                           {Severity::error, {1, 2, 1}, "b2", ""},
                                           {Severity::error, {1, 1, 1}, "a", ""},
                                           {Severity::error, {}, "whole", ""}};
    EXPECT_EQ(render(mistakes, {"p", "xy\n\nz"}),
              "p: error: whole\n"
              "p:1:1: error: a\n  xy\n  ^\n"
              "p:1:2: warning: b1\n  xy\n   ^\n"
              "p:1:2: error: b2\n  xy\n   ^\n"
              "p:3:1: error: c\n  z\n  ^\n");
    EXPECT_TRUE(hasErrors({mistakes[1], mistakes[0]}));
    EXPECT_FALSE(hasErrors({mistakes[1]}));
}

TEST(Diagnostics, AHintIsGivenOnceAndASuggestionOnceForEachName) {
    const std::vector<Diagnostic> mistakes{{Severity::error, {}, "no a", "declare it"},
                                           {Severity::error, {}, "no b", "declare it"},
                                           {Severity::error, {}, "no slop", "did you mean `slope`?"},
                                           {Severity::error, {}, "no sloe", "did you mean `slope`?"},
                                           {Severity::error, {}, "no slop", "did you mean `slope`?"}};
    EXPECT_EQ(render(mistakes, {}),
              "error: no a\n  declare it\nerror: no b\nerror: no slop\n  did you mean `slope`?\n"
              "error: no sloe\n  did you mean `slope`?\nerror: no slop\n");
}

TEST(Diagnostics, TheNearestNameIsSuggestedOrNone) {
    const std::vector<std::string> names{"slope", "DELTA", "delta2", "ecg", "gain", "gains", "x", std::string(65, 'a')};
    const std::vector<std::pair<std::string, std::string>> cases{
        {"slop", "slope"},   {"solpe", "slope"},  {"SLOPE", "slope"}, {"delta", "DELTA"},
        {"detla", "DELTA"},  {"DELTA3", "DELTA"}, {"ec", "ecg"},      {"eg", "ecg"},
        {"e", ""},           {"X", "x"},          {"y", ""},          {"", ""},
        {"gainss", "gains"}, {"slxpx", ""},       {"unheard", ""},    {std::string(64, 'a'), ""},
    };
    for (const auto& [given, nearest] : cases) EXPECT_EQ(nearestName(given, names), nearest) << given;
    EXPECT_EQ(suggestion("slop", names), "did you mean `slope`?");
    EXPECT_EQ(suggestion("unheard", names), "");
}

TEST(Diagnostics, QuotedTextIsEscapedAndCut) {
    EXPECT_EQ(libzepl::quoted("a\n\x1B\xC3\xA9\xFF"), "`a\\x0A\\x1B\xC3\xA9\\xFF`");
    EXPECT_EQ(libzepl::quoted(std::string(120, 'a')), '`' + std::string(120, 'a') + '`');
    EXPECT_EQ(libzepl::quoted(std::string(121, 'a')), '`' + std::string(117, 'a') + "...`");
    EXPECT_EQ(libzepl::quoted(std::string(116, 'a') + "\xC3\xA9xyz"), '`' + std::string(116, 'a') + "...`");
}

}  // namespace
}  // namespace libzepl
