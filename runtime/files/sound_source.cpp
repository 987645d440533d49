// Recordings in the formats of the sound library.

#include <sndfile.h>

#include <algorithm>

#include "runtime/diagnostics.h"
#include "runtime/files/recording.h"
#include "runtime/files/sound_ends.h"
#include "runtime/files/sound_formats.h"
#include "runtime/files/sound_layout.h"

namespace libzepl {

namespace {

struct CloseSound {
    void operator()(SNDFILE* sound) const { sf_close(sound); }
};
using Sound = std::unique_ptr<SNDFILE, CloseSound>;

std::string announced(std::uint64_t due, std::uint64_t there, const std::string& unit) {
    return "its header announces " + counted(due, unit) + ", but it holds " + std::to_string(there);
}

std::string incomplete(std::uint64_t rest, std::uint64_t frame) {
    return "it ends with " + counted(rest, "byte") + " of an incomplete frame of " + std::to_string(frame);
}

// Where the samples end: where the library says, about there, or where the stream does, be it one of FLAC or of samples.
enum class SoundEnd { stated, estimated, open, openFlac };

class SoundRecording final : public Recording {
 public:
    SoundRecording(std::unique_ptr<SoundBytes> bytes, Sound sound, const RecordingFacts& facts, SoundEnd end,
                   Completeness complete)
        : Recording(facts),
          bytes_(std::move(bytes)),
          sound_(std::move(sound)),
          end_(end),
          complete_(std::move(complete)) {
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
    std::vector<std::string> notes() const override { return complete_.notes(); }
    bool ready() const override { return ended_ || bytes_->ready(); }
    int descriptor() const override { return bytes_->descriptor(); }

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
        sf_count_t frames = 0;
        if (!ended_) frames = readf(sound_.get(), samples.data(), blockFrames_);
        if (frames <= 0 && !ended_ && end_ == SoundEnd::open) {
            // It continues past what its header seems to promise.
            sf_seek(sound_.get(), 0, SEEK_SET);
            frames = readf(sound_.get(), samples.data(), blockFrames_);
        }
        bytes_->rethrow();
        frames = std::max<sf_count_t>(0, frames);
        samples.resize(static_cast<std::size_t>(frames) * channels);
        framesRead_ += static_cast<std::uint64_t>(frames);
        checkFrames(frames == 0);
    }

    void checkFrames(bool atEnd) {
        if (ended_) return;
        if (sf_error(sound_.get()) != SF_ERR_NO_ERROR) {
            ended_ = true;
            return complete_.lacks("frame " + std::to_string(framesRead_) +
                                   " cannot be decoded: " + sf_strerror(sound_.get()) + " (frames count from 0)");
        }
        if (!atEnd) return;
        ended_ = true;
        if (end_ == SoundEnd::stated && facts().frames && framesRead_ < *facts().frames)
            return complete_.lacks(announced(*facts().frames, framesRead_, "frame"));
        if (end_ == SoundEnd::openFlac)
            if (const auto missing = missingFlacEnd(*bytes_)) return complete_.lacks(*missing);
        if (bytes_->rest() > 0) complete_.lacks(incomplete(bytes_->rest(), bytes_->frameBytes()));
    }

