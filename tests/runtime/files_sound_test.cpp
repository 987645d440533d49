// Sound files: widths and types read and written, channels, what a format cannot hold, and the same bytes every time.

#include "runtime/files/sound_formats.h"

#include <sndfile.h>

#include "tests/runtime/files_support.h"
#include "tests/support/system_calls.h"

namespace libzepl {
namespace {

class SoundTest : public FilesTest {
 protected:
    // A recording of two channels, from integers of full width or from reals.
    template <class Sample>
    void record(const std::string& name, int format, const std::vector<Sample>& samples, int channels = 2) {
        SF_INFO info{};
        info.channels = channels;
        info.samplerate = 360;
        info.format = format;
        SNDFILE* const sound = sf_open(at(name).c_str(), SFM_WRITE, &info);
        ASSERT_NE(sound, nullptr) << sf_strerror(nullptr);
        const auto count = static_cast<sf_count_t>(samples.size());
        if constexpr (std::is_same_v<Sample, int>)
            ASSERT_EQ(sf_write_int(sound, samples.data(), count), count);
        else
            ASSERT_EQ(sf_write_double(sound, samples.data(), count), count);
        sf_close(sound);
    }

    template <class T>
    std::string refusedSink(const std::string& name, double rate = 1000, std::optional<std::uint64_t> limit = {}) {
        const WriteRequest request{
            .path = at(name), .type = elementTypeOf<T>(), .rate = rate, .name = "", .limit = limit};
        return refusal([&] { createSink(request); });
    }
};

TEST_F(SoundTest, IntegersOfEveryWidthAreReadUnscaled) {
    const std::vector<int> edges{INT32_MIN, INT32_MAX, -16777216, 16777216};
    const struct {
        std::string name;
        int format, shift;
    } cases[] = {
        {"a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_U8, 24},   {"b.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_S8, 24},
        {"c.WAV", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 16},   {"d.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 8},
        {"e.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_S8, 24}, {"f.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_24, 8},
        {"g.w64", SF_FORMAT_W64 | SF_FORMAT_PCM_32, 0},    {"h.caf", SF_FORMAT_CAF | SF_FORMAT_ALAC_16, 16},
    };
    for (const auto& row : cases) {
        record(row.name, row.format, edges);
        std::vector<std::int32_t> expected;
        for (int edge : edges) expected.push_back(edge >> row.shift);
        EXPECT_EQ(elementsOf<std::int32_t>(allOf(row.name, 2, ElementType::int32)), expected) << row.name;
        const auto source = openSource(allOf(row.name, 2, ElementType::int32));
        EXPECT_EQ(source->length(), 4U) << row.name;
        EXPECT_EQ(source->channels(), 2) << row.name;
        EXPECT_EQ(source->rate(), 360.0) << row.name;
    }
}

TEST_F(SoundTest, RealsAreReadUnscaledAndUnclipped) {
    const std::vector<double> values{2.5, -3.5, 40000.0, 0.5};
    for (const auto& [name, format] : {std::pair("a.wav", SF_FORMAT_DOUBLE), {"b.wav", SF_FORMAT_FLOAT}}) {
        record(name, SF_FORMAT_WAV | format, values, 1);
        EXPECT_EQ(elementsOf<double>(name), values) << name;
    }
    EXPECT_EQ(elementsOf<std::int16_t>("b.wav", "rounded"), (std::vector<std::int16_t>{2, -4, 32767, 0}));
    record("c.ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS, std::vector<double>(2000, 0.5), 1);
    const auto decoded = elementsOf<float>("c.ogg");
    ASSERT_EQ(decoded.size(), 2000U);
    EXPECT_NEAR(decoded[1000], 0.5F, 0.1F);
}

TEST_F(SoundTest, ARecordingThatDoesNotFitTheTypeIsRefused) {
    record("a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, std::vector<int>{1 << 8, -1 << 8}, 1);
    EXPECT_EQ(refusedRead("a.wav"),
              "a.wav: its 24-bit integer samples do not fit the type `int16` without loss | declare `int32` or `float` "
              "or `double`, or ask for `convert rounded`, `convert truncated` or `convert scaled`");
    EXPECT_EQ(elementsOf<float>("a.wav", "scaled"), (std::vector<float>{0x1p-23F, -0x1p-23F}));
}

TEST_F(SoundTest, EveryFormatHoldsWhatIsWritten) {
    for (const std::string name : {"a.wav", "a.aiff", "a.aif", "a.au", "a.snd", "a.w64", "a.caf", "a.rf64"}) {
        save<std::int32_t>(name, {INT32_MIN, INT32_MAX, 1, -1});
        EXPECT_EQ(elementsOf<std::int32_t>(name), (std::vector<std::int32_t>{INT32_MIN, INT32_MAX, 1, -1})) << name;
        save<double>(name, {1e300, -0.1});
        EXPECT_EQ(elementsOf<double>(name), (std::vector<double>{1e300, -0.1})) << name;
        save<float>(name, {});
        EXPECT_TRUE(elementsOf<float>(name).empty()) << name;
    }
    std::vector<std::int16_t> full;
    for (int i = -32768; i < 32768; ++i) full.push_back(static_cast<std::int16_t>(i));
    for (const std::string name : {"a.wav", "a.flac"}) {
        save<std::int16_t>(name, full);
        EXPECT_EQ(elementsOf<std::int16_t>(name), full) << name;
    }
    save<std::int16_t>("a.flac", {});
    EXPECT_TRUE(elementsOf<std::int16_t>("a.flac").empty());
}

TEST_F(SoundTest, TheSameSamplesGiveTheSameBytesAtAnyTime) {
    const RunningClock clock;
    for (const std::string name : {"a.wav", "a.flac", "a.aiff", "a.aif", "a.au", "a.snd", "a.w64", "a.caf", "a.rf64"}) {
        const auto written = [&]<class T>(T) {
            save<T>(name, {1, -1, 3});
            return bytesOf(name);
        };
        EXPECT_EQ(written(std::int16_t{}), written(std::int16_t{})) << name;
        if (name == "a.flac") continue;
        EXPECT_EQ(written(std::int32_t{}), written(std::int32_t{})) << name;
        EXPECT_EQ(written(float{}), written(float{})) << name;
        EXPECT_EQ(written(double{}), written(double{})) << name;
    }
}

TEST_F(SoundTest, SeveralChannelsAreWrittenFrameByFrame) {
    const std::vector<std::int16_t> samples{1, 2, 3, 4, 5, 6, 7};
    for (const std::string name : {"a.wav", "a.flac", "a.caf", "a.npy", "a.csv", "a.bin"}) {
        WriteRequest request = writing<std::int16_t>(name);
        request.channels = 3;
        const auto sink = createSink(request);
        for (const std::int16_t& sample : samples) sink->write(&sample, 1);
        sink->finish();
        const auto source = openSource(allOf(name, 3));
        EXPECT_EQ(elementsOf<std::int16_t>(*source), (std::vector<std::int16_t>{1, 2, 3, 4, 5, 6})) << name;
        EXPECT_EQ(source->channels(), 3) << name;
        if (name == "a.bin") continue;
        const std::string unit = name == "a.csv" ? "column" : "channel",
                          rest =
                              "all, frame by frame, with `interleaved 3`, or each as an element of an array, NAME[3]";
        EXPECT_EQ(refusedRead(name), name + ": it has 3 " + unit +
                                         "s, and which of them is not said | take one with `" + unit + " K`, " + rest);
        EXPECT_EQ(refusedRead(allOf(name, 2)), name + ": it has 3 " + unit +
                                                   "s, and not 2 | take all with `interleaved 3`, "
                                                   "or one with `" +
                                                   unit + " K`");
    }
    EXPECT_EQ(bytesOf("a.csv"), "signal[1],signal[2],signal[3]\n1,2,3\n4,5,6\n");
    WriteRequest request = writing<std::int16_t>("b.flac");
    request.channels = 9;
    EXPECT_EQ(refusal([&] { createSink(request); }),
              "b.flac: FLAC holds at most 8 channels, and not 9 | write .npy or .csv, which hold any number");
}

TEST_F(SoundTest, AFormatThatCannotHoldTheOutputRefusesIt) {
    const std::string rates = " | write .npy, .csv or .bin, which go with any rate";
    const std::string wavRates = "a.wav: WAV keeps whole rates from 1 to 2147483647 frames a second, and not ";
    EXPECT_EQ(refusedSink<float>("a.flac"),
              "a.flac: FLAC does not hold the type `float` | write .wav, .w64, .caf or .npy, which hold every type");
    EXPECT_EQ(refusedSink<std::int16_t>("a.flac", 655351),
              "a.flac: FLAC keeps whole rates from 1 to 655350 frames a second, and not 655351" + rates);
    for (const auto& [rate, text] : {std::pair(0.5, "0.5"), std::pair(0.0, "0"), std::pair(2147483648.0, "2147483648")})
        EXPECT_EQ(refusedSink<std::int16_t>("a.wav", rate), wavRates + text + rates);
    EXPECT_EQ(refusedSink<std::int16_t>("a.wav", 2147483647.0), "nothing refused");
    EXPECT_EQ(refusedSink<double>("a.wav", 1000, 536870401),
              "a.wav: 536870401 elements are more than WAV holds, at most 536870400 | "
              "write .w64 or .npy, which have no such limit");
    EXPECT_EQ(refusedSink<double>("a.wav", 1000, 536870400), "nothing refused");
    EXPECT_EQ(refusedSink<double>("a.w64", 1000, 536870401), "nothing refused");
    EXPECT_EQ(refusedSink<float>("a.ogg"),
              "a.ogg: files that end in .ogg can be read, not written | "
              "write .wav, .flac, .aiff, .au, .w64, .caf, .rf64, .npy, .csv or .bin");
    EXPECT_EQ(filesInAll(), 0U);
}

TEST_F(SoundTest, AnOutputThatGrowsPastItsFormatIsRefused) {
    SoundFormat small = soundFormatFor("a.wav");
    small.maxBytes = 10;
    const auto sink = createSound(writing<std::int16_t>("a.wav"), small);
    const std::vector<std::int16_t> elements(5);
    sink->write(elements.data(), 4);
    EXPECT_EQ(refusal([&] { sink->write(elements.data(), 2); }),
              "a.wav: the recording grows past what WAV holds, 5 elements | "
              "write .w64 or .npy, which have no such limit");
    sink->write(elements.data(), 1);
    sink->finish();
    EXPECT_EQ(elementsOf<std::int16_t>("a.wav").size(), 5U);
}

TEST_F(SoundTest, WhatIsNoRecordingIsRefused) {
    put("empty.wav", "");
    put("text.wav", "not a recording at all, by its first bytes");
    save<std::int16_t>("cut.flac", noise(9000));
    put("cut.flac", bytesOf("cut.flac").substr(0, 12000));
    EXPECT_EQ(refusedRead("empty.wav"), "empty.wav: the file is empty | check that the recording was made");
    EXPECT_EQ(refusedRead("text.wav").substr(0, 42), "text.wav: it cannot be read as a recording");
    EXPECT_NE(refusedRead("cut.flac"), "nothing refused");
}

}  // namespace
}  // namespace libzepl
