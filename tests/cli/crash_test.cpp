// What is left when a module damages the memory of the process: the message, the report, and no half of a file.

#include <nlohmann/json.hpp>

#include "runtime/engine/context.h"
#include "tool_support.h"

namespace libzepl {
namespace {

using Crash = ToolTest;

const std::string probe = " --module '" TEST_PROBE_FILE "' --module '" TEST_MODULE_FILE "'";
const char* const remedy =
    "  the run cannot continue, since memory may be damaged, and the outputs are dropped; it is a fault of the "
    "command: "
    "report "
    "it to the author of its module\n";

std::string procedureOf(const std::string& steps) {
    return "pipe a : int32 from \"in.csv\"\npipe b : int32 to \"out.csv\"\nABS (a, b)\nSCRIPT (\"" + steps + "\", a)\n";
}

TEST_F(Crash, IsSaidWithItsTaskAndLeavesTheFilesAsTheyWere) {
    put("out.csv", "kept");
    put("r.json", "old");
    const struct {
        const char* steps;
        const char* happened;
    } cases[] = {
        {"null", "used a null pointer"},
        {"open_read:2 pipe_get:2 pipe_get:2 null", "used a null pointer"},
        {"open_read:2 pipe_get:2 wild", "accessed memory that is not its own"},
        {"abort", "aborted the program"},
        {"trap", "ran into an instruction that the processor refuses"},
    };
    for (const auto& [steps, happened] : cases) {
        put("p.zp", procedureOf(steps));
        const std::set<std::string> before = files();
        const Called called = call("run p.zp --report r.json" + probe);
        EXPECT_EQ(called.status, 1) << steps;
        EXPECT_EQ(called.err, "p.zp:4:1: error: SCRIPT: " + std::string(happened) + "\n  SCRIPT (\"" + steps +
                                  "\", a)\n  ^~~~~~\n" + remedy);
        EXPECT_EQ(files(), before) << steps;
        EXPECT_EQ(bytesOf("out.csv"), "kept") << steps;
        const auto report = nlohmann::json::parse(bytesOf("r.json"));
        EXPECT_EQ(report["procedure"], "p.zp");
        EXPECT_EQ(report["status"], "failed");
        EXPECT_EQ(report["tasks"][0]["command"], "ABS");
        EXPECT_EQ(report["tasks"][1],
                  nlohmann::json({{"line", 4}, {"command", "SCRIPT"}, {"state", "fault"}, {"text", happened}}));
        EXPECT_EQ(report["pipes"][1]["name"], "b");
    }
}

TEST_F(Crash, OfASetUpIsSaidByACheckToo) {
    put("p.zp", procedureOf("null"));
    EXPECT_EQ(call("check p.zp" + probe).status, 1);
    EXPECT_FALSE(files().contains("out.csv"));
}

TEST_F(Crash, GoesIntoAReportOnAStreamOrThroughALink) {
    put("p.zp", procedureOf("null"));
    const Called streamed = call("run p.zp --report /dev/stdout" + probe);
    EXPECT_EQ(nlohmann::json::parse(streamed.out)["tasks"][1]["state"], "fault");
    put("there.json", "old");
    std::filesystem::create_symlink("there.json", at("r.json"));
    EXPECT_EQ(call("run p.zp --report r.json" + probe).status, 1);
    EXPECT_TRUE(std::filesystem::is_symlink(at("r.json")));
    EXPECT_EQ(nlohmann::json::parse(bytesOf("there.json"))["status"], "failed");
}

TEST_F(Crash, OfALoadedModuleIsSaidWithTheModule) {
    put("p.zp", "");
    const std::pair<const char*, const char*> cases[] = {
        {"install_crashes", "used a null pointer"},
        {"install_exits", "called exit(0)"},
#if !defined(LIBZEPL_ADDRESS_SANITIZER)  // whose own loading lets the exception through
        {"start_up_throws", "aborted the program"},
#endif
    };
    for (const auto& [name, happened] : cases) {
        const std::string file = std::string(TEST_BAD_MODULE_DIR "/") + name + ".zlm";
        const Called called = call("run p.zp --module '" + file + "'");
        EXPECT_EQ(called.status, 2) << name;
        const std::string said = "zepl: error: the module `" + file + "` " + happened +
                                 " while it was loaded\n  it is a fault of the module: report it to its author\n";
        EXPECT_TRUE(called.err.ends_with(said)) << called.err;
    }
}

TEST_F(Crash, OfAForkOfACommandIsTheForksAlone) {
    put("p.zp", procedureOf("open_read:2 ?forkleave:11 ?forknull"));
    const Called called = call("run p.zp" + probe);
    EXPECT_EQ(called.status, 0);
#if defined(LIBZEPL_ADDRESS_SANITIZER)  // which takes the fork's signal for itself
    EXPECT_TRUE(called.err.starts_with("11\n")) << called.err;
#else
    EXPECT_TRUE(called.err.starts_with("11\n-11\n")) << called.err;
#endif
    EXPECT_EQ(bytesOf("out.csv"), "b\n1\n2\n3\n");
}

}  // namespace
}  // namespace libzepl
