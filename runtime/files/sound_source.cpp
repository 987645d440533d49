// Recordings in the formats of the sound library.

#include <sndfile.h>

#include <algorithm>

#include "runtime/diagnostics.h"
#include "runtime/files/input_file.h"
#include "runtime/files/recording.h"
#include "runtime/files/sound_formats.h"

namespace libzepl {

namespace {

struct CloseSound {
    void operator()(SNDFILE* sound) const { sf_close(sound); }
};
using Sound = std::unique_ptr<SNDFILE, CloseSound>;

class SoundRecording final : public Recording {
 public:
    SoundRecording(std::unique_ptr<InputFile> file, Sound sound, const RecordingFacts& facts)
        : Recording(facts), file_(std::move(file)), sound_(std::move(sound)) {
        blockFrames_ = std::max<sf_count_t>(1, static_cast<sf_count_t>(blockSize) / facts.channels);
    }

    void read(SampleBlock& block) override {
        const SampleFormat format = facts().format;
        if (format.kind == SampleFormat::Kind::real && format.bits == 32)
            readFrames(samplesIn<float>(block, 0), sf_readf_float);
        else if (format.kind == SampleFormat::Kind::real)
            readFrames(samplesIn<double>(block, 0), sf_readf_double);
        else if (format.bits == 16)
            readFrames(samplesIn<std::int16_t>(block, 0), sf_readf_short);
        else if (format.bits == 32)
            readFrames(samplesIn<std::int32_t>(block, 0), sf_readf_int);
        else
            readIntegers(samplesIn<std::int64_t>(block, 0), 32 - format.bits);
    }

 private:
    // The library gives integers of every width shifted up to 32 bits.
    void readIntegers(std::vector<std::int64_t>& samples, int shift) {
        readFrames(integers_, sf_readf_int);
        samples.resize(integers_.size());
        std::transform(integers_.begin(), integers_.end(), samples.begin(), [shift](int x) { return x >> shift; });
    }

    template <class Sample>
    void readFrames(std::vector<Sample>& samples, sf_count_t (*readf)(SNDFILE*, Sample*, sf_count_t)) {
        const auto channels = static_cast<std::size_t>(facts().channels);
        samples.resize(static_cast<std::size_t>(blockFrames_) * channels);
        const auto frames = std::max<sf_count_t>(0, readf(sound_.get(), samples.data(), blockFrames_));
        samples.resize(static_cast<std::size_t>(frames) * channels);
        framesRead_ += static_cast<std::uint64_t>(frames);
        if (frames == 0) checkEnd();
    }

    void checkEnd() const {
        if (sf_error(sound_.get()) != SF_ERR_NO_ERROR)
            throw fileProblem(file_->name(),
                              "frame " + std::to_string(framesRead_) +
                                  " cannot be decoded: " + sf_strerror(sound_.get()) + " (frames count from 0)",
                              "check that the file is whole");
        const bool exact = facts().format.kind != SampleFormat::Kind::real;
        if (exact && facts().frames && framesRead_ < *facts().frames)
            throw fileProblem(file_->name(),
                              "its header tells of " + counted(*facts().frames, "frame") + ", and it holds " +
                                  std::to_string(framesRead_),
                              "check that the file is whole");
    }

    std::unique_ptr<InputFile> file_;  // outlives the library's hold on its descriptor
    Sound sound_;
    sf_count_t blockFrames_;
    std::uint64_t framesRead_ = 0;
    std::vector<int> integers_;
};

RecordingFacts factsOf(const SF_INFO& info, const std::string& name) {
    const auto samples = soundSamples(info.format);
    if (!samples)
        throw fileProblem(name, "the way its samples are encoded cannot be read", "convert it to .wav or .flac");
    if (info.channels < 1) throw fileProblem(name, "it has no channels");
    RecordingFacts facts;
    facts.format = *samples;
    facts.channels = info.channels;
    if (info.frames >= 0 && info.frames < SF_COUNT_MAX / info.channels)
        facts.frames = static_cast<std::uint64_t>(info.frames);
    if (info.samplerate > 0) facts.rate = info.samplerate;
    return facts;
}

// The library's decoders of lossy formats give values from -1 to 1 only when they normalise.
bool isStoredReal(int libraryFormat) {
    const int encoding = libraryFormat & SF_FORMAT_SUBMASK;
    return encoding == SF_FORMAT_FLOAT || encoding == SF_FORMAT_DOUBLE;
}

}  // namespace

std::unique_ptr<Source> openSound(const ReadRequest& request) {
    auto file = std::make_unique<InputFile>(request.path);
    if (!file->size())
        throw fileProblem(file->name(), "recordings are read from files, not from a pipe or a device",
                          "copy it to a file");
    if (*file->size() == 0) throw fileProblem(file->name(), "the file is empty", "check that the recording was made");
    SF_INFO info{};
    Sound sound(sf_open_fd(file->descriptor(), SFM_READ, &info, SF_FALSE));
    if (!sound)
        throw fileProblem(file->name(), std::string("it cannot be read as a recording: ") + sf_strerror(nullptr),
                          "check that the file is whole and what its ending says");
    const RecordingFacts facts = factsOf(info, file->name());
    const int normalise = isStoredReal(info.format) ? SF_FALSE : SF_TRUE;
    sf_command(sound.get(), SFC_SET_NORM_FLOAT, nullptr, normalise);
    sf_command(sound.get(), SFC_SET_NORM_DOUBLE, nullptr, normalise);
    return convertedSource(std::make_unique<SoundRecording>(std::move(file), std::move(sound), facts), request);
}

}  // namespace libzepl
