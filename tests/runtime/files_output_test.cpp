// How files are found, and what is left of outputs that are not finished.

#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>

#include "tests/runtime/files_support.h"

namespace libzepl {
namespace {

using OutputTest = FilesTest;

const std::vector<std::string> oneOfEach{"a.bin", "a.npy", "a.csv", "a.wav", "a.flac"};

TEST_F(OutputTest, anUnfinishedOutputIsSeenOrLeftBehind) {
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

TEST_F(OutputTest, twoOutputsOfOneNameShareATemporaryFile) {
    const auto first = createSink(writing<std::int16_t>("a.bin")), second = createSink(writing<std::int16_t>("a.bin"));
    const std::vector<std::int16_t> elements{1, 2};
    first->write(elements.data(), 2);
    second->write(elements.data(), 1);
    second->finish();
    EXPECT_EQ(elementsOf<std::int16_t>("a.bin").size(), 1U);
    first->finish();
    EXPECT_EQ(elementsOf<std::int16_t>("a.bin").size(), 2U);
}

TEST_F(OutputTest, aFailedWriteIsTakenForADoneOne) {
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

TEST_F(OutputTest, aPlaceThatCannotBeWrittenIsNotNamed) {
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

TEST_F(OutputTest, aFileThatCannotBeReadIsNotNamed) {
    std::filesystem::create_directory(at("folder.wav"));
    for (const std::string name : {"gone.csv", "gone.npy", "gone.wav", "gone.bin"})
        EXPECT_EQ(refusedRead(name),
                  name + ": there is no such file | check the name and the folder it is relative to");
    EXPECT_EQ(refusedRead("folder.wav"), "folder.wav: is a folder, not a file | name a file in it");
    EXPECT_EQ(refusedRead("noending"),
              "noending: the name has no ending that says which format it is | the endings are .npy, .csv, .bin, .wav, "
              ".flac, "
              ".aiff, .aif, .au, .snd, .w64, .caf, .rf64, .ogg, .oga, .opus, .mp3, .aifc, .avr, .htk, .iff, .svx, "
              ".mat, .mpc, .nist, .paf, .pvf, .sds, .sf, .voc, .wve, .xi, .sph; `format wav` and so on after the name "
              "says what another one holds");
    if (::geteuid() == 0) return;  // whom no permission binds
    std::filesystem::permissions(put("secret.csv", "1\n"), std::filesystem::perms::none);
    EXPECT_EQ(refusedRead("secret.csv"),
              "secret.csv: you are not permitted to read it | change the file's permissions");
}

TEST_F(OutputTest, standardStreamsLoseElementsOrHideTheirEnd) {
    WriteRequest out;
    ReadRequest in;
    out.path = in.path = "-";
    const std::vector<std::int16_t> elements{1, -1};
    const int kept[] = {::dup(STDIN_FILENO), ::dup(STDOUT_FILENO)};
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    for (int standard : {STDIN_FILENO, STDOUT_FILENO}) {
        ::dup2(ends[standard], standard);
        ::close(ends[standard]);
    }
    const auto sink = createSink(out);
    const auto source = openSource(in);
    sink->write(elements.data(), 2);
    sink->finish();
    std::vector<std::int16_t> read(4);
    const std::size_t count = source->read(read.data(), 2);
    const auto written = ::write(STDOUT_FILENO, "\x01\x02\x03", 3);
    ::dup2(kept[1], STDOUT_FILENO);
    const std::string broken = refusal([&] { source->read(read.data() + 2, 2); });
    ::dup2(kept[0], STDIN_FILENO);

    ASSERT_EQ(count + static_cast<std::size_t>(written), 5U);
    EXPECT_EQ(read, (std::vector<std::int16_t>{1, -1, 0, 0}));
    EXPECT_EQ(source->length(), std::nullopt);
    EXPECT_EQ(broken,
              "standard input: it ends with 1 byte of an incomplete 16-bit integer sample | "
              "check that the file is whole; `partial` after its name reads what is there");
}

TEST_F(OutputTest, aClosedReaderOfStandardOutputGoesUnnoticed) {
    std::signal(SIGPIPE, SIG_IGN);
    WriteRequest request;
    request.path = "-";
    const auto sink = createSink(request);
    sink->write("ab", 1);
    const int kept = ::dup(STDOUT_FILENO);
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    ::close(ends[0]);
    ::dup2(ends[1], STDOUT_FILENO);
    const std::string refused = refusal([&] { sink->finish(); });
    ::dup2(kept, STDOUT_FILENO);
    EXPECT_EQ(refused, "standard output: its reader has closed it | ");
}

}  // namespace
}  // namespace libzepl
