// zepl commands, zepl help and zepl version.

#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/support/session_support.h"
#include "tool_support.h"

namespace libzepl {
namespace {

using Catalogue = ToolTest;

TEST_F(Catalogue, CommandsAreListedByAreaWithASummary) {
    const std::string all = call("commands").out;
    EXPECT_TRUE(all.starts_with("Arithmetic, sample by sample\n  ABS         absolute value\n")) << all;
    EXPECT_NE(all.find("\n\nSpectra and correlation\n  CORRELATE   correlation of two signals"), std::string::npos)
        << all;
    for (const Command& command : testLibrary().commands())
        EXPECT_TRUE(command.module != "zcmds3" || all.find("\n  " + command.name + " ") != std::string::npos)
            << command.name;
    const std::string row = "ABS               0  ( in pipe (int16|int32|float|double) src , out typeof(src) dest )\n";
    EXPECT_TRUE(call("commands --signatures").out.starts_with(row));
}

TEST_F(Catalogue, TheNearestOfWhatIsSearchedComesFirst) {
    const auto first = [&](const std::string& word) {
        std::istringstream found(call("commands " + word, "/dev/null", {}, "COLUMNS=200").out);
        std::string names, name;
        for (std::string line; names.size() < 12 && std::getline(found, line); names += name + " ")
            name = line.substr(2, line.find(' ', 2) - 2);
        return names;
    };
    EXPECT_EQ(first("low").substr(0, 4), "LOW ");
    EXPECT_EQ(first("fir").substr(0, 21), "FIRFILTER FIRLOWPASS ");    // by name, before summaries
    EXPECT_EQ(first("thermocouple").substr(0, 7), "THERMO ");          // by summary
    EXPECT_EQ(first("'events in each minute'"), "FREQUENCY TSTAMP ");  // by the index of tasks alone
    EXPECT_NE(call("commands typeof").out.find("ABS "), std::string::npos);
    const Called none = call("commands xyzzy");
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(none.out, "no command has `xyzzy` in its name, tasks, signature or page\n");
    EXPECT_EQ(call("commands xyzzy --json").out, "[]\n");
}

TEST_F(Catalogue, TheJsonListHasEveryCommandWithItsFields) {
    const nlohmann::json list = nlohmann::json::parse(
        call("commands --json --module '" TEST_MODULE_FILE "' --module '" TEST_PROBE_FILE "'").out);
    EXPECT_EQ(list.front()["name"], "ABS");
    EXPECT_EQ(list.front()["signature"],
              "( in    pipe     (int16|int32|float|double)  src ,   out   typeof(src)   dest  )");
    EXPECT_EQ(list.back(),
              nlohmann::json::parse(R"({"name": "UNKNOWNHANDLE", "module": "probe", "area": "Of the module probe",
                                                     "summary": "", "taskSpace": 0, "attributes": 2147483648, "signature": null})"));
}

TEST_F(Catalogue, HelpShowsThePageAndTheParameters) {
    const Called help = call("help abs", "/dev/null", {}, "COLUMNS=60");
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.out,
              "ABS - absolute value\n\n"
              "Gives the absolute value of each sample of `src` on `dest`,\nwhich has the same element type.\n\n"
              "- int16 and int32: the most negative value has no positive\n"
              "  counterpart and becomes the greatest value of the type:\n  -32768 gives 32767.\n"
              "- float and double: the sign is cleared, also of zeros,\n  infinities and NaNs.\n\n"
              "Samples leave as they come: ABS waits for no full block and\n"
              "adds no delay. A block has at most 1000 samples.\n\nExample:\n\n"
              "    pipe ecg       : int16 from \"data/ecg208.wav\"\n    pipe rectified : int16 to \"rectified.wav\"\n"
              "    ABS (ecg, rectified)\n\nParameters\n"
              "in src: a pipe of int16, int32, float or double\nout dest: a pipe of the same type as `src`\n");
    EXPECT_EQ(call("help PAIR --module '" TEST_PROBE_FILE "'").out,
              "PAIR, of the module probe\n\nIt has no signature: the command checks its parameters itself.\n");
    EXPECT_TRUE(call("help").out.starts_with(call("--help").out));
    EXPECT_EQ(call("help repport").err,
              "zepl: error: there is no command or topic `repport`\n  did you mean `report`?\n");
}

// Code keeps its lines, and a word that is wider than the screen has a line of its own.
TEST_F(Catalogue, HelpIsFittedToAnyWidth) {
    std::vector<std::string> words{"language", "files", "batch",  "feeding", "live",      "errors",
                                   "report",   "plots", "BIRAMP", "MERGEF",  "FIRFILTER", "TOGGWT"};
    for (const int width : {40, 80, 200})
        for (const std::string& word : words) {
            const Called help = call("help " + word, "/dev/null", {}, "COLUMNS=" + std::to_string(width));
            ASSERT_EQ(help.status, 0) << word;
            EXPECT_EQ(help.out.find("|--"), std::string::npos) << word;
            EXPECT_EQ(help.out.find('\033'), std::string::npos) << word;
            std::istringstream lines(help.out);
            for (std::string line; std::getline(lines, line);) {
                const auto columns = std::count_if(line.begin(), line.end(), [](char c) { return (c & 0xC0) != 0x80; });
                const bool isCode = line.starts_with("    ");
                const bool isOneWord = line.find(' ', line.find_first_not_of(" -")) == std::string::npos;
                EXPECT_TRUE(columns <= width || isCode || isOneWord) << word << " at " << width << ": " << line;
            }
        }
}

TEST_F(Catalogue, EveryTopicHasItsSections) {
    for (const char* word : {"language", "files", "batch", "feeding", "live", "errors", "report", "plots", "editors"})
        EXPECT_GT(call("help " + std::string(word)).out.size(), 500U) << word;
}

TEST_F(Catalogue, TheVersionsOfRuntimeAndModuleAreShown) {
    EXPECT_EQ(call("version").out,
              "runtime: build 1.00, interface 1.04\n"
              "module zcmds3: build 1.52, interface 1.04, compatible with this runtime\n");
    EXPECT_EQ(call("--version").out, call("version").out);
}

}  // namespace
}  // namespace libzepl
