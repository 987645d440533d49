// Recordings that come through pipes, which cannot be gone back in.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "tests/runtime/files_support.h"

namespace libzepl {
namespace {

class Streams : public FilesTest {
 protected:
    Streams() { std::signal(SIGPIPE, SIG_IGN); }
    // Reads what is written to a pipe of that name in pieces of growing length, without caring whether anybody still reads.
    std::vector<std::int16_t> streamed(ReadRequest request, const std::string& bytes,
                                       std::vector<std::string>* notes = {}) {
        ::mkfifo(request.path.c_str(), 0600);
        std::thread writer([&] {
            const int to = ::open(request.path.c_str(), O_WRONLY);
            std::size_t piece = 1;
            for (std::size_t at = 0; at < bytes.size(); at += piece++)
                if (::write(to, bytes.data() + at, std::min(piece, bytes.size() - at)) < 0) break;
            ::close(to);
        });
        std::vector<std::int16_t> elements;
        refused_ = refusal([&] {
            const auto source = openSource(request);
            elements = elementsOf<std::int16_t>(*source);
            if (notes != nullptr) *notes = source->notes();
        });
        writer.join();
        std::filesystem::remove(request.path);
        return elements;
    }

    std::string refused_;
};

TEST_F(Streams, EveryFormatIsReadAsFromAFile) {
    const std::vector<std::int16_t> samples = noise(9000);
    for (const std::string ending : {"wav", "flac", "aiff", "au", "w64", "caf", "rf64", "npy", "csv", "bin"}) {
        save<std::int16_t>("file." + ending, samples);
        EXPECT_EQ(streamed(reading("pipe." + ending), bytesOf("file." + ending)), samples) << ending << refused_;
        if (ending == "bin") continue;
        ReadRequest named = reading("pipe");
        named.format = ending;
        EXPECT_EQ(streamed(named, bytesOf("file." + ending)), samples) << ending << refused_;
    }
}

TEST_F(Streams, AHeaderWithoutSamplesIsRefusedAtTheEndOfTheStream) {
    const std::string chunk("COMM\0\0\7\x12\0\1\0\0\0\0\0\0\0\0\x1e\xef", 20);
    for (const std::string form : {"8SVX", "AIFF", "XXXX"}) {
        streamed(reading("pipe.aiff"), std::string("FORM\0\0\0\x38", 8) + form + "AIFF" + chunk);
        EXPECT_NE(refused_.find("it cannot be read as a recording"), std::string::npos) << form << ": " << refused_;
    }
}

TEST_F(Streams, AHeaderWithoutALengthLetsTheStreamGoOn) {
    const std::vector<std::int16_t> samples = noise(3000);
    save<std::int16_t>("file.wav", samples);
    for (const std::string& size : {std::string(4, '\xFF'), std::string(4, '\0'), std::string("\0\xF0\xFF\x7F", 4)})
        EXPECT_EQ(streamed(reading("pipe.wav"), bytesOf("file.wav").replace(40, 4, size)), samples) << refused_;
}

TEST_F(Streams, AStreamThatEndsEarlyIsRefusedWhereItEnds) {
    const std::string cut = " | check that the file is whole; `partial` after its name reads what is there";
    for (const std::string ending : {"wav", "flac", "npy", "w64"}) {
        const std::vector<std::int16_t> samples = noise(9000);
        save<std::int16_t>("file." + ending, samples);
        const std::string bytes = bytesOf("file." + ending).substr(0, 12001);
        streamed(reading("pipe." + ending), bytes);
        EXPECT_TRUE(refused_.ends_with(cut)) << ending << ": " << refused_;
        std::vector<std::string> notes;
        const auto part = streamed(partOf("pipe." + ending), bytes, &notes);
        EXPECT_EQ(refused_, "nothing refused") << ending;
        EXPECT_TRUE(part.size() > 4000 && std::equal(part.begin(), part.end(), samples.begin())) << ending;
        EXPECT_EQ(notes.size(), 1U) << ending;
    }
    streamed(reading("pipe.bin"), "12345");
    EXPECT_EQ(refused_, "pipe.bin: it ends with 1 byte of an incomplete 16-bit integer sample" + cut);
}

TEST_F(Streams, FlacWithoutALengthEndsWithAWholeFrame) {
    save<std::int16_t>("file.flac", noise(9000));
    std::string bytes = bytesOf("file.flac");
    bytes[21] = static_cast<char>(bytes[21] & 0xF0);  // the header's number of samples, of 36 bits
    bytes.replace(22, 4, 4, '\0');
    const auto start = bytes.find("\xFF\xF8");
    EXPECT_EQ(streamed(reading("pipe.flac"), bytes), noise(9000)) << refused_;
    streamed(reading("pipe.flac"), bytes.substr(0, start));
    EXPECT_EQ(refused_, "nothing refused");
    for (const std::size_t size : {start + 3, std::size_t{12001}, bytes.size() - 1}) {
        streamed(reading("pipe.flac"), bytes.substr(0, size));
        EXPECT_EQ(refused_.substr(0, 35), "pipe.flac: it ends within a frame |") << size;
    }
}

// A sender that pauses within a frame holds back nothing that came before.
TEST_F(Streams, WholeFramesAreGivenWhilePartOfTheNextIsThere) {
    const std::vector<std::int16_t> samples = noise(3000);
    for (const std::string ending : {"bin", "npy", "wav", "au"}) {
        save<std::int16_t>("file." + ending, samples);
        const std::string bytes = bytesOf("file." + ending);
        ::mkfifo(at("pipe." + ending).c_str(), 0600);
        const int to = ::open(at("pipe." + ending).c_str(), O_RDWR | O_CLOEXEC);
        ::fcntl(to, F_SETPIPE_SZ, 16384);
        const std::size_t half = bytes.size() - 2001;
        ASSERT_EQ(::write(to, bytes.data(), half), static_cast<ssize_t>(half));
        const auto source = openSource(reading("pipe." + ending));
        std::vector<std::int16_t> got(5000);
        std::size_t count = 0;
        while (count < 1999) count += source->read(got.data() + count, got.size() - count);
        EXPECT_EQ(count, 1999U) << ending;
        EXPECT_FALSE(source->ready()) << ending;
        ASSERT_EQ(::write(to, bytes.data() + half, 2001), 2001);
        while (count < 3000) count += source->read(got.data() + count, got.size() - count);
        got.resize(count);
        EXPECT_EQ(got, samples) << ending;
        ::close(to);
    }
}

TEST_F(Streams, RowsBeforeAMistakeAreGivenFirst) {
    put("file.csv", "a,b\n1,2\n3,4\n5,six\n7,8\n");
    ReadRequest request = reading("file.csv");
    request.interleaved = 2;
    const auto source = openSource(request);
    std::vector<std::int16_t> got(100);
    EXPECT_EQ(source->read(got.data(), got.size()), 4U);
    EXPECT_EQ(got[3], 4);
    EXPECT_TRUE(source->ready());
    EXPECT_EQ(refusal([&] { source->read(got.data(), got.size()); }).substr(0, 42),
              "file.csv:4: `six` in column 2 is no number");
}

TEST_F(Streams, AHeaderIsNotTakenForSamples) {
    for (const auto& [start, format] :
         {std::pair("RIFF", "WAV"), {"fLaC", "FLAC"}, {"OggS", "OGG"}, {"\x93NUMPY", "NPY"}}) {
        const std::string bytes = start + std::string(20, '\1');
        streamed(reading("pipe.bin"), bytes);
        const std::string reason = std::string("it starts as ") + format + " files do, and raw samples are expected";
        EXPECT_EQ(refused_.substr(10, reason.size()), reason);
        put("file.bin", bytes);
        EXPECT_EQ(refusedRead("file.bin").substr(10, reason.size()), reason);
        ReadRequest raw = reading("file.bin");
        raw.format = "raw";
        EXPECT_EQ(elementsOf<std::int16_t>(raw).size(), bytes.size() / 2);
    }
}

TEST_F(Streams, WhatNeedsALengthIsNotWrittenToAStream) {
    for (const auto& [path, format] :
         {std::pair("-.npy", "NPY"), {"-.aiff", "AIFF"}, {"-.caf", "CAF"}, {"-.W64", "W64"}}) {
        const WriteRequest request{.path = path, .type = ElementType::int16};
        EXPECT_EQ(refusal([&] { createSink(request); }),
                  std::string("standard output: ") + format +
                      " states its length before its samples, and a stream's is not known by then | "
                      "write WAV, AU, FLAC, CSV or raw samples");
    }
    EXPECT_EQ(refusal([&] { createSink(WriteRequest{.path = "-.wavv", .type = ElementType::int16}); }).substr(0, 28),
              "-: there is no format `wavv`");
}

}  // namespace
}  // namespace libzepl
