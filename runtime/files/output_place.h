// Where outputs go: the file that a name stands for, and the names of what is written beside it.
#pragma once

#include <sys/stat.h>

#include <filesystem>
#include <optional>

#include "runtime/output_files.h"

namespace libzepl {

struct OutputPlace {
    enum class Kind {
        newFile,
        file,    // is there, and is to be replaced
        stream,  // a FIFO or a device, or a descriptor of this process, which is written into
    };
    Kind kind = Kind::newFile;
    std::filesystem::path path;     // symbolic links followed
    std::optional<int> descriptor;  // of a stream that is one of this process's own, as /dev/stdout
    bool isFifo = false;
};

// What `named` stands for. A Problem for a folder, for a file that is protected, and for links in a circle.
OutputPlace outputPlaceOf(const std::filesystem::path& named);

// The descriptor of this process that a name such as /dev/stdout or /dev/fd/3 stands for.
std::optional<int> descriptorNamed(const std::filesystem::path& named);

// A name for what is written to `path` as long as that is not whole; no other file of this machine's processes has it.
std::filesystem::path temporaryNameOf(const std::filesystem::path& path);

// Marks the file as one whose writer lives, as long as the descriptor is open. False when another process is just
// about to remove it.
bool markLiving(int descriptor);

}  // namespace libzepl
