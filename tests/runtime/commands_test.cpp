// The loader: what it says of a file that is no good module, and that nothing of such a file stays.

#include "runtime/commands.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <fstream>

#include "runtime/diagnostics.h"

namespace libzepl {
namespace {

const std::string badModules = TEST_BAD_MODULE_DIR "/";

bool isMapped(const std::filesystem::path& path) {
    void* handle = ::dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (handle != nullptr) ::dlclose(handle);
    return handle != nullptr;
}

// The message and the remedy with which the file is refused.
std::string refusal(CommandLibrary& library, const std::filesystem::path& path) {
    try {
        library.load(path);
        return "loaded";
    } catch (const Problem& problem) {
        return std::string(problem.what()) + (problem.remedy().empty() ? "" : "\n" + problem.remedy());
    }
}

struct BadModule {
    const char* name;
    const char* before;  // the message around the file's name between backquotes
    const char* behind;
};

const BadModule modulesRefused[] = {
    {"absent", "there is no module file ", "\nbuild it, or name another with --module"},
    {"start_up_alone", "",
     " is no module: it has no ModuleCompatibilityCheck\n"
     "name a file with the ending .zlm that exports ModuleInstall"},
    {"entry_missing", "",
     " is no module: it has no ModuleInstall\nname a file with the ending .zlm that exports ModuleInstall"},
    {"host_refused", "the module ",
     " refuses this host, build 1.00, interface 1.04\nuse a module that was made for it"},
    {"version_untold", "the module ", " does not tell its version\nuse another build of the module"},
    {"start_up_ended", "the module ",
     " ended its start-up: no power on this host\nuse a module and a host that go together"},
    {"install_failed", "the module ",
     " could not install its commands, and tells no reason\nuse another build of the module"},
    {"null_info", "the module ",
     " could not install its commands: a command's record is incomplete\nuse another build of the module"},
    {"commands_refused", "the module ",
     " could not install its commands: WELL is installed already; a command's record is incomplete; a command's record "
     "is "
     "incomplete; a command's record is incomplete; GARBLED has a signature that cannot be read: "},
};

TEST(Loader, ARefusalHasAnotherMessageOrLeavesSomething) {
    for (const BadModule& bad : modulesRefused) {
        const std::string file = badModules + bad.name + ".zlm";
        CommandLibrary library;
        const std::string said = refusal(library, file);
        const std::string expected = bad.before + libzepl::quoted(file) + bad.behind;
        EXPECT_EQ(expected.ends_with(": ") && expected.size() < said.size() ? said.substr(0, expected.size()) : said,
                  expected);
        EXPECT_FALSE(isMapped(file)) << bad.name;
        EXPECT_TRUE(library.commands().empty()) << bad.name;
        EXPECT_TRUE(library.modules().empty()) << bad.name;
        library.load(TEST_MODULE_FILE);  // a good one still comes in, with nothing of the bad one's
        EXPECT_NE(library.find("ABS"), nullptr) << bad.name;
        EXPECT_EQ(library.find("WELL"), nullptr) << bad.name;
    }
}

TEST(Loader, AFileThatIsNoLibraryIsNotToldAsSuch) {
    const auto text = std::filesystem::temp_directory_path() / "zepl_no_library.zlm";
    std::ofstream(text) << "this is a text\n";
    const auto empty = std::filesystem::temp_directory_path() / "zepl_empty.zlm";
    std::ofstream(empty).close();
    for (const auto& path : {text, empty, std::filesystem::temp_directory_path()}) {
        CommandLibrary library;
        const std::string said = refusal(library, path);
        EXPECT_TRUE(said.starts_with(libzepl::quoted(path.string()) + " cannot be loaded as a module: ")) << said;
        EXPECT_TRUE(said.ends_with("\nname a file with the ending .zlm that was built for this machine")) << said;
    }
    std::filesystem::remove(text);
    std::filesystem::remove(empty);
}

TEST(Loader, ASecondLoadChangesTheFirst) {
    CommandLibrary library;
    library.load(TEST_MODULE_FILE);
    const std::size_t count = library.commands().size();
    const std::string said = refusal(library, TEST_MODULE_FILE);
    EXPECT_TRUE(
        said.starts_with("the module `" TEST_MODULE_FILE "` could not install its commands: ABS is installed already"))
        << said;
    EXPECT_EQ(library.commands().size(), count);
    EXPECT_EQ(library.modules().size(), 1U);
    EXPECT_TRUE(isMapped(TEST_MODULE_FILE));
}

TEST(Loader, ALoadedModuleIsRecordedOtherwise) {
    CommandLibrary library;
    library.load(TEST_MODULE_FILE);
    const LoadedModule& module = library.modules().at(0);
    EXPECT_EQ(module.name, "zcmds3");
    EXPECT_EQ(module.path, TEST_MODULE_FILE);
    EXPECT_EQ(module.buildVersion, 152U);
    EXPECT_EQ(module.interfaceVersion, 104U);
    EXPECT_TRUE(module.compatible);
    const Command& first = library.commands().at(0);
    EXPECT_EQ(first.name + " " + first.module, "ABS zcmds3");
    EXPECT_EQ(first.attributes, 0x80000000);
    EXPECT_EQ(library.find("abs"), nullptr);
}

TEST(Loader, AModuleStaysBehindItsLibrary) {
    // A copy, since other tests keep the module itself.
    const auto copy = std::filesystem::temp_directory_path() / "zepl_copy.zlm";
    std::filesystem::copy_file(TEST_MODULE_FILE, copy, std::filesystem::copy_options::overwrite_existing);
    {
        CommandLibrary library;
        library.load(copy);
        EXPECT_TRUE(isMapped(copy));
    }
    EXPECT_FALSE(isMapped(copy));
    std::filesystem::remove(copy);
}

}  // namespace
}  // namespace libzepl