    std::unique_ptr<SoundBytes> bytes_;  // outlives the library's hold on it
    Sound sound_;
    SoundEnd end_;
    Completeness complete_;
    bool ended_ = false;
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

bool isMpeg(int libraryFormat) { return (libraryFormat & SF_FORMAT_TYPEMASK) == SF_FORMAT_MPEG; }

// Sets the header of a file right by what the file holds, where that is asked for.
void checkExtent(SoundBytes& bytes, const SoundLayout& layout, Completeness& complete) {
    const std::uint64_t size = *bytes.size(), there = size - std::min(size, layout.dataStart);
    const std::uint64_t frame = std::max<std::uint64_t>(layout.frameBytes, 1);
    const bool isCut = layout.dataBytes > there && !layout.isOpen;
    std::uint64_t used = std::min(layout.dataBytes, there);
    if (isCut)
        complete.lacks(announced(layout.dataBytes / frame, there / frame, layout.frameBytes > 0 ? "frame" : "byte"));
    const bool isEmpty = there == 0 || (layout.isChunked && endsInChunks(bytes, layout.dataStart, size));
    if (layout.dataBytes == 0 && !isEmpty) {
        complete.lacks("its header states 0 bytes of samples, and " + counted(there, "byte") +
                       " follow: its recording was not finished");
        used = there;
    } else if (!isCut && used % frame != 0) {
        complete.lacks(incomplete(used % frame, frame));
    }
    used -= used % frame;
    if (used != layout.dataBytes) patchSizes(bytes, layout, used);
}

// A stream without a length, which may also be stated as 0, continues to its end. The library is told of very many samples.
bool isOpenStream(SoundBytes& bytes, const SoundLayout& layout) {
    if (!layout.isOpen && layout.dataBytes != 0) {
        bytes.portAt(layout.dataStart + layout.dataBytes);
        return false;
    }
    const std::uint64_t many =
        layout.sizes.empty() || layout.sizes.front().width == 4 ? 0x7FFF0000 : std::uint64_t{1} << 60;
    patchSizes(bytes, layout, many - many % std::max<std::uint64_t>(layout.frameBytes, 1));
    return true;
}

// The file's bytes, ready for the library; those of a stream that cannot be read as it comes are all fetched.
std::unique_ptr<SoundBytes> soundBytes(const ReadRequest& request) {
    auto bytes = std::make_unique<SoundBytes>(std::make_unique<InputFile>(request.path, request.descriptor));
    std::array<char, 12> start{};
    const std::size_t got = bytes->peek(0, start.data(), start.size());
    if (got == 0) throw fileProblem(bytes->name(), "the file is empty", "check that the recording was made");
    if (!bytes->size() && !flows({start.data(), got})) bytes->spool();
    return bytes;
}

bool isFlac(SoundBytes& bytes) {
    std::array<char, 4> start{};
    return bytes.peek(0, start.data(), start.size()) == 4 && std::string_view(start.data(), 4) == "fLaC";
}

Sound openLibrary(SoundBytes& bytes, SF_INFO& info) {
    SF_VIRTUAL_IO access = SoundBytes::access();
    Sound sound(sf_open_virtual(&access, SFM_READ, &info, &bytes));
    bytes.rethrow();
    if (!sound)
        throw fileProblem(bytes.name(), std::string("it cannot be read as a recording: ") + sf_strerror(nullptr),
                          "check that the file is whole, and that its ending is that of its format");
    const int normalise = isStoredReal(info.format) ? SF_FALSE : SF_TRUE;
    sf_command(sound.get(), SFC_SET_NORM_FLOAT, nullptr, normalise);
    sf_command(sound.get(), SFC_SET_NORM_DOUBLE, nullptr, normalise);
    return sound;
}

}  // namespace

std::unique_ptr<Source> openSound(const ReadRequest& request) {
    std::unique_ptr<SoundBytes> bytes = soundBytes(request);
    Completeness complete(bytes->name(), request.partial);
    const std::optional<SoundLayout> layout = readSoundLayout(*bytes);
    if (!bytes->size() && !layout && !isFlac(*bytes)) bytes->spool();  // the library looks for samples up to the end
    SoundEnd end = SoundEnd::stated;
    if (bytes->size() && layout) checkExtent(*bytes, *layout, complete);
    if (bytes->size() && !layout)
        if (const auto missing = missingEnd(*bytes)) complete.lacks(*missing);
    if (!bytes->size() && layout && isOpenStream(*bytes, *layout)) end = SoundEnd::open;
    SF_INFO info{};
    Sound sound = openLibrary(*bytes, info);
    RecordingFacts facts = factsOf(info, bytes->name());
    if (end == SoundEnd::open) facts.frames.reset();
    if (isMpeg(info.format)) end = SoundEnd::estimated;
    if (!bytes->size() && facts.frames.value_or(0) == 0 && isFlac(*bytes)) {
        end = SoundEnd::openFlac;
        bytes->keepEnd(longestFlacFrame(*bytes));
    }
    if (layout)
        bytes->flow(layout->dataStart, static_cast<std::size_t>(layout->frameBytes));
    else
        bytes->flow(bytes->position(), 1);
    return convertedSource(
        std::make_unique<SoundRecording>(std::move(bytes), std::move(sound), facts, end, std::move(complete)), request);
}

}  // namespace libzepl
