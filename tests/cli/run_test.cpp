// zepl run and zepl check on procedures that are well.

#include <nlohmann/json.hpp>

#include "tool_support.h"

namespace libzepl {
namespace {

using ToolRun = ToolTest;

const char* const rectify =
    "pipe ecg : int16 from \"data/ecg208.wav\"\n"
    "pipe rectified : int16 to \"rectified.wav\"\n"
    "ABS (ecg, rectified)\n";

const char* const rectifyTable =
    "pipe a : int16 from \"in.csv\"\n"
    "pipe b : int16 to \"out.csv\"\n"
    "ABS (a, b)\n";

const std::string probe = " --module '" TEST_PROBE_FILE "'";

TEST_F(ToolRun, TheExampleRectifiesItsRecording) {
    std::filesystem::copy_file(TEST_SOURCE_DIR "/examples/rectify.zp", at("rectify.zp"));
    const Called called = call("run rectify.zp");
    EXPECT_EQ(called.status, 0);
    EXPECT_EQ(called.out, "");
    EXPECT_EQ(called.err, "wrote rectified.wav: 108000 samples of `rectified`\n");
    std::vector<std::int16_t> expected = elementsOf<std::int16_t>("data/ecg208.wav");
    for (std::int16_t& sample : expected)
        sample = sample == -32768 ? std::int16_t{32767} : static_cast<std::int16_t>(sample < 0 ? -sample : sample);
    EXPECT_EQ(elementsOf<std::int16_t>("rectified.wav"), expected);
    EXPECT_EQ(openSource(reading("rectified.wav"))->rate(), 360);
}

TEST_F(ToolRun, TheOutputIsTheSameHoweverTheInputArrives) {
    put("p.zp", rectify);
    ASSERT_EQ(call("run p.zp").status, 0);
    const std::string expected = bytesOf("rectified.wav");
    for (const std::string option : {"--feed 1", "--feed 1000", "--feed whole", "--feed random:1", "--feed random:2",
                                     "--block 1", "--memory 64M", "--start-time 4294967295"}) {
        remove("rectified.wav");
        EXPECT_EQ(call("run p.zp --quiet " + option).status, 0) << option;
        EXPECT_EQ(bytesOf("rectified.wav"), expected) << option;
    }
}

TEST_F(ToolRun, OptionsReachTheTasks) {
    const struct {
        const char* options;
        const char* step;
        const char* printed;
    } cases[] = {
        {"", "?sys_get_info:17", "1024\n"},
        {"--block 77", "?sys_get_info:17", "77\n"},
        {"", "?sys_get_info:30", "1\n"},
        {"--info 30=0 --info 4=0xFFFF", "?sys_get_info:4", "65535\n"},
        {"--start-time 5", "?sys_get_time", "5\n"},
        {"", "?value:2", "12\n"},
        {"--set v=-3", "?value:2", "-3\n"},
        {"--set v=0x10", "?value:2", "16\n"},
        {"--quiet --set v=1", "?value:2", ""},
    };
    for (const auto& each : cases) {
        put("p.zp", "variable v : int32 = 12\nSCRIPT (\"" + std::string(each.step) + "\", v)\n");
        const Called called = call("run p.zp " + std::string(each.options) + probe);
        EXPECT_EQ(called.status, 0) << each.options;
        EXPECT_EQ(called.err, each.printed) << each.options << " " << each.step;
    }
}

TEST_F(ToolRun, FilesAreRelativeToTheProcedureAndOptionsToTheCaller) {
    std::filesystem::create_directory(at("sub"));
    put("sub/p.zp", rectifyTable);
    put("sub/in.csv", "4\n-5\n");
    EXPECT_EQ(call("run sub/p.zp").err, "wrote sub/out.csv: 2 samples of `b`\n");
    EXPECT_EQ(bytesOf("sub/out.csv"), "b\n4\n5\n");
    // What the caller names is where the caller is.
    EXPECT_EQ(call("run sub/p.zp --in a=in.csv --out b=here.csv").err, "wrote here.csv: 3 samples of `b`\n");
    EXPECT_EQ(bytesOf("here.csv"), "b\n1\n2\n3\n");
}

TEST_F(ToolRun, ACheckLeavesNoFile) {
    put("p.zp", rectifyTable);
    const std::set<std::string> before = files();
    const Called called = call("check p.zp");
    EXPECT_EQ(called.status, 0);
    EXPECT_EQ(called.out, "");
    EXPECT_EQ(called.err, "p.zp: ready to run\n");
    EXPECT_EQ(files(), before);
    put("out.csv", "kept");
    EXPECT_EQ(call("check p.zp --quiet").err, "");
    EXPECT_EQ(bytesOf("out.csv"), "kept");
}

TEST_F(ToolRun, AProcedureWithoutCommandsCopiesOrSaysThatItDoesNothing) {
    const std::string nothing =
        ": warning: the procedure has no command, so it does nothing\n"
        "  add one, COMMAND ( argument, ... ); zepl commands lists them\n";
    for (const char* text : {"", "# later\n", "rate 5\nvariable v : int16 = 1\n", "pipe a : int16\ntrigger t\n"}) {
        put("none.zp", text);
        EXPECT_EQ(call("run none.zp").err, "none.zp" + nothing) << text;
        EXPECT_EQ(call("check none.zp").err, "none.zp" + nothing + "none.zp: ready to run\n") << text;
        EXPECT_EQ(call("run none.zp --quiet").status, 0) << text;
    }
    put("copy.zp", "pipe a : int16 from \"in.csv\"\n");
    const Called called = call("run copy.zp --out a=out.csv");
    EXPECT_EQ(called.err, "wrote out.csv: 3 samples of `a`\n");
    EXPECT_EQ(called.status, 0);
    EXPECT_EQ(bytesOf("out.csv"), "a\n-1\n2\n-3\n");
}

TEST_F(ToolRun, AWarningIsGivenOnceAndTheRunContinues) {
    put("p.zp", "pipe a : int16\npipe b : int16\nABS (a, b)\n");
    const std::string warning =
        "p.zp:1:6: warning: nobody writes `a`\n"
        "  pipe a : int16\n"
        "       ^\n"
        "  its readers would wait forever; give it a `from` file or a command that writes it\n";
    for (const auto& [options, said] : {std::pair("", warning.c_str()), {"--quiet", ""}}) {
        const Called called = call("run p.zp " + std::string(options));
        EXPECT_EQ(called.status, 0);
        EXPECT_EQ(called.err, said);
    }
}

class Reports : public ToolTest {
 protected:
    nlohmann::json reportOf(const std::string& procedure, const std::string& options, int status) const {
        put("p.zp", procedure);
        remove("r.json");
        EXPECT_EQ(call("run p.zp --report r.json --quiet " + options).status, status) << procedure;
        return nlohmann::json::parse(bytesOf("r.json"));
    }
};

TEST_F(Reports, ARunThatIsWellIsReported) {
    const nlohmann::json report = reportOf(rectifyTable, "", 0);
    EXPECT_EQ(report["procedure"], "p.zp");
    EXPECT_EQ(report["status"], "ok");
    EXPECT_EQ(report["module"], nlohmann::json::parse(R"({"name": "zcmds3", "build": 152, "interface": 104})"));
    EXPECT_EQ(report["tasks"], nlohmann::json::parse(R"([{"line": 3, "command": "ABS", "state": "waiting"}])"));
}

TEST_F(Reports, ATaskThatFailsIsNamedInTheReport) {
    const struct {
        const char* procedure;
        const char* options;
        int status;
        const char* task;
    } cases[] = {
        {"SCRIPT (\"exit:7\")", probe.c_str(), 1,
         R"({"line": 1, "command": "SCRIPT", "state": "exited", "exit": 7, "text": "ended itself with code 7"})"},
        {"pipe a : int16 from \"in.csv\"\npipe b : int32\nABS (a, b)", "", 2,
         R"({"line": 3, "command": "ABS", "state": "error", "code": 3, "index": 2,
             "text": "parameter 2, `b`: its element type differs from that of the parameter it goes with"})"},
        {"pipe a : int16 from \"in.csv\"\nABS (a, c)", "", 2,
         R"({"line": 2, "command": "ABS", "state": "refused", "text": "unknown name `c`"})"},
    };
    for (const auto& each : cases) {
        const nlohmann::json report = reportOf(each.procedure, each.options, each.status);
        EXPECT_EQ(report["status"], "failed") << each.procedure;
        EXPECT_EQ(report["tasks"][0], nlohmann::json::parse(each.task)) << each.procedure;
    }
}

TEST_F(Reports, AFailureOfTheRunIsInTheReport) {
    EXPECT_EQ(reportOf("pipe a : int16 from \"data/none.wav\"", "", 2)["notes"][0],
              "line 1: data/none.wav: there is no such file");
    put("words.csv", "1\ntwo\n");
    EXPECT_EQ(reportOf("pipe a : int16 from \"words.csv\" to \"b.csv\"", "", 1)["reason"],
              "words.csv:2: `two` in column 1 is no number");
}

}  // namespace
}  // namespace libzepl
