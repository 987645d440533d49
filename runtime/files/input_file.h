// Files that are read in pieces, by bytes or by lines.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "runtime/diagnostics.h"
#include "runtime/wording.h"

namespace libzepl {

// What a file lacks is refused, or, where what is there was asked for, noted.
class Completeness {
 public:
    Completeness(std::string name, bool partial) : name_(std::move(name)), partial_(partial) {}
    bool partial() const { return partial_; }
    const std::vector<std::string>& notes() const { return notes_; }
    // Throws a Problem with the reason, unless what is there is wanted.
    void lacks(const std::string& reason);

 private:
    std::string name_;
    bool partial_;
    std::vector<std::string> notes_;
};

// Throws the Problem of a standard stream that the caller has closed, or opened for the other direction.
void checkStandardStream(int descriptor, const std::string& name);

// An open file; the path "-" is standard input. A stop request ends its opening and its reads.
class InputFile {
 public:
    // With a descriptor it is the stream that is open there, and `path` its name.
    explicit InputFile(const std::filesystem::path& path, int descriptor = -1);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    const std::string& name() const { return name_; }  // as messages call it
    int descriptor() const { return descriptor_; }
    std::optional<std::uint64_t> size() const { return size_; }  // of a regular file

    // Whether readSome() would not wait for a stream.
    bool ready() const;
    // What to wait on while it is not ready; -1 for a file, which always is.
    int waitDescriptor() const { return waits_ ? descriptor_ : -1; }
    // What one call of the system gives, up to `count` bytes; 0 at the end.
    std::size_t readSome(void* to, std::size_t count);
    // Up to `count` bytes, fewer only at the end.
    std::size_t read(void* to, std::size_t count);
    // The same from an offset of a file with a size; what is read one after the other stays where it is.
    std::size_t readAt(std::uint64_t offset, void* to, std::size_t count);

    // Puts a file with a size, without a name, in the place of what comes from a stream: `taken`, which was read already, and
    // all that follows.
    void spool(const std::vector<std::byte>& taken);

 private:
    void open(const std::filesystem::path& path);
    template <class Call>
    std::size_t retried(Call call);

    std::string name_;
    int descriptor_ = -1;
    bool waits_ = false;  // a pipe, a device or the like, whose reads can wait
    std::optional<std::uint64_t> size_;
};

class LineReader {
 public:
    static constexpr std::size_t maxLine = std::size_t{1} << 20;  // bytes

    explicit LineReader(const std::filesystem::path& path, int descriptor = -1) : file_(path, descriptor) {}

    // Whether the line that next() gave last has no line ending.
    bool atOpenEnd() const { return openEnd_; }
    // The next line without its line ending (LF or CR LF) and, on the first, without a byte order mark; valid until the
    // next call. Nothing at the end.
    std::optional<std::string_view> next();

    // Whether next() would not wait for a stream, but in the middle of a line.
    bool ready() const { return text_.find('\n', next_) != std::string::npos || file_.ready(); }
    int waitDescriptor() const { return file_.waitDescriptor(); }

    // A Problem at the line that next() gave last: "name:line: reason".
    Problem problem(const std::string& reason, std::string remedy = {}) const;
    const std::string& name() const { return file_.name(); }
    std::uint64_t lineNumber() const { return lineNumber_; }

 private:
    std::size_t endOfLine();
    bool readMore();
    void checkText(std::string_view line) const;

    InputFile file_;
    std::string text_;
    std::size_t next_ = 0;
    bool openEnd_ = false;
    std::uint64_t lineNumber_ = 0;
};

// Whether the text starts with the byte order mark of UTF-16 or UTF-32.
bool startsAsWideText(std::string_view text);

}  // namespace libzepl
