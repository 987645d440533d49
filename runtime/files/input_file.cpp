#include "runtime/files/input_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "runtime/files.h"
#include "runtime/files/output_place.h"
#include "runtime/files/stream_wait.h"

namespace libzepl {

namespace {

constexpr std::size_t pieceSize = 65536;

std::string systemText(int error) { return std::generic_category().message(error); }

Problem openProblem(const std::string& name, int error) {
    if (error == ENOENT)
        return fileProblem(name, "there is no such file", "check the name and the folder it is relative to");
    if (error == EACCES) return fileProblem(name, "you are not permitted to read it", "change the file's permissions");
    return fileProblem(name, "cannot be opened: " + systemText(error));
}

}  // namespace

Problem fileProblem(const std::string& name, const std::string& reason, std::string remedy) {
    return Problem(name + ": " + reason, std::move(remedy));
}

std::string counted(std::uint64_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

void checkStandardStream(int descriptor, const std::string& name) {
    const int flags = ::fcntl(descriptor, F_GETFL);
    const int unwanted = descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY;
    if (flags < 0 || (flags & O_ACCMODE) == unwanted)
        throw fileProblem(name,
                          descriptor == STDIN_FILENO ? "it is closed, or not open for reading"
                                                     : "it is closed, or not open for writing",
                          "open it, or name a file");
}

InputFile::InputFile(const std::filesystem::path& path)
    : name_(path == "-" ? "standard input" : path.string()), descriptor_(STDIN_FILENO) {
    if (path == "-" || descriptorNamed(path) == STDIN_FILENO) checkStandardStream(STDIN_FILENO, name_);
    // A FIFO is opened at once: its first read waits for its writer.
    if (path != "-") descriptor_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor_ < 0) throw openProblem(name_, errno);
    struct stat status {};
    if (::fstat(descriptor_, &status) != 0 || S_ISDIR(status.st_mode)) {
        if (descriptor_ != STDIN_FILENO) ::close(descriptor_);
        throw fileProblem(name_, "is a folder, not a file", "name a file in it");
    }
    waits_ = !S_ISREG(status.st_mode);
    if (S_ISREG(status.st_mode) && path != "-") size_ = static_cast<std::uint64_t>(status.st_size);
}

InputFile::~InputFile() {
    if (descriptor_ != STDIN_FILENO) ::close(descriptor_);
}

bool InputFile::ready() const { return !waits_ || isReadable(descriptor_); }

std::size_t InputFile::readSome(void* to, std::size_t count) {
    for (;;) {
        if (waits_)
            awaitReadable(descriptor_, name_);
        else
            endIfStopped(name_);
        const ssize_t got = ::read(descriptor_, to, count);
        if (got >= 0) return static_cast<std::size_t>(got);
        if (errno != EINTR && errno != EAGAIN) throw fileProblem(name_, "cannot be read: " + systemText(errno));
    }
}

std::size_t InputFile::read(void* to, std::size_t count) {
    std::size_t done = 0;
    while (done < count) {
        const std::size_t got = readSome(static_cast<std::byte*>(to) + done, count - done);
        if (got == 0) break;
        done += got;
    }
    return done;
}

bool LineReader::readMore() {
    const std::size_t kept = text_.size();
    text_.resize(kept + pieceSize);
    const std::size_t got = file_.readSome(text_.data() + kept, pieceSize);
    text_.resize(kept + got);
    return got > 0;
}

// The offset behind the last character of the next line, reading as far as it takes.
std::size_t LineReader::endOfLine() {
    std::size_t searched = next_;
    for (;;) {
        const std::size_t end = text_.find('\n', searched);
        if ((end == std::string::npos ? text_.size() : end) - next_ > longestLine)
            throw problem("the line is longer than a mebibyte", "check that the file is text");
        if (end != std::string::npos) return end;
        text_.erase(0, next_);
        next_ = 0;
        searched = text_.size();
        if (!readMore()) return text_.size();
    }
}

std::optional<std::string_view> LineReader::next() {
    ++lineNumber_;
    const std::size_t end = endOfLine();
    if (end == text_.size() && next_ == end) return std::nullopt;
    std::string_view line(text_.data() + next_, end - next_);
    next_ = end + (end < text_.size() ? 1 : 0);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (lineNumber_ == 1 && line.starts_with(byteOrderMark)) line.remove_prefix(byteOrderMark.size());
    return line;
}

Problem LineReader::problem(const std::string& reason, std::string remedy) const {
    return Problem(file_.name() + ":" + std::to_string(lineNumber_) + ": " + reason, std::move(remedy));
}

std::string readTextFile(const std::filesystem::path& path) {
    InputFile file(path);
    std::string text;
    std::size_t got = 0;
    do {
        const std::size_t kept = text.size();
        text.resize(kept + pieceSize);
        got = file.read(text.data() + kept, pieceSize);
        text.resize(kept + got);
    } while (got == pieceSize);
    return text;
}

}  // namespace libzepl
