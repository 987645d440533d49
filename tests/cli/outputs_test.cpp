// What runs do with the files that they write, and with the standard streams.

#include <sys/stat.h>

#include <nlohmann/json.hpp>

#include "tool_support.h"

namespace libzepl {
namespace {

const std::string probe = " --module '" TEST_MODULE_FILE "' --module '" TEST_PROBE_FILE "'";

class Outputs : public ToolTest {
 protected:
    Outputs() { put("p.zp", good_); }

    // "640 of 1000:1000".
    std::string rightsOf(const std::string& name) const {
        struct stat status {};
        EXPECT_EQ(::stat(at(name).c_str(), &status), 0) << name;
        char text[64];
        std::snprintf(text, sizeof text, "%o of %u:%u", status.st_mode & 07777, status.st_uid, status.st_gid);
        return text;
    }

    const std::string good_ = "pipe a : int16 from \"in.csv\"\npipe b : int16 to \"b.csv\"\nABS (a, b)\n";
    const std::string written_ = "b\n1\n2\n3\n";
};

TEST_F(Outputs, AFailedRunKeepsWhatItWroteBesideTheOldFile) {
    put("failing.zp", good_ + "SCRIPT (\"exit:7\")\n");
    const auto failed = [&](const std::string& note) {
        const Called called = call("run failing.zp --report r.json" + probe);
        EXPECT_EQ(called.status, 1);
        EXPECT_TRUE(called.err.ends_with("\nnote: " + note + "\n")) << called.err;
        EXPECT_EQ(nlohmann::json::parse(bytesOf("r.json"))["notes"], nlohmann::json::array({note}));
        EXPECT_EQ(bytesOf("b.csv.failed"), written_);
    };
    failed("what the failed run wrote of `b` is in b.csv.failed");
    EXPECT_FALSE(files().contains("b.csv"));
    put("b.csv", "yesterday");
    put("b.csv.failed", "an earlier one");
    failed(
        "what the failed run wrote of `b` is in b.csv.failed, in place of what an earlier one wrote; b.csv is as it "
        "was");
    EXPECT_EQ(bytesOf("b.csv"), "yesterday");
    EXPECT_EQ(call("run p.zp").err,
              "note: b.csv.failed is of an earlier run, which failed\nwrote b.csv: 3 samples of `b`\n");
    EXPECT_EQ(bytesOf("b.csv"), written_);
}

TEST_F(Outputs, AnInputThatFailsLateLeavesTheOldOutput) {
    put("words.csv", "1\ntwo\n");
    put("b.csv", "yesterday");
    const Called called = call("run p.zp --in a=words.csv");
    EXPECT_EQ(called.status, 1);
    EXPECT_EQ(called.err,
              "p.zp:1:6: error: words.csv:2: `two` in column 1 is no number\n"
              "  pipe a : int16 from \"in.csv\"\n       ^\n"
              "  correct the cell, or choose another column with `column K`\n"
              "note: what the failed run wrote of `b` is in b.csv.failed; b.csv is as it was\n");
    EXPECT_EQ(bytesOf("b.csv"), "yesterday");
}

TEST_F(Outputs, WhereOneCannotGetItsNameTheOthersDoAndTheMessageSaysWhich) {
    put("p.zp", good_ + "pipe c : int16 to \"c.csv\"\npipe d : int16 to \"d.csv\"\nABS (a, c)\nABS (a, d)\n");
    put("c.csv", "yesterday");
    LiveTool tool(folder_, {"run", "p.zp", "--in", "a=-", "--out", "b=-"});
    tool.write("\1\1");
    EXPECT_EQ(tool.read(2), "\1\1");
    remove("c.csv");
    std::filesystem::create_directory(at("c.csv"));
    tool.closeInput();
    EXPECT_EQ(tool.wait(), 1);
    EXPECT_EQ(bytesOf("said"),
              "p.zp: error: c.csv: what was written cannot get this name: Is a directory\n"
              "  d.csv has its new content, the others not\n"
              "note: what the failed run wrote of `c` is in c.csv.failed; c.csv is as it was\n"
              "wrote d.csv: 1 sample of `d`\n");
    EXPECT_EQ(bytesOf("c.csv.failed"), "c\n257\n");
    EXPECT_EQ(bytesOf("d.csv"), "d\n257\n");
}

TEST_F(Outputs, AFileIsReplacedWhereItIsWithItsMode) {
    std::filesystem::create_directory(at("sub"));
    put("sub/real.csv", "yesterday");
    // Only root may give a file away.
    EXPECT_EQ(::chown(at("sub/real.csv").c_str(), 65534, 65534) == 0, ::geteuid() == 0);
    ASSERT_EQ(::chmod(at("sub/real.csv").c_str(), 0640), 0);
    const std::string rights = rightsOf("sub/real.csv");
    std::filesystem::create_symlink("sub/real.csv", at("b.csv"));
    std::filesystem::create_symlink("sub/new.csv", at("new.csv"));
    const std::set<std::string> before = files();
    EXPECT_EQ(call("run p.zp --no-sync").status, 0);
    EXPECT_EQ(call("run p.zp --out b=new.csv").status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(at("b.csv")) && std::filesystem::is_symlink(at("new.csv")));
    EXPECT_EQ(bytesOf("sub/real.csv"), written_);
    EXPECT_EQ(rightsOf("sub/real.csv"), rights);
    EXPECT_EQ(bytesOf("sub/new.csv"), written_);
    EXPECT_EQ(files(), before);
}

TEST_F(Outputs, ANameMayBeAsLongAsTheSystemAllows) {
    put("failing.zp", good_ + "SCRIPT (\"exit:7\")\n");
    for (const std::size_t length : {251U, 252U}) {
        const std::string name = std::string(length, 'n') + ".csv";
        const Called called = call("run p.zp --out b=" + name);
        if (length == 252U)
            EXPECT_EQ(called.err,
                      "p.zp: error: --out b: " + name + ": the name is too long\n  name it in at most 255 bytes\n");
        else
            EXPECT_EQ(bytesOf(name), written_) << called.err;
    }
    const std::size_t before = files().size();
    EXPECT_EQ(call("run failing.zp --out b=" + std::string(251, 'n') + ".csv" + probe).status, 1);
    EXPECT_EQ(files().size(), before + 1);
}

TEST_F(Outputs, AProtectedFileIsRefused) {
    put("b.csv", "yesterday");
    ASSERT_EQ(::chmod(at("b.csv").c_str(), 0444), 0);
    for (const char* action : {"run", "check"}) {
        const Called called = call(std::string(action) + " p.zp");
        EXPECT_EQ(called.status, 2);
        EXPECT_TRUE(called.err.ends_with("\n  write to another file, or allow it: chmod u+w\n")) << called.err;
    }
    EXPECT_EQ(bytesOf("b.csv"), "yesterday");
}

TEST_F(Outputs, FifosAndDevicesAreWrittenInto) {
    ASSERT_EQ(::mkfifo(at("fifo").c_str(), 0600) + ::mkfifo(at("fifo.npy").c_str(), 0600), 0);
    const int fifo = ::open(at("fifo").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    EXPECT_EQ(call("run p.zp --out b=fifo").status, 0);
    char bytes[16];
    ASSERT_EQ(::read(fifo, bytes, sizeof bytes), 6);
    EXPECT_EQ(std::string_view(bytes, 6), std::string_view("\1\0\2\0\3\0", 6));
    ::close(fifo);
    EXPECT_TRUE(std::filesystem::is_fifo(at("fifo")));
    EXPECT_EQ(call("check p.zp --out b=fifo").status, 0);  // without a reader
    EXPECT_EQ(call("run p.zp --out b=/dev/null").status, 0);
    EXPECT_EQ(call("run p.zp --out b=/dev/stdout").out, std::string("\1\0\2\0\3\0", 6));
    EXPECT_EQ(call("run p.zp --out b=/dev/full").status, 1);
    EXPECT_EQ(call("run p.zp --out b=fifo.npy").err,
              "p.zp: error: --out b: fifo.npy: NPY states its length before its samples, and a stream's is not known "
              "by then\n"
              "  write WAV, AU, FLAC, CSV or raw samples\n");
}

TEST_F(Outputs, AReportGoesToStandardOutput) {
    const Called called = call("run p.zp --quiet --report -");
    EXPECT_EQ(nlohmann::json::parse(called.out)["status"], "ok");
    EXPECT_EQ(called.err, "");
}

TEST_F(Outputs, AFullDiskFailsTheCallThatPrints) {
    for (const char* arguments :
         {"version", "commands", "commands --json", "help", "help ABS", "--help", "run --help"}) {
        const Called called = call(arguments, "/dev/null", "> /dev/full");
        EXPECT_EQ(called.status, 1) << arguments;
        EXPECT_EQ(called.err,
                  "zepl: error: standard output: the disk is full\n  make room, or write to another disk\n");
    }
    EXPECT_EQ(call("run p.zp --report /dev/full").status, 1);
    EXPECT_EQ(call("check p.zp", "/dev/null", "2> /dev/full").status, 1);
    EXPECT_EQ(call("check p.zp --quiet", "/dev/null", "2> /dev/full").status, 0);
}

TEST_F(Outputs, AClosedStandardStreamIsAnErrorForWhoeverWantsIt) {
    const std::string in =
        "p.zp: error: --in a: standard input: it is closed, or not open for reading\n  open it, or name a file\n";
    const struct {
        const char* arguments;
        const char* redirections;
        int status;
        std::string said;
    } cases[] = {
        {"run p.zp --in a=-", "<&-", 2, in},
        {"run p.zp --in a=-", "<&- >&-", 2, in},
        {"run p.zp --out b=-", ">&-", 2,
         "p.zp: error: --out b: standard output: it is closed, or not open for writing\n  open it, or name a file\n"},
        {"version", ">&-", 1, "zepl: error: standard output: it is closed, or not open for writing\n"},
        {"run p.zp", "<&- >&-", 0, "wrote b.csv: 3 samples of `b`\n"},
        {"run p.zp --report r.json", "2>&-", 0, ""},
    };
    for (const auto& each : cases) {
        const Called called = call(each.arguments, "/dev/null", each.redirections);
        EXPECT_EQ(called.status, each.status) << each.arguments << each.redirections;
        EXPECT_EQ(called.err, each.said) << each.arguments << each.redirections;
    }
    EXPECT_EQ(nlohmann::json::parse(bytesOf("r.json"))["status"], "ok");
    EXPECT_EQ(bytesOf("b.csv"), written_);
}

}  // namespace
}  // namespace libzepl
