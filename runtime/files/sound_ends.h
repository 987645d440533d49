// Whether recordings are whole whose length no header states: OGG and MPEG files, and streams of FLAC.
#pragma once

#include "runtime/files/sound_bytes.h"

namespace libzepl {

// What the file lacks at its end; nothing for a whole one, and for what is of neither format.
std::optional<std::string> missingEnd(SoundBytes& bytes);

// The most bytes that a frame of a FLAC stream takes, by its header.
std::size_t longestFlacFrame(SoundBytes& bytes);
// What a FLAC stream lacks at its end, by the bytes that were kept of it, the longest frame at least.
std::optional<std::string> missingFlacEnd(const SoundBytes& bytes);

}  // namespace libzepl
