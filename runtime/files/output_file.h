// Files that appear under their name only when they are whole.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/files.h"
#include "runtime/files/output_place.h"
#include "runtime/files/temporary_files.h"

namespace libzepl {

// A file that is written under a temporary name in its folder and gets its own name with publish(); without that nothing
// is left of it. A file that it replaces keeps its mode, and its owner where that is permitted. The path "-" is
// standard output, which is written into as it comes, just as FIFOs and devices are; these cannot seek.
class OutputFile {
 public:
    explicit OutputFile(const std::filesystem::path& path, OutputOptions options = {});
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    const std::string& name() const { return name_; }  // as messages call it
    bool isStream() const { return stream_; }

    void write(const void* from, std::size_t count);
    void write(std::string_view text) { write(text.data(), text.size()); }
    void seek(std::uint64_t offset);
    void clear();  // back to an empty file
    // Of a stream: the run begins, and its reader is waited for; it gets what was written; whether a stop request came before it
    // took all of that.
    void start();
    void flush();
    bool isAbandoned() const { return abandoned_; }
    std::vector<std::string> notes() const;
    std::uint64_t position() const { return flushed_ + buffer_.size(); }
    std::uint64_t size() const { return std::max(size_, position()); }

    // The end of what is written: all of it is on its way to the disk, or on it where the options say so.
    void complete();
    // Gives what is complete its name, and says which: its own, or another for what a failed run wrote. Empty for streams.
    std::string publish(bool failed = false);
    void finish() {
        complete();
        publish();
    }
    // For a signal's handler: where to write by itself what nothing was written to yet, and the name for that. False when it
    // cannot be given.
    int descriptor() const { return descriptor_; }
    bool publishFromHandler() noexcept;
    // The name for what a failed run wrote, and whether there is a file of that name.
    std::string failedName() const { return withSuffix(place_.path, ".failed").string(); }
    bool hasFailedFile() const;
    bool replaces() const { return place_.kind == OutputPlace::Kind::file; }

 private:
    void openStream();
    void openTemporary();
    void writeOut(const std::byte* from, std::size_t count);
    std::size_t writeSome(const std::byte* from, std::size_t count);
    std::size_t writeStream(const std::byte* from, std::size_t count);
    void takeOverMode();
    void synchronise();
    bool giveName(const char* target) const;
    void closeDescriptor();

    OutputOptions options_;
    std::string name_;
    OutputPlace place_;
    std::filesystem::path temporary_;  // empty for a stream, and once the file has its own name
    temporaryFiles::Entry* registered_ = nullptr;
    int descriptor_ = -1;
    bool stream_ = false;
    bool abandoned_ = false;
    std::vector<std::byte> buffer_;
    std::uint64_t flushed_ = 0;  // offset in the file of the buffer's start
    std::uint64_t size_ = 0;     // the furthest offset flushed
};

// A sink whose elements go to a file.
template <class Base>
class FileSink : public Base {
 public:
    FileSink(const std::filesystem::path& path, OutputOptions options) : file_(path, options) {}
    OutputFile* file() final { return &file_; }
    void complete() override { file_.complete(); }
    void finish() final {
        this->complete();
        file_.publish();
    }

 protected:
    OutputFile file_;
};

}  // namespace libzepl
