// zepl run --capture and zepl replay, as their users call them.

#include "tests/cli/tool_support.h"

namespace libzepl {
namespace {

class ReplayTool : public ToolTest {
 protected:
    // Counts up as raw int16.
    void putRamp(const std::string& name, std::size_t count) const {
        std::string bytes;
        for (std::size_t i = 0; i < count; ++i) {
            const auto sample = static_cast<std::uint16_t>(i);
            bytes += {static_cast<char>(sample & 0xFF), static_cast<char>(sample >> 8)};
        }
        put(name, bytes);
    }
    static bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }
};

// With arrays of one file, a vector from a file, a length, a table, a trigger on both sides, and constants that are set.
TEST_F(ReplayTool, ACaptureStandsAlone) {
    std::string table = "x,y\n";
    for (int i = 0; i < 3000; ++i) table += std::to_string(i * 7919 % 20011 - 10000) + "," + std::to_string(i) + "\n";
    put("in.csv", table);
    put("taps.csv", "0.25\n0.5\n0.25\n");
    put("beats.csv", "event,position\nassert,5\nassert,700\nstatus,2900\n");
    put("all.zp",
        "constant half = length(a) / 2\nconstant gain = 1\n"
        "pipe a[2] : int16 from \"in.csv\"\npipe d[2] : int16 = a * gain - half\npipe f : float = a[1]\npipe low : float\n"
        "vector taps : float from \"taps.csv\"\ntrigger beat from \"beats.csv\" to \"out.csv\"\n"
        "table \"table.csv\" : d[1], d[2]\nFIRFILTER (f, taps, 3, 1.0, 0, -1, low)\ntable \"low.csv\" : low\n");
    const Called run = call("run all.zp --set gain=3 --capture kept");
    ASSERT_EQ(run.status, 0) << run.err;
    for (const char* name : {"in.csv", "taps.csv", "beats.csv", "all.zp"}) std::filesystem::remove(at(name));
    const Called replay = call("replay kept --out table.csv=again.csv --out f=f.csv");
    EXPECT_EQ(replay.status, 0) << replay.err;
    EXPECT_TRUE(has(replay.err, "all 3 outputs are the same")) << replay.err;
    EXPECT_TRUE(has(replay.err, "note: `f` is not compared")) << replay.err;
    EXPECT_EQ(bytesOf("again.csv"), bytesOf("table.csv"));
    const Called other = call("replay kept --set gain=2");
    EXPECT_EQ(other.status, 0) << other.err;
    EXPECT_TRUE(has(other.err, "`table.csv` differs first among the rows 1 to 256, by round 2")) << other.err;
    EXPECT_TRUE(has(other.err, "`beat` is the same, 2 events")) << other.err;
}

TEST_F(ReplayTool, AnotherProcedureDiffersFromTheSampleOnThatItChanges) {
    putRamp("in.bin", 1000);
    put("p.zp", "pipe a : int16 from \"in.bin\"\npipe b : int16 = a + 1 to \"b.bin\"\n");
    struct Case {
        const char *block, *kept, *difference;
    };
    for (const Case& each : {Case{"64", "many", "among the samples 257 to 512, by round 16"},
                             {"4", "few", "among the samples 301 to 304, by round 152"}}) {
        const std::string kept = each.kept;
        ASSERT_EQ(call("run p.zp --block " + std::string(each.block) + " --capture " + kept).status, 0);
        put(kept + "/procedure.zp",
            "pipe a : int16 from \"in.bin\"\npipe b : int16 = if(a == 300, 0, a + 1) to \"b.bin\"\n");
        const Called replay = call("replay " + kept);
        EXPECT_EQ(replay.status, 1);
        EXPECT_TRUE(has(replay.err, kept + "/procedure.zp was changed since the run was captured")) << replay.err;
        EXPECT_TRUE(has(replay.err, std::string("the replay is not the run: `b` differs first ") + each.difference))
            << replay.err;
        EXPECT_EQ(call("replay " + kept + " --until 5").status, 0);
    }
}

TEST_F(ReplayTool, AnInputThatTheRunDidNotHaveIsNoted) {
    putRamp("in.bin", 100);
    const std::string start = "pipe a : int16 from \"in.bin\"\npipe c[2] : int16 from \"c.csv\"\n";
    put("c.csv", "x,y\n1,2\n");
    put("p.zp", start + "pipe b : int16 = a + c[1] + c[2] to \"b.bin\"\n");
    ASSERT_EQ(call("run p.zp --capture kept").status, 0);
    put("kept/procedure.zp", start +
                                 "pipe b : int16 = a + c[1] + c[2] to \"b.bin\"\npipe d : int16 from \"in.bin\"\n"
                                 "trigger t from \"t.csv\"\n");
    const Called replay = call("replay kept");
    EXPECT_EQ(replay.status, 0) << replay.err;
    for (const char* name : {"d", "t"})
        EXPECT_TRUE(
            has(replay.err, "note: `" + std::string(name) + "` gets nothing: the captured run had no such input\n"))
            << replay.err;
    EXPECT_FALSE(has(replay.err, "]` gets")) << replay.err;
}

TEST_F(ReplayTool, AnOutputOfAnotherLengthSaysWhatIsKnownOfIt) {
    putRamp("in.bin", 1000);
    const std::string start = "pipe a : int16 from \"in.bin\"\npipe b : int16 to \"b.bin\"\n";
    put("p.zp", start + "SKIP (a, 0, 500, 9999, b)\n");
    ASSERT_EQ(call("run p.zp --feed whole --capture kept").status, 0);
    struct Case {
        const char* task;
        std::string difference;
    };
    for (const Case& each :
         {Case{"SKIP (a, 0, 400, 9999, b)",
               "has fewer than the run gave: sample 401 is missing, which the run gave by round 9, and from "
               "sample 257 on others can differ"},
          {"SKIP (a, 0, 600, 9999, b)", "has more than the run gave: sample 501, in round 1"}}) {
        put("kept/procedure.zp", start + each.task + "\n");
        const Called replay = call("replay kept");
        EXPECT_EQ(replay.status, 1) << each.task;
        EXPECT_TRUE(has(replay.err, "the replay is not the run: `b` " + each.difference)) << replay.err;
    }
}

TEST_F(ReplayTool, AKilledRunIsReplayedAsFarAsItWent) {
    put("p.zp", "pipe a : int16 from \"-\"\npipe b : int16 = a * 2 to \"-\"\nvariable v : int16 = 1\n");
    LiveTool tool(folder_, {"run", "p.zp", "--capture", "kept"});
    std::size_t written = 0;
    for (const std::size_t n : {1000UL, 3UL, 5000UL}) {
        tool.write(std::string(2 * n, 'x'));
        EXPECT_EQ(tool.read(2 * n).size(), 2 * n);
        written += n;
    }
    tool.send(SIGKILL);
    EXPECT_EQ(tool.wait(), -1);
    EXPECT_TRUE(std::filesystem::exists(at("kept/ring")));
    const Called replay = call("replay kept --out b=b.bin");
    EXPECT_EQ(replay.status, 0) << replay.err;
    EXPECT_TRUE(has(replay.err, "note: the capture is cut off at round")) << replay.err;
    EXPECT_EQ(bytesOf("b.bin").size(), 2 * written);
}

// As after a loss of power, which files can come out of shorter than they were.
TEST_F(ReplayTool, ARunThatWasKilledIsReplayedWithoutTheEndOfAFile) {
    putRamp("in.bin", 6000000);
    put("p.zp", "pipe a : int16 from \"in.bin\"\npipe b : int16 to \"b.bin\"\nSKIP (a, 0, 1, 99, b)\n");
    EXPECT_EQ(call("run p.zp --feed 64 --capture kept", "/dev/null", {}, "ulimit -f 20480;").status, 1);
    ASSERT_TRUE(std::filesystem::exists(at("kept/ring")));
    for (const char* name : {"events", "elements"}) {
        const std::string file = std::string("kept/") + name, whole = bytesOf(file);
        ASSERT_GT(whole.size(), 100000U) << name;
        put(file, whole.substr(0, whole.size() / 2 + 1));
        const Called replay = call("replay kept");
        EXPECT_EQ(replay.status, 0) << replay.err;
        EXPECT_TRUE(has(replay.err, std::string(": its file `") + name)) << replay.err;
        put(file, whole);
    }
}

TEST_F(ReplayTool, NoFileOfTheCaptureIsWritten) {
    put("p.zp", "pipe x : double from \"in.csv\"\npipe y : double = x to \"y.csv\"\n");
    ASSERT_EQ(call("run p.zp --capture kept").status, 0);
    std::filesystem::create_symlink("kept/elements", at("link.csv"));
    std::filesystem::create_symlink("kept/new", at("nowhere.csv"));
    std::filesystem::create_hard_link(at("kept/events"), at("hard.csv"));
    for (const char* arguments : {"--report kept/run", "--report kept/new", "--report ./kept/../kept/procedure.zp",
                                  "--out y=link.csv", "--out y=nowhere.csv", "--out x=hard.csv"}) {
        const Called replay = call(std::string("replay kept ") + arguments);
        EXPECT_EQ(replay.status, 2) << arguments;
        EXPECT_TRUE(has(replay.err, std::string("error: ") + arguments + ": that file is one of the capture's folder"))
            << replay.err;
    }
    EXPECT_EQ(call("replay kept --out y=kept.csv").status, 0);
}

TEST_F(ReplayTool, WhereNothingIsComparedNothingIsTheSame) {
    putRamp("in.bin", 10000);
    put("p.zp", "pipe a : int16 from \"in.bin\"\npipe b : int16 = a to \"b.bin\"\n");
    ASSERT_EQ(call("run p.zp --capture kept").status, 0);
    const Called early = call("replay kept --until 1");
    EXPECT_EQ(early.status, 0) << early.err;
    EXPECT_TRUE(has(early.err, "kept: replayed 1 round: 0 samples were compared")) << early.err;
    for (const char* name : {"kept/events", "kept/elements"}) {
        const std::string whole = bytesOf(name);
        put(name, "");
        const Called replay = call("replay kept");
        EXPECT_EQ(replay.status, 1) << name;
        EXPECT_TRUE(has(replay.err, "round: 0 samples were compared")) << replay.err;
        put(name, whole);
    }
    ASSERT_EQ(call("run p.zp --in a=/dev/null --capture empty").status, 0);
    EXPECT_EQ(call("replay empty").status, 0);
}

TEST_F(ReplayTool, AReplayThatFailsItselfGivesNoVerdict) {
    putRamp("in.bin", 100000);
    put("bad.csv", "a\n1\n2\noops\n");
    put("p.zp", "pipe a : int16 from \"in.bin\"\npipe b : int16 = a to \"b.bin\"\n");
    ASSERT_EQ(call("run p.zp --capture kept").status, 0);
    for (const char* out : {"b=/dev/full", "a=/dev/full"}) {
        const Called replay = call(std::string("replay kept --out ") + out);
        EXPECT_EQ(replay.status, 1) << out;
        EXPECT_TRUE(has(replay.err, "/dev/full: the disk is full")) << replay.err;
        EXPECT_TRUE(has(replay.err,
                        "kept: an output of the replay could not be written, and the outputs are not "
                        "compared"))
            << replay.err;
        EXPECT_FALSE(has(replay.err, "the same") || has(replay.err, "not the run")) << replay.err;
    }
    const Called report = call("replay kept --report /dev/full");
    EXPECT_EQ(report.status, 1);
    EXPECT_TRUE(has(report.err, "the output is the same")) << report.err;
    // The run's own failure comes again, as one of the run.
    EXPECT_EQ(call("run p.zp --in a=bad.csv --feed 1 --capture failed").status, 1);
    const Called again = call("replay failed");
    EXPECT_EQ(again.status, 0) << again.err;
    EXPECT_FALSE(has(again.err, "error:")) << again.err;
    EXPECT_TRUE(has(again.err, "note: the captured run ended by a failure, and the replay with it: bad.csv:4: `oops`"))
        << again.err;
}

TEST_F(ReplayTool, AFaultThatEndedTheProcessComesAgain) {
    putRamp("in.bin", 500);
    put("p.zp",
        "pipe a : int32 from \"in.bin\" convert rounded\npipe b : int32\n"
        "SCRIPT (\"open_read:2 200( pipe_get:2 ) null\", a)\n");
    const Called run = call("run p.zp --block 64 --module '" TEST_PROBE_FILE "' --capture kept");
    EXPECT_EQ(run.status, 1);
    const Called replay = call("replay kept --module '" TEST_PROBE_FILE "'");
    EXPECT_EQ(replay.status, 1);
    EXPECT_TRUE(has(run.err, "null pointer")) << run.err;
    EXPECT_TRUE(has(replay.err, "null pointer")) << replay.err;
}

TEST_F(ReplayTool, AFullDiskLeavesTheRunAsItWas) {
    putRamp("in.bin", 4000000);
    put("p.zp", "pipe a : int16 from \"in.bin\"\npipe b : int16 to \"b.bin\"\nSKIP (a, 0, 1, 99, b)\n");
    ASSERT_EQ(call("run p.zp").status, 0);
    const std::string whole = bytesOf("b.bin");
    // More than the ring takes, and less than the elements: 6144 blocks of 512 bytes.
    const Called run = call("run p.zp --capture kept", "/dev/null", {}, "ulimit -f 6144;");
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(has(run.err, "kept: the capture is not complete: File too large")) << run.err;
    EXPECT_EQ(bytesOf("b.bin"), whole);
    const Called replay = call("replay kept");
    EXPECT_EQ(replay.status, 0) << replay.err;
    EXPECT_TRUE(has(replay.err, "the capture is cut off at round")) << replay.err;
}

TEST_F(ReplayTool, ACaptureThatCannotBeginLeavesNothing) {
    putRamp("in.bin", 10);
    put("p.zp", "pipe a : int16 from \"in.bin\"\npipe b : int16 = a to \"b.bin\"\n");
    struct Case {
        const char *folder, *limit, *message, *remedy;
    };
    for (const Case& each : {Case{"new/kept", "ulimit -f 1024;",
                                  "/kept/ring: what the run has cannot be kept there: File too large", "(ulimit -f)"},
                             {"p.zp/kept", "", "the folder of the capture cannot be made: Not a directory",
                              "name a folder that can be written"}}) {
        const Called run = call(std::string("run p.zp --capture ") + each.folder, "/dev/null", {}, each.limit);
        EXPECT_EQ(run.status, 2) << run.err;
        EXPECT_TRUE(has(run.err, each.message) && has(run.err, each.remedy)) << run.err;
        EXPECT_FALSE(std::filesystem::exists(at("new/kept")) || std::filesystem::exists(at("b.bin")));
    }
    EXPECT_EQ(call("run p.zp --capture new/kept").status, 0);
}

TEST_F(ReplayTool, WrongCallsAreRefused) {
    EXPECT_EQ(call("replay nowhere").status, 2);
    put("p.zp", "pipe a : int16 from \"in.bin\"\npipe b : int16 = a to \"b.bin\"\n");
    putRamp("in.bin", 10);
    ASSERT_EQ(call("run p.zp --capture kept").status, 0);
    const Called again = call("run p.zp --capture kept");
    EXPECT_EQ(again.status, 2);
    EXPECT_TRUE(has(again.err, "kept: the folder has something in it")) << again.err;
    EXPECT_EQ(call("replay kept --set nothing=1").status, 2);
    EXPECT_EQ(call("replay kept --until 0").status, 2);
    EXPECT_EQ(call("run p.zp --capture ''").status, 2);
    std::filesystem::remove(at("kept/elements"));
    EXPECT_EQ(call("replay kept").status, 2);
}

}  // namespace
}  // namespace libzepl
