// Which modules the tool loads, and the folder that it makes for a new one.

#include "tool_support.h"

namespace libzepl {
namespace {

using Modules = ToolTest;

const std::string probe = " --module '" TEST_PROBE_FILE "'";

TEST_F(Modules, AreAddedToTheDefaultOnes) {
    const std::string both = call("version" + probe).out;
    EXPECT_NE(both.find("module zcmds3: build 1.52"), std::string::npos) << both;
    EXPECT_NE(both.find("\nmodule probe: build 1.00"), std::string::npos) << both;
    EXPECT_EQ(call("version" + probe + " --module '" TEST_MODULE_FILE "'" + probe).out, both) << "loaded twice";
    const std::string alone = call("version --no-default-modules" + probe).out;
    EXPECT_EQ(alone.find("zcmds3"), std::string::npos) << alone;
    const Called none = call("version --no-default-modules");
    EXPECT_EQ(none.status, 2);
    EXPECT_EQ(none.err,
              "zepl: error: no module is named\n  name one with --module, or leave out --no-default-modules\n");
}

TEST_F(Modules, NoLibraryIsLookedForInTheFolderOfTheCall) {
    for (const char* library : {"libzepl.so.1", "libmd4c.so.0", "libstdc++.so.6", "libm.so.6"})
        put(library, "no library");
    const Called called = call("version");
    EXPECT_EQ(called.status, 0) << called.err;
}

TEST_F(Modules, OfFoldersInTheEnvironmentAreFoundByTheirNames) {
    std::filesystem::create_directories(at("a/none.zlm.d"));
    std::filesystem::copy_file(TEST_PROBE_FILE, at("a/b.zlm"));
    put("a/notes.txt", "no module");
    const auto withPath = [&](const std::string& path, const std::string& words) {
        return call(words, "/dev/null", {}, "ZEPL_MODULE_PATH=" + path);
    };
    EXPECT_NE(withPath(":a:", "commands").out.find("\nOf the module b\n  SCRIPT      of the module b\n"),
              std::string::npos);
    EXPECT_EQ(withPath("a", "commands SCRIPT --no-default-modules --module '" TEST_MODULE_FILE "'").out,
              "no command has `SCRIPT` in its name, tasks, signature or page\n");
    const Called absent = withPath("a:gone", "version");
    EXPECT_EQ(absent.status, 2);
    EXPECT_EQ(absent.err,
              "zepl: error: $ZEPL_MODULE_PATH names `gone`, which is no folder\n"
              "  name folders with modules (.zlm), with colons between them\n");
    const Called twice = withPath("a", "version" + probe);
    EXPECT_EQ(twice.status, 2);
    const std::string both = "could not install its commands: SCRIPT is a command of the module `b` already";
    EXPECT_NE(twice.err.find(both), std::string::npos) << twice.err;
}

TEST_F(Modules, ANewOneIsMadeWithItsNameInEveryFile) {
    const Called made = call("new-module rig_2");
    EXPECT_EQ(made.status, 0) << made.err;
    for (const char* file : {"CMakeLists.txt", "rig_2.cpp", "rig_2_test.cpp", "example.zp"}) {
        const std::string text = bytesOf("rig_2/" + std::string(file));
        EXPECT_EQ(text.find('@'), std::string::npos) << file;
        const bool named = text.find("rig_2") != std::string::npos || text.find("RIG_2") != std::string::npos;
        EXPECT_TRUE(named) << file;
    }
    EXPECT_EQ(call("new-module rig_2").err, "zepl: error: `rig_2` exists already\n  choose another name\n");
    for (const char* name : {"Rig", "2rig", "a-b", "../up", "zcmds3", "install", "abs", "\"\""})
        EXPECT_EQ(call("new-module " + std::string(name)).status, 2) << name;
}

}  // namespace
}  // namespace libzepl
