// Files that are cut, damaged or not brought to an end, and reads that fail.

#include <sndfile.h>

#include "tests/runtime/files_support.h"
#include "tests/support/system_calls.h"

namespace libzepl {
namespace {

using namespace std::string_literals;

struct Container {
    std::string name;
    int format;
};
const std::vector<Container> containers{
    {"a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16},    {"x.wav", SF_FORMAT_WAVEX | SF_FORMAT_PCM_24},
    {"i.wav", SF_FORMAT_WAV | SF_FORMAT_IMA_ADPCM}, {"r.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16 | SF_ENDIAN_BIG},
    {"a.rf64", SF_FORMAT_RF64 | SF_FORMAT_FLOAT},   {"a.w64", SF_FORMAT_W64 | SF_FORMAT_DOUBLE},
    {"a.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16},  {"f.aiff", SF_FORMAT_AIFF | SF_FORMAT_FLOAT},
    {"a.au", SF_FORMAT_AU | SF_FORMAT_PCM_32},      {"l.au", SF_FORMAT_AU | SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE},
    {"a.caf", SF_FORMAT_CAF | SF_FORMAT_PCM_16},    {"a.svx", SF_FORMAT_SVX | SF_FORMAT_PCM_16},
    {"a.nist", SF_FORMAT_NIST | SF_FORMAT_PCM_16},  {"a.avr", SF_FORMAT_AVR | SF_FORMAT_PCM_16},
    {"a.voc", SF_FORMAT_VOC | SF_FORMAT_PCM_16},    {"a.wve", SF_FORMAT_WVE | SF_FORMAT_ALAW},
    {"a.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16},  {"a.ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS},
    {"a.opus", SF_FORMAT_OGG | SF_FORMAT_OPUS},     {"a.mp3", SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III},
};

class BrokenFiles : public FilesTest {
 protected:
    void record(const Container& container, std::size_t count) const {
        SF_INFO info{};
        info.channels = 1;
        info.samplerate = 8000;
        info.format = container.format;
        SNDFILE* const sound = sf_open(at(container.name).c_str(), SFM_WRITE, &info);
        ASSERT_NE(sound, nullptr) << container.name << sf_strerror(nullptr);
        const std::vector<std::int16_t> samples = noise(count);
        ASSERT_EQ(sf_write_short(sound, samples.data(), static_cast<sf_count_t>(count)),
                  static_cast<sf_count_t>(count));
        sf_close(sound);
    }
    // Cuts off `less` bytes.
    void cut(const std::string& name, std::size_t less) const {
        put(name, bytesOf(name).substr(0, bytesOf(name).size() - less));
    }

    ReadRequest asDouble(const std::string& name, bool partial) const {
        ReadRequest request = reading(name, ElementType::float64);
        request.partial = partial;
        return request;
    }
    std::vector<std::string> notesOf(const ReadRequest& request) const {
        std::vector<std::string> notes;
        readVector(request, notes);
        for (std::string& note : notes) note = note.substr(folder_.string().size() + 1);
        return notes;
    }
};

TEST_F(BrokenFiles, ACutRecordingIsRefusedAndItsPartIsReadOnlyWhereAskedFor) {
    for (const Container& container : containers) {
        const std::string& name = container.name;
        record(container, 40000);
        const auto whole = elementsOf<double>(asDouble(name, false));
        ASSERT_GE(whole.size(), 40000U) << name;
        EXPECT_EQ(notesOf(asDouble(name, true)), Lines{}) << name;
        cut(name, bytesOf(name).size() / 2);
        EXPECT_NE(refusedRead(asDouble(name, false)).find("`partial` after its name reads what is there"),
                  std::string::npos)
            << name << ": " << refusedRead(asDouble(name, false));
        const auto part = elementsOf<double>(asDouble(name, true));
        EXPECT_TRUE(part.size() > 5000 && part.size() < 30000) << name << " " << part.size();
        // A lossy decoder ends a part in its own way.
        EXPECT_TRUE(name == "a.opus" || std::equal(part.begin(), part.end() - 1152, whole.begin())) << name;
        EXPECT_EQ(notesOf(asDouble(name, true)).size(), 1U) << name;
    }
}

TEST_F(BrokenFiles, TheLastByteIsMissed) {
    for (const std::string name : {"a.wav", "a.rf64", "a.w64", "a.aiff", "a.au", "a.caf"}) {
        save<std::int32_t>(name, {1, 2, 3});
        cut(name, 1);
        EXPECT_EQ(refusedRead(reading(name, ElementType::int32)),
                  name +
                      ": its header announces 3 frames, but it holds 2 | check that the file is whole; "
                      "`partial` after its name reads what is there");
        EXPECT_EQ(elementsOf<std::int32_t>(partOf(name, ElementType::int32)), (std::vector<std::int32_t>{1, 2}))
            << name;
    }
}

TEST_F(BrokenFiles, ARecordingThatWasNotBroughtToAnEndIsNamedAsSuch) {
    const struct {
        std::string name, before;
        std::size_t offset, width;
    } sizes[] = {{"a.wav", "data", 4, 4},  {"a.w64", "data\xF3", 16, 8}, {"a.au", ".snd", 8, 4},
                 {"a.aiff", "SSND", 4, 4}, {"a.caf", "data", 4, 8},      {"a.rf64", "ds64", 16, 8}};
    for (const auto& row : sizes) {
        save<std::int16_t>(row.name, {1, 2, 3});
        std::string bytes = bytesOf(row.name);
        put(row.name, bytes.replace(bytes.find(row.before) + row.offset, row.width, row.width, '\0'));
        const std::string reason = row.name +
                                   ": its header states 0 bytes of samples, and 6 bytes follow: "
                                   "its recording was not finished";
        EXPECT_EQ(refusedRead(row.name), reason +
                                             " | check that the file is whole; "
                                             "`partial` after its name reads what is there");
        EXPECT_EQ(elementsOf<std::int16_t>(partOf(row.name)), (std::vector<std::int16_t>{1, 2, 3})) << row.name;
        EXPECT_EQ(notesOf(partOf(row.name)), Lines{reason + "; `partial` took what is there"});
    }
}

TEST_F(BrokenFiles, WhatIsLegalIsReadInSilence) {
    const auto changed = [&](const std::string& name, std::size_t offset, const std::string& size) {
        save<std::int16_t>(name, {1, 2, 3});
        return put(name, bytesOf(name).replace(offset, size.size(), size));
    };
    changed("a.wav", 40, "\xFF\xFF\xFF\xFF");
    changed("b.wav", 40, "\x00\xF0\xFF\x7F"s);
    changed("a.au", 8, "\xFF\xFF\xFF\xFF");
    save<std::int16_t>("a.caf", {1, 2, 3});
    changed("a.caf", bytesOf("a.caf").find("data") + 4, std::string(8, '\xFF'));
    save<std::int16_t>("list.wav", {1, 2, 3});
    put("list.wav", bytesOf("list.wav") + "LIST\x05\0\0\0INFOx\0"s);
    for (const std::string name : {"a.wav", "b.wav", "a.au", "a.caf", "list.wav"}) {
        EXPECT_EQ(elementsOf<std::int16_t>(name), (std::vector<std::int16_t>{1, 2, 3})) << name;
        EXPECT_EQ(notesOf(partOf(name)), Lines{}) << name;
    }
    save<std::int16_t>("empty.wav", {});
    put("empty.wav", bytesOf("empty.wav") + "LIST\x04\0\0\0INFO"s);
    EXPECT_EQ(elementsOf<std::int16_t>("empty.wav"), std::vector<std::int16_t>{});
}

TEST_F(BrokenFiles, ABrokenEndIsLeftOutWhereThePartIsWanted) {
    put("a.bin", "12345");
    EXPECT_EQ(elementsOf<std::int16_t>(partOf("a.bin")).size(), 2U);
    EXPECT_EQ(notesOf(partOf("a.bin")), Lines{"a.bin: it ends with 1 byte of an incomplete 16-bit integer sample; "
                                              "`partial` took what is there"});
    put("a.csv", "a,b\n1,2\n3");
    ReadRequest request = partOf("a.csv");
    request.column = 1;
    EXPECT_EQ(elementsOf<std::int16_t>(request), std::vector<std::int16_t>{1});
    EXPECT_EQ(notesOf(request), Lines{"a.csv: its last line, 3, is cut; `partial` took what is there"});
    save<std::int16_t>("a.npy", {1, 2, 3});
    cut("a.npy", 1);
    EXPECT_EQ(elementsOf<std::int16_t>(partOf("a.npy")), (std::vector<std::int16_t>{1, 2}));
    EXPECT_EQ(notesOf(partOf("a.npy")),
              Lines{"a.npy: its header announces 3 frames, but it holds 2; `partial` took what is there"});
    save<std::int16_t>("odd.wav", {1, 2, 3});
    put("odd.wav", bytesOf("odd.wav").replace(40, 1, "\x05"));
    EXPECT_EQ(refusedRead("odd.wav").substr(0, 59), "odd.wav: it ends with 1 byte of an incomplete frame of 2 | ");
}

// Whichever read of a file fails, the reading fails with the system's reason, and never ends early.
TEST_F(BrokenFiles, AReadThatFailsIsNoEnd) {
    std::vector<std::string> names{"a.npy", "a.csv", "a.bin"};
    for (const std::string& name : names) save<std::int16_t>(name, noise(40000));
    for (const Container& container : containers) {
        record(container, 40000);
        names.push_back(container.name);
    }
    for (const std::string& name : names) {
        const bool isRaw = name == "a.bin";
        const ReadRequest request =
            isRaw ? reading(name) : reading(name, ElementType::float64, name == "a.csv" ? "" : "rounded");
        for (std::int64_t passing = 0;; passing += passing / 4 + 1) {
            std::string refused;
            const FailingReads failing(passing);
            refused = refusedRead(request);
            if (!failing.failed()) {
                EXPECT_EQ(refused, "nothing refused") << name;
                EXPECT_GT(passing, 1) << name;
                break;
            }
            EXPECT_NE(refused.find(name + ": cannot be read: Input/output error"), std::string::npos)
                << name << " " << passing << ": " << refused;
        }
    }
    put("t.csv", "event,position\nassert,1\n");
    const FailingReads failing(0);
    const std::string error = "t.csv: cannot be read: Input/output error | ";
    EXPECT_EQ(refusal([&] { readTriggerRows(at("t.csv")); }), error);
    EXPECT_EQ(refusal([&] { readTextFile(at("t.csv")); }), error);
}

TEST_F(BrokenFiles, ARunWhoseInputFailsHasFailed) {
    save<std::int16_t>("a.wav", noise(40000));
    TestSession session;
    const PipeId a = session.pipe("a", {}, ElementType::int16), b = session.pipe("b", {}, ElementType::int16);
    session.setInput(a, openSource(reading("a.wav")));
    session.collect(b);
    session.task("ABS", a, b);
    const FailingReads failing(1);
    const Report report = session.run();
    EXPECT_EQ(report.status, Report::Status::failed);
    EXPECT_EQ(report.reason, at("a.wav").string() + ": cannot be read: Input/output error");
}

}  // namespace
}  // namespace libzepl
