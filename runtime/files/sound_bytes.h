// The bytes of a recording as the sound library reads them: of a file or of a stream, with headers set right on the way.
#pragma once

#include <sndfile.h>

#include <algorithm>
#include <exception>
#include <memory>

#include "runtime/files/input_file.h"

namespace libzepl {

// The library wants to seek. A stream can: what its header takes is kept until the samples flow, and what comes after is not
// looked at before.
class SoundBytes {
 public:
    explicit SoundBytes(std::unique_ptr<InputFile> file) : file_(std::move(file)) {}

    const std::string& name() const { return file_->name(); }
    std::optional<std::uint64_t> size() const { return file_->size(); }  // of a file
    void spool();

    // Copies up to `count` bytes from an offset on, fewer only where there are no more. Of a stream only before it flows.
    std::size_t peek(std::uint64_t offset, void* to, std::size_t count);
    // Lets `bytes` be read at the offset in place of the file's own.
    void patch(std::uint64_t offset, const std::string& bytes);
    // Where what is read ends; at first the file's size.
    void portAt(std::uint64_t end) { end_ = end; }
    // Where the library reads next.
    std::uint64_t position() const { return flows_ ? flowed_ : position_; }
    // From now on a stream is read as it comes, from `start` on and without seeking: wherever the library asks for bytes, it
    // gets the next ones, whole frames of `frameBytes`, or where that is 0 as many bytes as it asks for.
    void flow(std::uint64_t start, std::size_t frameBytes);
    // Keeps the last bytes of a stream that flows, at least `most` of them where there are as many; before it flows.
    void keepEnd(std::size_t most) { mostOfEnd_ = most; }
    const std::vector<std::byte>& keptEnd() const { return keptEnd_; }
    bool isEndAll() const { return keptEnd_.size() == flowed_; }  // it goes back to the stream's start

    // Whether a read would not wait for a stream that flows, and what to wait on.
    bool ready() const {
        return keptFrom_ + kept_.size() >= flowed_ + std::max<std::size_t>(frameBytes_, 1) || ended_ || file_->ready();
    }
    int descriptor() const { return file_->size() ? -1 : file_->descriptor(); }
    // Bytes after the last whole frame, at the end of a stream that flows.
    std::size_t rest() const { return rest_; }
    std::size_t frameBytes() const { return frameBytes_; }

    // The library's way to these bytes, with this object as its data. No exception may pass through the library, so the first
    // one is kept and nothing more is read.
    static SF_VIRTUAL_IO access();
    void rethrow() const {
        if (error_) std::rethrow_exception(error_);
    }

 private:
    std::uint64_t end() const;
    std::size_t readKept(std::uint64_t offset, std::byte* to, std::size_t count);
    void addToEnd(const std::byte* from, std::size_t count);
    std::size_t readFlowing(std::byte* to, std::size_t count);
    std::size_t readForLibrary(void* to, std::size_t count);

    struct Patch {
        std::uint64_t offset;
        std::string bytes;
    };
    std::unique_ptr<InputFile> file_;
    std::vector<Patch> patches_;
    std::optional<std::uint64_t> end_;
    std::uint64_t position_ = 0;
    std::vector<std::byte>
        kept_;  // of a stream: from its start, and once it flows, what came of a frame that is not whole
    std::uint64_t keptFrom_ = 0;  // the offset of its first byte
    bool ended_ = false;          // the stream has
    bool flows_ = false;
    std::uint64_t flowed_ = 0;  // offset in the stream
    std::size_t frameBytes_ = 1, rest_ = 0;
    std::size_t mostOfEnd_ = 0;
    std::vector<std::byte> keptEnd_;
    std::uint64_t frameStart_ = 0;
    std::exception_ptr error_;
};

}  // namespace libzepl
