// zepl commands, zepl help and zepl version.

#include <nlohmann/json.hpp>

#include "tool_support.h"

namespace libzepl {
namespace {

using Catalogue = ToolTest;

TEST_F(Catalogue, CommandsAreFoundByNameAndSignature) {
    const std::string row = "ABS               0  ( in pipe (int16|int32|float|double) src , out typeof(src) dest )\n";
    for (const char* word : {"ABS", "abs", "TypeOf"})
        EXPECT_NE(call("commands " + std::string(word)).out.find(row), std::string::npos) << word;
    const Called none = call("commands xyzzy");
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(none.out, "no command has `xyzzy` in its name or signature\n");
    EXPECT_EQ(call("commands xyzzy --json").out, "[]\n");
}

TEST_F(Catalogue, TheJsonListHasEveryCommandWithItsFields) {
    const nlohmann::json list = nlohmann::json::parse(
        call("commands --json --module '" TEST_MODULE_FILE "' --module '" TEST_PROBE_FILE "'").out);
    EXPECT_EQ(list.front()["name"], "ABS");
    EXPECT_EQ(list.front()["signature"],
              "( in    pipe     (int16|int32|float|double)  src ,   out   typeof(src)   dest  )");
    EXPECT_EQ(list.back(), nlohmann::json::parse(R"({"name": "UNKNOWNHANDLE", "module": "probe", "taskSpace": 0,
                                                     "attributes": 2147483648, "signature": null})"));
}

TEST_F(Catalogue, HelpShowsThePageAndTheParameters) {
    const Called help = call("help abs");
    EXPECT_EQ(help.status, 0);
    const std::string page = readTextFile(TEST_SOURCE_DIR "/docs/commands/ABS.md");
    EXPECT_EQ(help.out, page +
                            "\nParameters:\nin src: a pipe of int16, int32, float or double\n"
                            "out dest: a pipe of the same type as `src`\n");
    EXPECT_EQ(call("help PAIR --module '" TEST_PROBE_FILE "'").out,
              "PAIR, of the module probe\n"
              "Parameters:\n  It has no signature: the command checks its parameters itself.\n");
    EXPECT_EQ(call("help").out, call("--help").out);
}

TEST_F(Catalogue, TheVersionsOfRuntimeAndModuleAreShown) {
    EXPECT_EQ(call("version").out,
              "runtime: build 1.00, interface 1.04\n"
              "module zcmds3: build 1.52, interface 1.04, compatible with this runtime\n");
}

}  // namespace
}  // namespace libzepl
