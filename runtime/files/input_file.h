// Files that are read in pieces, by bytes or by lines.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "runtime/diagnostics.h"

namespace libzepl {

// A Problem about a file: "name: reason".
Problem fileProblem(const std::string& name, const std::string& reason, std::string remedy = {});

// "1 byte", "2 bytes".
std::string counted(std::uint64_t count, const std::string& noun);

// Throws the Problem of a standard stream that the caller has closed, or opened for the other direction.
void checkStandardStream(int descriptor, const std::string& name);

// An open file; the path "-" is standard input. A stop request ends its opening and its reads.
class InputFile {
 public:
    explicit InputFile(const std::filesystem::path& path);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    const std::string& name() const { return name_; }  // as messages call it
    int descriptor() const { return descriptor_; }
    std::optional<std::uint64_t> size() const { return size_; }  // of a regular file

    // Whether readSome() would not wait for a stream.
    bool ready() const;
    // What one call of the system gives, up to `count` bytes; 0 at the end.
    std::size_t readSome(void* to, std::size_t count);
    // Up to `count` bytes, fewer only at the end.
    std::size_t read(void* to, std::size_t count);

 private:
    std::string name_;
    int descriptor_ = -1;
    bool waits_ = false;  // a pipe, a device or the like, whose reads can wait
    std::optional<std::uint64_t> size_;
};

class LineReader {
 public:
    static constexpr std::size_t longestLine = std::size_t{1} << 20;  // bytes

    explicit LineReader(const std::filesystem::path& path) : file_(path) {}

    // The next line without its line ending (LF or CR LF) and, on the first, without a byte order mark; valid until the
    // next call. Nothing at the end.
    std::optional<std::string_view> next();

    // Whether next() would not wait for a stream, but in the middle of a line.
    bool ready() const { return text_.find('\n', next_) != std::string::npos || file_.ready(); }
    int descriptor() const { return file_.descriptor(); }

    // A Problem at the line that next() gave last: "name:line: reason".
    Problem problem(const std::string& reason, std::string remedy = {}) const;
    const std::string& name() const { return file_.name(); }
    std::uint64_t lineNumber() const { return lineNumber_; }

 private:
    std::size_t endOfLine();
    bool readMore();

    InputFile file_;
    std::string text_;
    std::size_t next_ = 0;
    std::uint64_t lineNumber_ = 0;
};

}  // namespace libzepl
