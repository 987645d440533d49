#include "runtime/files/input_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
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

bool writeAll(int descriptor, const std::byte* from, std::size_t count) {
    while (count > 0) {
        const ssize_t done = ::write(descriptor, from, count);
        if (done < 0 && errno != EINTR) return false;
        if (done < 0) continue;
        from += done;
        count -= static_cast<std::size_t>(done);
    }
    return true;
}

}  // namespace

void Completeness::lacks(const std::string& reason) {
    if (!partial_)
        throw fileProblem(name_, reason, "check that the file is whole; `partial` after its name reads what is there");
    notes_.push_back(name_ + ": " + reason + "; `partial` took what is there");
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

InputFile::InputFile(const std::filesystem::path& path, int descriptor)
    : name_(path == "-" ? "standard input" : path.string()), descriptor_(descriptor), waits_(true) {
    if (descriptor < 0) open(path);
}

void InputFile::open(const std::filesystem::path& path) {
    if (isAddress(path)) throw fileProblem(name_, "is an address, and only pipes are read from one", "name a file");
    descriptor_ = STDIN_FILENO;
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

// A call of the system that gives a count, again where a signal broke it off.
template <class Call>
std::size_t InputFile::retried(Call call) {
    for (;;) {
        if (waits_)
            awaitReadable(descriptor_, name_);
        else
            endIfStopped(name_);
        const ssize_t done = call();
        if (done >= 0) return static_cast<std::size_t>(done);
        if (errno != EINTR && errno != EAGAIN) throw fileProblem(name_, "cannot be read: " + systemText(errno));
    }
}

std::size_t InputFile::readSome(void* to, std::size_t count) {
    return retried([&] { return ::read(descriptor_, to, count); });
}

std::size_t InputFile::readAt(std::uint64_t offset, void* to, std::size_t count) {
    std::size_t done = 0;
    while (done < count) {
        const std::size_t got = retried([&] {
            return ::pread(descriptor_, static_cast<std::byte*>(to) + done, count - done,
                           static_cast<off_t>(offset + done));
        });
        if (got == 0) break;
        done += got;
    }
    return done;
}

void InputFile::spool(const std::vector<std::byte>& taken) {
    std::string path = (std::filesystem::temp_directory_path() / "zeplXXXXXX").string();
    struct Descriptor {
        ~Descriptor() {
            if (number > STDIN_FILENO) ::close(number);
        }
        int number;
    } copy{::mkostemp(path.data(), O_CLOEXEC)};
    if (copy.number < 0) throw fileProblem(name_, "cannot be kept in a temporary file: " + systemText(errno));
    ::unlink(path.c_str());
    std::vector<std::byte> piece = taken;
    std::uint64_t size = 0;
    for (std::size_t got = taken.size();; got = readSome(piece.data(), piece.size())) {
        if (!writeAll(copy.number, piece.data(), got))
            throw fileProblem(name_, "cannot be kept in a temporary file: " + systemText(errno));
        size += got;
        if (got == 0 && !piece.empty()) break;
        piece.resize(pieceSize);
    }
    std::swap(descriptor_, copy.number);
    size_ = size;
    waits_ = false;
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

// The offset after the last character of the next line, reading as far as it takes.
std::size_t LineReader::endOfLine() {
    std::size_t searched = next_;
    for (;;) {
        const std::size_t end = text_.find('\n', searched);
        if ((end == std::string::npos ? text_.size() : end) - next_ > maxLine)
            throw problem("the line is longer than 1 MiB", "check that the file is text");
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
    openEnd_ = end == text_.size();
    std::string_view line(text_.data() + next_, end - next_);
    checkText(line);
    next_ = end + (end < text_.size() ? 1 : 0);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (lineNumber_ == 1 && line.starts_with(byteOrderMark)) line.remove_prefix(byteOrderMark.size());
    return line;
}

void LineReader::checkText(std::string_view line) const {
    if (lineNumber_ == 1 && startsAsWideText(line))
        throw fileProblem(name(), "it is UTF-16 or UTF-32 text", "save it as UTF-8");
    if (line.find('\0') != std::string_view::npos)
        throw problem("the line has a NUL character", "check that the file is text, in UTF-8");
}

bool startsAsWideText(std::string_view text) {
    using namespace std::string_view_literals;
    return text.starts_with("\xFF\xFE"sv) || text.starts_with("\xFE\xFF"sv) || text.starts_with("\0\0\xFE\xFF"sv);
}

Problem LineReader::problem(const std::string& reason, std::string remedy) const {
    return Problem(file_.name() + ":" + std::to_string(lineNumber_) + ": " + reason, std::move(remedy));
}

std::string readTextFile(const std::filesystem::path& path) {
    InputFile file(path);
    std::string text;
    for (std::size_t piece = 4096;; piece = std::min(2 * piece, pieceSize)) {
        const std::size_t kept = text.size();
        text.resize(kept + piece);
        const std::size_t got = file.read(text.data() + kept, piece);
        text.resize(kept + got);
        if (got < piece) return text;
    }
}

}  // namespace libzepl
