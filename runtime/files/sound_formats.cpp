#include "runtime/files/sound_formats.h"

#include <sndfile.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "runtime/diagnostics.h"
#include "runtime/files/input_file.h"

namespace libzepl {

namespace {

constexpr std::array<int, 4> allEncodings{SF_FORMAT_PCM_16, SF_FORMAT_PCM_32, SF_FORMAT_FLOAT, SF_FORMAT_DOUBLE};
constexpr std::array<int, 4> only16Bit{SF_FORMAT_PCM_16, 0, 0, 0};

// 4096 bytes are more than any header of these formats.
constexpr std::uint64_t twoGigabytes = (std::uint64_t{1} << 31) - 4096, fourGigabytes = (std::uint64_t{1} << 32) - 4096;
constexpr std::uint64_t unbounded = std::numeric_limits<std::int64_t>::max() - 4096;
constexpr int anyRate = std::numeric_limits<int>::max();
constexpr int manyChannels = 1024;

constexpr std::array<SoundFormat, 9> writable{{
    {".wav", "WAV", SF_FORMAT_WAV, allEncodings, fourGigabytes, manyChannels, anyRate},
    {".flac", "FLAC", SF_FORMAT_FLAC, only16Bit, unbounded, 8, 655350},
    {".aiff", "AIFF", SF_FORMAT_AIFF, allEncodings, twoGigabytes, manyChannels, anyRate},
    {".aif", "AIFF", SF_FORMAT_AIFF, allEncodings, twoGigabytes, manyChannels, anyRate},
    {".au", "AU", SF_FORMAT_AU, allEncodings, fourGigabytes, manyChannels, anyRate},
    {".snd", "AU", SF_FORMAT_AU, allEncodings, fourGigabytes, manyChannels, anyRate},
    {".w64", "W64", SF_FORMAT_W64, allEncodings, unbounded, manyChannels, anyRate},
    {".caf", "CAF", SF_FORMAT_CAF, allEncodings, unbounded, manyChannels, anyRate},
    {".rf64", "RF64", SF_FORMAT_RF64, allEncodings, unbounded, manyChannels, anyRate},
}};

constexpr std::array<std::string_view, 20> onlyRead{".ogg", ".oga", ".opus", ".mp3", ".aifc", ".avr", ".htk",
                                                    ".iff", ".svx", ".mat",  ".mpc", ".nist", ".paf", ".pvf",
                                                    ".sds", ".sf",  ".voc",  ".wve", ".xi",   ".sph"};

struct EncodingRow {
    int encoding;
    SampleFormat format;
};

constexpr SampleFormat integerOf(int bits) { return {SampleFormat::Kind::signedInteger, bits}; }
constexpr SampleFormat realOf(int bits) { return {SampleFormat::Kind::real, bits}; }

constexpr std::array<EncodingRow, 17> encodingRows{{
    {SF_FORMAT_PCM_S8, integerOf(8)},
    {SF_FORMAT_PCM_U8, integerOf(8)},
    {SF_FORMAT_PCM_16, integerOf(16)},
    {SF_FORMAT_PCM_24, integerOf(24)},
    {SF_FORMAT_PCM_32, integerOf(32)},
    {SF_FORMAT_FLOAT, realOf(32)},
    {SF_FORMAT_DOUBLE, realOf(64)},
    {SF_FORMAT_ULAW, integerOf(16)},
    {SF_FORMAT_ALAW, integerOf(16)},
    {SF_FORMAT_IMA_ADPCM, integerOf(16)},
    {SF_FORMAT_MS_ADPCM, integerOf(16)},
    {SF_FORMAT_GSM610, integerOf(16)},
    {SF_FORMAT_ALAC_16, integerOf(16)},
    {SF_FORMAT_VORBIS, realOf(32)},
    {SF_FORMAT_OPUS, realOf(32)},
    {SF_FORMAT_MPEG_LAYER_II, realOf(32)},
    {SF_FORMAT_MPEG_LAYER_III, realOf(32)},
}};

const SoundFormat* findWritable(std::string_view ending) {
    const auto found = std::find_if(writable.begin(), writable.end(),
                                    [&](const SoundFormat& format) { return format.ending == ending; });
    return found == writable.end() ? nullptr : &*found;
}

void checkRate(const WriteRequest& request, const SoundFormat& format) {
    const bool whole = request.rate == std::floor(request.rate);
    if (whole && request.rate >= 1 && request.rate <= format.maxRate) return;
    std::array<char, 32> rate;
    char* const end = std::to_chars(rate.data(), rate.data() + rate.size(), request.rate).ptr;
    throw fileProblem(request.path.string(),
                      std::string(format.name) + " keeps whole rates from 1 to " + std::to_string(format.maxRate) +
                          " frames a second, and not " + std::string(rate.data(), end),
                      "write .npy, .csv or .bin, which go with any rate");
}

}  // namespace

bool isSoundEnding(std::string_view ending) {
    return findWritable(ending) != nullptr || std::find(onlyRead.begin(), onlyRead.end(), ending) != onlyRead.end();
}

std::string soundEndings() {
    std::string all;
    for (const SoundFormat& format : writable) all += (all.empty() ? "" : ", ") + std::string(format.ending);
    for (std::string_view ending : onlyRead) all += ", " + std::string(ending);
    return all;
}

const SoundFormat& soundFormatFor(const std::filesystem::path& path, const std::string& format) {
    const std::string ending = endingOf(path, format);
    if (const SoundFormat* const found = findWritable(ending)) return *found;
    throw fileProblem(path.string(), "files that end in " + ending + " can be read, not written",
                      "write .wav, .flac, .aiff, .au, .w64, .caf, .rf64, .npy, .csv or .bin");
}

void checkSoundRequest(const WriteRequest& request, const SoundFormat& format) {
    const std::string name = request.path.string();
    if (format.encodings[static_cast<std::size_t>(request.type)] == 0)
        throw fileProblem(
            name, std::string(format.name) + " does not hold the type `" + std::string(nameOf(request.type)) + "`",
            "write .wav, .w64, .caf or .npy, which hold every type");
    checkRate(request, format);
    if (request.channels > format.maxChannels)
        throw fileProblem(name,
                          std::string(format.name) + " holds at most " + std::to_string(format.maxChannels) +
                              " channels, and not " + std::to_string(request.channels),
                          "write .npy or .csv, which hold any number");
    if (request.limit && *request.limit > format.maxBytes / widthOf(request.type))
        throw fileProblem(name,
                          std::to_string(*request.limit) + " elements are more than " + std::string(format.name) +
                              " holds, at most " + std::to_string(format.maxBytes / widthOf(request.type)),
                          "write .w64 or .npy, which have no such limit");
}

std::optional<SampleFormat> soundSamples(int libraryFormat) {
    for (const EncodingRow& row : encodingRows)
        if (row.encoding == (libraryFormat & SF_FORMAT_SUBMASK)) return row.format;
    return std::nullopt;
}

}  // namespace libzepl
