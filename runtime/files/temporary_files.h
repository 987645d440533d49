// The names of the temporary files that exist now, so that a process that has to end at once leaves none of them:
// removeTemporaryFiles() of output_files.h removes all that are registered.
#pragma once

#include <string>

namespace libzepl::temporaryFiles {

struct Entry;

// Registers a file that is about to be created, for this process alone: what a fork of it ends with does not matter.
Entry* add(std::string path);

// The file has its own name now, or is gone. Once for each entry; nullptr is ignored.
void remove(Entry* entry) noexcept;

}  // namespace libzepl::temporaryFiles
