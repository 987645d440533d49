// Outputs that are not finished or cannot be written, and inputs that are not there or not permitted.

#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>

#include "runtime/output_files.h"
#include "tests/runtime/files_support.h"

namespace libzepl {
namespace {

using OutputTest = FilesTest;

const std::vector<std::string> oneOfEach{"a.bin", "a.npy", "a.csv", "a.wav", "a.flac"};

TEST_F(OutputTest, AnUnfinishedOutputLeavesTheOldFileAndNothingElse) {
    for (const std::string& name : oneOfEach) {
        put(name, "the file before");
        {
            const auto sink = createSink(writing<std::int16_t>(name));
            const std::vector<std::int16_t> elements(100000, 1);
            sink->write(elements.data(), elements.size());
            EXPECT_EQ(bytesOf(name), "the file before") << name;
            EXPECT_EQ(filesInAll(), 2U) << name;
        }
        EXPECT_EQ(filesInAll(), 1U) << name;
        EXPECT_EQ(bytesOf(name), "the file before") << name;
        save<std::int16_t>(name, {1, 2, 3});
        EXPECT_EQ(elementsOf<std::int16_t>(name), (std::vector<std::int16_t>{1, 2, 3})) << name;
        EXPECT_EQ(filesInAll(), 1U) << name;
        std::filesystem::remove(at(name));
    }
}

TEST_F(OutputTest, TwoOutputsOfOneNameHaveTemporaryFilesOfTheirOwn) {
    const auto first = createSink(writing<std::int16_t>("a.bin")), second = createSink(writing<std::int16_t>("a.bin"));
    const std::vector<std::int16_t> elements{1, 2};
    first->write(elements.data(), 2);
    second->write(elements.data(), 1);
    second->finish();
    EXPECT_EQ(elementsOf<std::int16_t>("a.bin").size(), 1U);
    first->finish();
    EXPECT_EQ(elementsOf<std::int16_t>("a.bin").size(), 2U);
}

TEST_F(OutputTest, AFolderThatComesToItsPlaceKeepsIt) {
    for (const bool isSynchronised : {true, false}) {
        TextFile text(at("a.txt"), isSynchronised);
        text.write("after");
        std::filesystem::create_directory(at("a.txt"));
        EXPECT_THROW(text.finish(), Problem);
        EXPECT_TRUE(std::filesystem::is_directory(at("a.txt"))) << isSynchronised;
        std::filesystem::remove(at("a.txt"));
    }
    EXPECT_EQ(filesInAll(), 0U);
}

TEST_F(OutputTest, ATextTakesThePlaceOfAFileOnlyWhenItIsFinished) {
    put("a.txt", "before");
    { TextFile(at("a.txt")).write("lost"); }
    EXPECT_EQ(bytesOf("a.txt"), "before");
    TextFile text(at("a.txt"), false);
    text.write("af");
    text.write("ter");
    EXPECT_EQ(bytesOf("a.txt"), "before");
    text.finish();
    EXPECT_EQ(bytesOf("a.txt"), "after");
    EXPECT_EQ(filesInAll(), 1U);
}

TEST_F(OutputTest, TheNameSaysWhetherAFileHoldsRawSamples) {
    for (const char* name : {"-", "-.bin", "-.raw", "a.bin", "A.BIN", "tcp://host:1"})
        EXPECT_TRUE(holdsRawSamples(name)) << name;
    for (const char* name : {"-.wav", "a.wav", "a.csv", "a.npy"}) EXPECT_FALSE(holdsRawSamples(name)) << name;
    EXPECT_THROW(holdsRawSamples("-.odd"), Problem);
}

TEST_F(OutputTest, AFailedWriteIsRefusedAndLeavesNoFile) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small{50000, before.rlim_max};
    for (const std::string& name : oneOfEach) {
        setrlimit(RLIMIT_FSIZE, &small);
        const std::string text = refusal([&] { save<std::int16_t>(name, noise(200000)); });
        setrlimit(RLIMIT_FSIZE, &before);
        EXPECT_EQ(text, name + ": cannot be written: File too large | ");
    }
    std::signal(SIGXFSZ, SIG_DFL);
    EXPECT_EQ(filesInAll(), 0U);
}

TEST_F(OutputTest, APlaceThatCannotBeWrittenIsNamed) {
    std::filesystem::create_directory(at("folder.csv"));
    put("file", "");
    for (const std::string refused :
         {"gone/a.csv: its folder does not exist | create the folder first",
          "folder.csv: is a folder | name a file in it", "file/a.csv: cannot be written: Not a directory | ",
          "a.txt: the ending `.txt` is of no known format | the endings are ."}) {
        const std::string name = refused.substr(0, refused.find(':'));
        const std::string said = refusal([&] { createSink(writing<std::int16_t>(name)); });
        EXPECT_EQ(said.substr(0, refused.size()), refused);
    }
}

TEST_F(OutputTest, AFileThatCannotBeReadIsNamed) {
    std::filesystem::create_directory(at("folder.wav"));
    for (const std::string name : {"gone.csv", "gone.npy", "gone.wav", "gone.bin"})
        EXPECT_EQ(refusedRead(name),
                  name + ": there is no such file | check the name and the folder it is relative to");
    EXPECT_EQ(refusedRead("folder.wav"), "folder.wav: is a folder, not a file | name a file in it");
    EXPECT_EQ(
        refusedRead("noending"),
        "noending: the name has no ending that says which format it is | the endings are .npy, .csv, .bin, .wav, "
        ".flac, "
        ".aiff, .aif, .au, .snd, .w64, .caf, .rf64, .ogg, .oga, .opus, .mp3, .aifc, .avr, .htk, .iff, .svx, "
        ".mat, .mpc, .nist, .paf, .pvf, .sds, .sf, .voc, .wve, .xi, .sph; in a procedure `format wav` and so on after the name "
        "says what another one holds");
}

TEST_F(OutputTest, AFileThatMayNotBeReadIsNamed) {
    std::filesystem::permissions(folder_, std::filesystem::perms::all);
    std::filesystem::permissions(put("secret.csv", "1\n"), std::filesystem::perms::none);
    // No permission binds root, so that root reads as somebody else.
    const ::uid_t user = ::geteuid();
    ASSERT_TRUE(user != 0 || ::seteuid(65534) == 0);
    const std::string refused = refusedRead("secret.csv");
    ASSERT_TRUE(user != 0 || ::seteuid(user) == 0);
    EXPECT_EQ(refused, "secret.csv: you are not permitted to read it | change the file's permissions");
}

}  // namespace
}  // namespace libzepl
