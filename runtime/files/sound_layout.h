// What the header of a recording says about its samples, read without the sound library, which takes a header that promises
// more than the file holds for one that promises what is there.
#pragma once

#include <string_view>

#include "runtime/files/sound_bytes.h"

namespace libzepl {

// A number in the header that must become `dataBytes / divisor + more` where the samples are other than it says.
struct SizeField {
    std::uint64_t offset = 0;
    std::size_t width = 4;  // bytes
    bool bigEndian = false;
    std::uint64_t more = 0;
    std::uint64_t divisor = 1;
};

struct SoundLayout {
    std::uint64_t dataStart = 0;
    std::uint64_t dataBytes = 0;   // as the header says
    bool isOpen = false;           // the header leaves the length open, so they go to the end of a file that has fewer
    std::uint64_t frameBytes = 0;  // where samples are one after the other; else 0
    bool isChunked = false;        // what follows the samples are chunks like the others
    std::vector<SizeField> sizes;  // where the library goes by them
};

// The layout of a file whose header states a length: WAV, RF64, W64, AIFF, 8SVX, AU, CAF, NIST, AVR, VOC and WVE. Nothing for
// others, or where there are no samples.
std::optional<SoundLayout> readSoundLayout(SoundBytes& bytes);

// Whether the bytes from `offset` to `size` are chunks, as they may follow a recording without samples.
bool endsInChunks(SoundBytes& bytes, std::uint64_t offset, std::uint64_t size);

// Writes the right sizes into the header as the library reads it.
void patchSizes(SoundBytes& bytes, const SoundLayout& layout, std::uint64_t dataBytes);

// The format that a file starts as, such as "WAV", by its first bytes (12 suffice); empty for none of the known ones.
std::string_view formatStartingWith(std::string_view bytes);
// Whether these first bytes of a stream could be the beginning of such a start.
bool mayBecomeStart(std::string_view bytes);

// Whether a stream with these first bytes (12 of them) can be read as it comes; others are read whole first.
bool flows(std::string_view bytes);

}  // namespace libzepl
