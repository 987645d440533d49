// Files that are written beside what sessions write: where their names lead, and how they appear only when they are whole.
#pragma once

#include <filesystem>
#include <memory>
#include <string_view>

#include "json_writer.h"

namespace libzepl {

class OutputFile;

// Whether what is written to that name is no file of its own: a FIFO, a device, a descriptor or an address.
bool isStream(const std::filesystem::path& named);

// The file that is written under that name, symbolic links followed, also to where nothing is yet. A Problem for a folder, for
// a file that is protected, and for links in a circle.
std::filesystem::path writtenPath(const std::filesystem::path& named);

// `path` with `suffix`, its name made shorter where the two are longer than a name can be. Outputs of a run that failed
// have their name with the suffix ".failed".
std::filesystem::path withSuffix(const std::filesystem::path& path, std::string_view suffix);

// Text that is written under a temporary name in the same folder, and gets its own name with finish(); without that nothing
// is left of it. A file that it replaces keeps its mode, and its owner where that is permitted. The path "-" is standard
// output, which is written into as it comes, just as FIFOs and devices are.
class TextFile : public TextSink {
 public:
    // With `sync` the file and its name are on the disk when it is finished. A Problem where it cannot be written.
    explicit TextFile(const std::filesystem::path& path, bool sync = true);
    TextFile(const TextFile&) = delete;
    TextFile& operator=(const TextFile&) = delete;
    ~TextFile() override;

    void write(std::string_view text) override;
    void finish();

    // For a signal's handler: where to write by itself what nothing was written to yet, and the name for that. False when it
    // cannot be given.
    int descriptor() const noexcept;
    bool publishFromHandler() noexcept;

 private:
    std::unique_ptr<OutputFile> file_;
};

// Removes what this process has under temporary names, from any thread and also from a signal's handler: for the last moments
// of a process.
void removeTemporaryFiles() noexcept;

// Removes what processes of this machine left under temporary names of `path` when they were killed.
void removeDeadTemporaries(const std::filesystem::path& path);

}  // namespace libzepl
