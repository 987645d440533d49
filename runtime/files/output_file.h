// Files that appear under their name only when they are whole.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/files/temporary_files.h"

namespace libzepl {

// A file that is written under a temporary name in the folder of `path` and gets its own name with finish(); without
// finish() nothing is left of it. The path "-" is standard output, written as it comes, which cannot seek.
class OutputFile {
 public:
    explicit OutputFile(const std::filesystem::path& path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    const std::string& name() const { return name_; }  // as messages call it

    void write(const void* from, std::size_t count);
    void write(std::string_view text) { write(text.data(), text.size()); }
    void seek(std::uint64_t offset);
    void clear();  // back to an empty file
    std::uint64_t position() const { return flushed_ + buffer_.size(); }
    std::uint64_t size() const { return std::max(size_, position()); }
    void finish();

 private:
    void openPart();
    void flush();
    void writeOut(const std::byte* from, std::size_t count);

    std::filesystem::path path_;
    std::string name_;
    std::filesystem::path part_;  // empty for standard output, and once the file has its own name
    temporaryFiles::Entry* registered_ = nullptr;
    int descriptor_;
    std::vector<std::byte> buffer_;
    std::uint64_t flushed_ = 0;  // offset in the file of the buffer's start
    std::uint64_t size_ = 0;     // the furthest offset flushed
};

}  // namespace libzepl
