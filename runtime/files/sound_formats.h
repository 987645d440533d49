// What the sound library reads and writes.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "runtime/files/convert.h"
#include "runtime/files/formats.h"

namespace libzepl {

// A format that recordings are written in.
struct SoundFormat {
    std::string_view ending;
    std::string_view name;           // in messages
    int container = 0;               // the library's number of the format
    std::array<int, 4> encodings{};  // the library's number for each ElementType; 0 where the format has none
    std::uint64_t maxBytes = 0;      // of samples
    int maxChannels = 0;
    int maxRate = 0;  // frames a second; rates are whole and at least 1
};

// The format that files of that ending are written in, or of that format; a Problem where they are only read.
const SoundFormat& soundFormatFor(const std::filesystem::path& path, const std::string& format = {});

// Writes a format to a stream, which cannot be gone back to: WAV and AU with a header that leaves the length open.
std::unique_ptr<Sink> createSoundStream(const WriteRequest& request, const SoundFormat& format);

// Refuses a type, rate, limit or number of channels that the format does not hold.
void checkSoundRequest(const WriteRequest& request, const SoundFormat& format);

std::unique_ptr<Sink> createSound(const WriteRequest& request, const SoundFormat& format);

// How the samples of a file are stored, by the library's format number. Encodings that the library decodes to reals are
// float samples, from -1 to 1. Nothing for encodings that are not read.
std::optional<SampleFormat> soundSamples(int libraryFormat);

}  // namespace libzepl
