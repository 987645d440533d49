// A source of several channels, as a source for each of them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "runtime/base/memory.h"
#include "runtime/files.h"

namespace libzepl {

struct SplitChannel {
    std::string name;  // of the pipe that it goes to, for messages
    int channel = 1;   // of the whole source, from 1
};

// One source for each of `channels`, in order. What is read for one and not yet taken of the others waits, and counts
// against `memory`, which must outlive them; a Problem names who is behind when there is none left. Other channels are
// passed over.
std::vector<std::unique_ptr<Source>> splitSource(std::unique_ptr<Source> whole, ElementType type,
                                                 const std::vector<SplitChannel>& channels, MemoryBudget& memory);

}  // namespace libzepl
