// Headers of .npy files.
#pragma once

#include "runtime/files/input_file.h"
#include "runtime/files/recording.h"

namespace libzepl {

struct NpyHeader {
    RecordingFacts facts;
    bool bigEndian = false;
    std::uint64_t size = 0;  // bytes up to the first sample
};

// Reads the header at the start of the file. Arrays of shape (n,) and of shape (frames, channels) in C order pass.
NpyHeader readNpyHeader(InputFile& file);

// A header of a fixed size, whatever the length, for `frames` of `channels` elements of `type`: of shape (frames,) for one
// channel, else (frames, channels).
std::string npyHeader(ElementType type, std::uint64_t frames, std::uint64_t channels);

}  // namespace libzepl
