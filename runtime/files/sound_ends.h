// Whether recordings are whole whose length no header states: OGG and MPEG files.
#pragma once

#include "runtime/files/sound_bytes.h"

namespace libzepl {

// What the file lacks at its end; nothing for a whole one, and for what is of neither format.
std::optional<std::string> missingEnd(SoundBytes& bytes);

}  // namespace libzepl
