// The names of the temporary files that exist now, so that a process that has to end at once leaves none of them.
#pragma once

#include <string>

namespace libzepl::temporaryFiles {

struct Entry;

// Registers a file that is about to be created, for this process alone: what a fork of it ends with does not matter.
Entry* add(std::string path);

// The file has its own name now, or is gone. Once for each entry; nullptr is ignored.
void remove(Entry* entry) noexcept;

// Removes all that are registered, from any thread and also from a signal's handler: for the last moments of a process.
void unlinkAll() noexcept;

}  // namespace libzepl::temporaryFiles
