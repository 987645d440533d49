// The loader: what it says of a file that is no good module, and that nothing of such a file stays.

#include "runtime/commands.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <fstream>

#include "runtime/diagnostics.h"

namespace libzepl {
namespace {

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

// What the file of a bad module is refused with; `%` is the file.
const std::pair<std::string, std::string> modulesRefused[] = {
    {"absent", "there is no module file %\nbuild it, or name the file of a module"},
    {"start_up_alone",
     "% is no module: it has no ModuleCompatibilityCheck\nname a file with the ending .zlm that exports ModuleInstall"},
    {"entry_missing",
     "% is no module: it has no ModuleInstall\nname a file with the ending .zlm that exports ModuleInstall"},
    {"host_refused", "the module % refuses this host, build 1.00, interface 1.04\nuse a module that was made for it"},
    {"version_untold", "the module % does not report its version\nuse another build of the module"},
    {"start_up_ended",
     "the module % ended its start-up: no power on this host\nuse a module and a host that go together"},
    {"install_failed",
     "the module % could not install its commands, and reports no reason\nuse another build of the module"},
    {"install_throws",
     "an exception left ModuleInstall of the module %: `the table is empty`\nit is a fault of the module: report it to "
     "its "
     "author"},
    {"null_info",
     "the module % could not install its commands: a command's record is incomplete\nuse another build of the module"},
    {"commands_refused",
     "the module % could not install its commands: WELL is a command of the module `commands_refused` already; a command's record is incomplete; "
     "a command's record is incomplete; a command's record is incomplete; GARBLED has a signature that cannot be read: "
     "expected a type, found `int17` (at byte 11 of the signature)\nuse another build of the module"},
};

TEST(Loader, ARefusedModuleIsNamedWithTheReasonAndLeavesNothing) {
    for (const auto& [name, text] : modulesRefused) {
        const std::string file = TEST_BAD_MODULE_DIR "/" + name + ".zlm";
        CommandLibrary library;
        std::string expected = text;
        expected.replace(text.find('%'), 1, libzepl::quoted(file));
        EXPECT_EQ(refusal(library, file), expected);
        EXPECT_FALSE(isMapped(file)) << name;
        EXPECT_TRUE(library.commands().empty()) << name;
        EXPECT_TRUE(library.modules().empty()) << name;
        library.load(TEST_MODULE_FILE);  // a good one still comes in, with nothing of the bad one's
        EXPECT_NE(library.find("ABS"), nullptr) << name;
        EXPECT_EQ(library.find("WELL"), nullptr) << name;
    }
}

TEST(Loader, AFileThatIsNoLibraryIsRefusedAsSuch) {
    const auto folder = std::filesystem::temp_directory_path(), text = folder / "zepl_no_library.zlm";
    const auto empty = folder / "zepl_empty.zlm";
    std::ofstream(text) << "this is a text\n";
    std::ofstream(empty).close();
    for (const auto& path : {text, empty, folder}) {
        CommandLibrary library;
        const std::string said = refusal(library, path);
        EXPECT_TRUE(said.starts_with(libzepl::quoted(path.string()) + " cannot be loaded as a module: ")) << said;
        EXPECT_TRUE(said.ends_with("\nname a file with the ending .zlm that was built for this machine")) << said;
    }
    std::filesystem::remove(text);
    std::filesystem::remove(empty);
}

TEST(Loader, ALoadedModuleIsRecordedAndRefusedASecondTime) {
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
    const std::size_t count = library.commands().size();
    const std::string said = refusal(library, TEST_MODULE_FILE);
    const std::string refused = "the module `" TEST_MODULE_FILE
                                "` could not install its commands: ABS is a command of "
                                "the module `zcmds3` already; ALARM is";
    EXPECT_EQ(said.substr(0, refused.size()), refused);
    EXPECT_EQ(library.commands().size(), count);
    EXPECT_EQ(library.modules().size(), 1U);
    EXPECT_TRUE(isMapped(TEST_MODULE_FILE));
}

TEST(Loader, AModuleIsUnloadedWithItsLibrary) {
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
