// What the tool says of each mistake: the exact text, the exit status, and that nothing is left of the outputs.

#include "runtime/engine/context.h"
#include "tool_support.h"

namespace libzepl {
namespace {

struct Mistake {
    std::string procedure;
    std::string options;
    int status;
    std::string said;
};

const std::string from = "pipe a : int16 from \"in.csv\"\n";
const std::string both = from + "pipe b : int16 to \"b.csv\"\n";
const std::string good = both + "ABS (a, b)\n";

class Mistakes : public ToolTest {
 protected:
    void expect(const std::vector<Mistake>& mistakes) const {
        for (const Mistake& each : mistakes) {
            put("p.zp", each.procedure);
            const std::set<std::string> before = files();
            const Called called = call("run p.zp " + each.options);
            const std::string shown = each.procedure + "(" + each.options + ")";
            EXPECT_EQ(called.err, each.said) << shown;
            EXPECT_EQ(called.status, each.status) << shown;
            EXPECT_EQ(called.out, "") << shown;
            EXPECT_EQ(files(), before) << shown;
        }
    }
};

TEST_F(Mistakes, ARecordingThatCannotBeReadIsShownAtItsName) {
    put("bad.wav", "garbage");
    const auto at21 = [](const std::string& file, const std::string& reason, const std::string& remedy) {
        const std::string line = "pipe a : int16 from \"" + file + "\"";
        return Mistake{line + "\n", "", 2,
                       "p.zp:1:21: error: " + file + ": " + reason + "\n  " + line + "\n                      ^" +
                           std::string(file.size() + 1, '~') + "\n  " + remedy + "\n"};
    };
    expect({
        at21("none.wav", "there is no such file", "check the name and the folder it is relative to"),
        at21("bad.wav", "it cannot be read as a recording: Format not recognised.",
             "check that the file is whole, and that its ending is that of its format"),
    });
}

TEST_F(Mistakes, EachMistakeInAListIsShownAtItsParameter) {
    const std::string list = "    1 src: a pipe of int16, int32, float or double; given `a`, a pipe of int16\n";
    expect({
        {both + "AB (a, b)\n", "", 2,
         "p.zp:3:1: error: unknown command `AB`\n  AB (a, b)\n  ^~\n  did you mean `ABS`?\n"},
        {both + "XYZZY (a, b)\n", "", 2,
         "p.zp:3:1: error: unknown command `XYZZY`\n  XYZZY (a, b)\n  ^~~~~\n  zepl commands lists the commands\n"},
        {both + "ABS (a, result)\nABS (in_side, b)\n", "", 2,
         "p.zp:3:9: error: unknown name `result`\n  ABS (a, result)\n          ^~~~~~\n"
         "  declare it as a pipe, trigger, variable or vector\n"
         "p.zp:4:6: error: unknown name `in_side`\n  ABS (in_side, b)\n       ^~~~~~~\n  did you mean `inside`?\n"},
        {both + "ABS (a, b)\nABS (a, b)\n", "", 2,
         "p.zp:4:9: error: ABS: `b` has a writer already: ABS (line 3)\n  ABS (a, b)\n          ^\n"
         "  give each command's output a name of its own\n"},
        {both + "ABS (a, b\nABS (a, b)\n", "", 2,
         "p.zp:3:5: error: `(` is not closed\n  ABS (a, b\n      ^\n  close it with `)`\n"},
        {"pipe a : int16 capacity 4611686018427387905 from \"in.csv\"\npipe b : int16\nABS (a, b)\n", "", 2,
         "p.zp:1:25: error: a capacity of 4611686018427387905 elements for `a` is more than the memory limit of "
         "4294967296 bytes has room for, at most 2147483648\n"
         "  pipe a : int16 capacity 4611686018427387905 from \"in.csv\"\n"
         "                          ^~~~~~~~~~~~~~~~~~~\n  ask for less, or raise --memory\n"},
        {"pipe a : float from \"in.csv\"\npipe b : float to \"b.csv\"\nOFFSET (a, 1e39, b)\n", "", 2,
         "p.zp:3:12: error: OFFSET: parameter 2, `1e39`: its element type differs from that of the parameter it goes "
         "with\n  OFFSET (a, 1e39, b)\n             ^~~~\n"
         "    1 src: a pipe of int16, int32, float or double; given `a`, a pipe of float\n"
         "    2 offset: a value of the same type as `src` (float); but given 1e39, a number beyond float\n"},
        {both + "ABS (a)\n", "", 2,
         "p.zp:3:1: error: ABS: takes 2 parameters, and 1 is given\n  ABS (a)\n  ^~~\n" + list +
             "    2 dest: a pipe of the same type as `src` (int16); missing\n"},
        {both + "ABS (a, b, a)\n", "", 2,
         "p.zp:3:12: error: ABS: takes 2 parameters, and 3 are given\n  ABS (a, b, a)\n             ^\n" + list +
             "    2 dest: a pipe of the same type as `src` (int16); given `b`, a pipe of int16\n"
             "    3 too many parameters; but given `a`, a pipe of int16\n"},
        {from + "pipe c : int32 to \"c.csv\"\nABS (a, c)\n", "", 2,
         "p.zp:3:9: error: ABS: parameter 2, `c`: its element type differs from that of the parameter it goes with\n"
         "  ABS (a, c)\n          ^\n" +
             list + "    2 dest: a pipe of the same type as `src` (int16); but given `c`, a pipe of int32\n"},
        {from + "ABS (a, 5)\n", "", 2,
         "p.zp:2:9: error: ABS: parameter 2, `5`, is a number of int16, and a pipe of int16, int32, float or double is "
         "wanted there\n  ABS (a, 5)\n          ^\n" +
             list + "    2 dest: a pipe of the same type as `src` (int16); but given 5, a whole number\n"},
        {"pipe a : int16\npipe b : int16 to \"b.csv\"\nABS (a, b)\n", "", 2,
         "p.zp:1:6: warning: nobody writes `a`\n  pipe a : int16\n       ^\n"
         "  its readers would wait forever; give it a `from` file or a command that writes it\n"
         "p.zp:2:6: error: the output of `b` depends on no input, so nothing would end it\n"
         "  pipe b : int16 to \"b.csv\"\n       ^\n  give it a limit: to FILE limit N\n"},
    });
}

TEST_F(Mistakes, AnOutputThatWouldOverwriteSomethingIsRefused) {
    const auto output = [](const std::string& file, const std::string& reason, const std::string& remedy) {
        const std::string line = "pipe b : int16 to \"" + file + "\"";
        return Mistake{from + line + "\nABS (a, b)\n", "", 2,
                       "p.zp:2:19: error: " + reason + "\n  " + line + "\n                    ^" +
                           std::string(file.size() + 1, '~') + "\n  " + remedy + "\n"};
    };
    std::filesystem::create_hard_link(at("in.csv"), at("link.csv"));
    std::filesystem::create_symlink(TEST_MODULE_FILE, at("module.json"));
    expect({
        output("data/../in.csv", "`data/../in.csv` is also an input", "write to another file"),
        output("none/b.csv", "none/b.csv: its folder does not exist", "create the folder first"),
        {"pipe a : int16 from \"in.csv\" to \"b.csv\"\npipe b : int16 to \"./b.csv\"\nABS (a, b)\n", "", 2,
         "p.zp:2:19: error: `./b.csv` is written by another channel\n  pipe b : int16 to \"./b.csv\"\n"
         "                    ^~~~~~~~~\n  give each output a file of its own\n"},
        {"vector v : int16 from \"in.csv\"\npipe a : int16 from \"data/ecg208.wav\" to \"in.csv\"\n", "", 2,
         "p.zp:2:42: error: `in.csv` is also an input\n  pipe a : int16 from \"data/ecg208.wav\" to \"in.csv\"\n"
         "                                           ^~~~~~~~\n  write to another file\n"},
        {good, "--out b=in.csv", 2, "p.zp: error: --out b: `in.csv` is also an input\n  write to another file\n"},
        {good, "--report p.zp", 2,
         "zepl: error: --report p.zp: that file is the procedure\n  name a file of its own\n"},
        {good, "--report ./b.csv", 2,
         "zepl: error: --report ./b.csv: that file is written by `b`\n  name a file of its own\n"},
        {good, "--report link.csv", 2,
         "zepl: error: --report link.csv: that file is read by `a`\n  name a file of its own\n"},
        {good, "--report module.json", 2,
         "zepl: error: --report module.json: that file is a module\n  name a file of its own\n"},
        {good, "--report - --out b=-", 2,
         "zepl: error: --report -: standard output is written by `b`\n  name a file of its own\n"},
        {good, "--report none/r.json", 2,
         "zepl: error: --report: none/r.json: its folder does not exist\n  create the folder first\n"},
    });
    EXPECT_EQ(bytesOf("in.csv"), "x\n-1\n2\n-3\n");
    EXPECT_EQ(bytesOf("p.zp"), good);
}

TEST_F(Mistakes, AWrongOptionIsNamed) {
    const std::string set = "variable v : int16 = 5\n" + good;
    const std::string feeding =
        " is not a feed policy\n  give --feed N (samples, at least 1), whole, lockstep, or random:SEED\n";
    const std::string wrongBlock =
        ": the default block is 1 to 16777216 samples\n  --block N sets the block, which commands can ask for\n";
    const std::string wrongSize = " is not a size\n  give a number of bytes, or one with K, M or G, such as 512M\n";
    expect({
        {good, "--in a", 2, "zepl: error: --in a is not NAME=FILE\n  write --in NAME=FILE\n"},
        {good, "--in a=none.csv", 2,
         "p.zp: error: --in a: none.csv: there is no such file\n  check the name and the folder it is relative to\n"},
        {good, "--in c=in.csv", 2,
         "p.zp: error: --in c=in.csv: the procedure declares no pipe or trigger `c`\n  it declares `a`, `b`\n"},
        {set, "--set v=x", 2,
         "p.zp: error: --set v: unknown name `x`\n  x\n  ^\n  an expression has numbers, constants, functions, `pi`, "
         "`inf`, `nan` and `rate`\n"},
        {set, "--set v=-32769", 2,
         "p.zp: error: --set v: `-32769` is out of range: int16 holds -32768 to 32767\n"
         "  give a number that int16 holds\n"},
        {good, "--set v=1", 2,
         "p.zp: error: --set v=1: the procedure declares no variable or constant `v`\n  it declares none\n"},
        {set, "--set v=1 --set v=2", 2, "zepl: error: --set v=2: `v` is given twice\n  give it once\n"},
        {good, "--feed 0", 2, "zepl: error: --feed 0" + feeding},
        {good, "--feed random:", 2, "zepl: error: --feed random:" + feeding},
        {good, "--memory 0", 2, "zepl: error: --memory 0" + wrongSize},
        {good, "--memory 8589934592G", 2, "zepl: error: --memory 8589934592G" + wrongSize},
        {good, "--memory 1K", 2,
         "p.zp:3:1: error: no memory is left for ABS\n  ABS (a, b)\n  ^~~\n  use fewer tasks, or raise --memory\n"},
        {good, "--info 4=4294967296", 2,
         "zepl: error: --info 4=4294967296 is no pair of 32-bit numbers\n"
         "  write --info SELECTOR=VALUE, such as --info 30=0\n"},
        {good, "--info 17=0", 2, "zepl: error: --info 17=0" + wrongBlock},
        {good, "--info 0x11=16777217", 2, "zepl: error: --info 0x11=16777217" + wrongBlock},
        {"variable v : float = 5\n" + good, "--set v=1e39", 2,
         "p.zp: error: --set v: `1e39` is out of range: float holds up to 3.4028235e38 and inf\n"
         "  give a number that float holds\n"},
        {good, "--block 0", 2, "--block: Value 0 not in range 1 to 16777216\nRun with --help for more information.\n"},
        {good, "--start-time x", 2,
         "--start-time: Value x not in range 0 to 4294967295\nRun with --help for more information.\n"},
        {good, "--module none.zlm", 2,
         "zepl: error: there is no module file `none.zlm`\n  build it, or name the file of a module\n"},
        {good, "--module '" TEST_BAD_MODULE_DIR "/host_refused.zlm'", 2,
         "zepl: error: the module `" TEST_BAD_MODULE_DIR "/host_refused.zlm` refuses this host, build 1.00, interface "
         "1.04\n  use a module that was made for it\n"},
    });
}

TEST_F(Mistakes, AWrongCallIsAnsweredWithTheNearestWord) {
    put("p.zp", good);
    const std::pair<const char*, const char*> calls[] = {
        {"run none.zp",
         "zepl: error: none.zp: there is no such file\n  check the name and the folder it is relative to\n"},
        {"run data", "zepl: error: data: is a folder, not a file\n  name a file in it\n"},
        {"run", "procedure is required\nRun with --help for more information.\n"},
        {"rum p.zp", "zepl: error: zepl has no `rum`\n  did you mean `run`?\n"},
        {"frobnicate", "zepl: error: zepl has no `frobnicate`\n  zepl --help lists what it has\n"},
        {"run p.zp more", "zepl: error: zepl run does not take `more`\n  zepl run --help lists what it takes\n"},
        {"run p.zp --sett x=1", "zepl: error: zepl run has no option `--sett`\n  did you mean `--set`?\n"},
        {"check p.zp --xyzzy=3",
         "zepl: error: zepl check has no option `--xyzzy`\n  zepl check --help lists what it takes\n"},
        {"help ABBS", "zepl: error: there is no command or topic `ABBS`\n  did you mean `ABS`?\n"},
        {"help qwerty",
         "zepl: error: there is no command or topic `qwerty`\n  zepl commands lists the commands, zepl help the topics\n"},
    };
    for (const auto& [arguments, said] : calls) {
        const Called called = call(arguments);
        EXPECT_EQ(called.status, 2) << arguments;
        EXPECT_EQ(called.err, said);
        EXPECT_EQ(called.out, "");
    }
}

TEST_F(Mistakes, TheMemoryLimitHoldsWhileAVectorIsReadFromAFile) {
    put("ones.bin", std::string(3000000, '\1'));
    put("p.zp", "vector v : int16 from \"ones.bin\"\n");
    const Called called = call("run p.zp --memory 1M");
    EXPECT_EQ(called.status, 2);
    EXPECT_NE(called.err.find("ones.bin: has more elements than the memory limit of 1048576 bytes has room for"),
              std::string::npos)
        << called.err;
}

TEST_F(Mistakes, ASystemWithoutMemoryIsNamedAndLeavesNoOutput) {
#if defined(LIBZEPL_ADDRESS_SANITIZER)
    GTEST_SKIP() << "instrumented programs take more addresses than can be limited";
#endif
    std::string procedure = both;
    for (int i = 0; i < 3000; ++i) procedure += "ABS (a, b)\n";
    put("p.zp", procedure);
    const Called called = call("run p.zp", "/dev/null", {}, "ulimit -v 409600 &&");
    EXPECT_EQ(called.status, 1);
    EXPECT_TRUE(
        called.err.ends_with(": error: ABS: the system has no memory for its stack\n  ABS (a, b)\n  ^~~\n"
                             "  use fewer tasks, or raise what a process may take (ulimit -v)\n"))
        << called.err;
    EXPECT_EQ(files().count("b.csv"), 0U);
}

}  // namespace
}  // namespace libzepl
