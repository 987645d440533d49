#include "runtime/files/output_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "runtime/files/input_file.h"

namespace libzepl {

namespace {

constexpr std::size_t bufferSize = 65536;

Problem writeProblem(const std::string& name, int error) {
    if (error == EPIPE) return fileProblem(name, "its reader has closed it");
    if (error == ENOSPC) return fileProblem(name, "the disk is full", "make room, or write to another disk");
    return fileProblem(name, "cannot be written: " + std::generic_category().message(error));
}

Problem createProblem(const std::string& name, int error) {
    if (error == ENOENT) return fileProblem(name, "its folder does not exist", "create the folder first");
    if (error == EACCES || error == EPERM || error == EROFS)
        return fileProblem(name, "you are not permitted to write to its folder", "name a folder that you can write to");
    return writeProblem(name, error);
}

}  // namespace

OutputFile::OutputFile(const std::filesystem::path& path)
    : path_(path), name_(path == "-" ? "standard output" : path.string()), descriptor_(STDOUT_FILENO) {
    buffer_.reserve(bufferSize);
    if (path == "-") return;
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored)) throw fileProblem(name_, "is a folder", "name a file in it");
    openPart();
}

OutputFile::~OutputFile() {
    if (descriptor_ != STDOUT_FILENO) ::close(descriptor_);
    if (!part_.empty()) ::unlink(part_.c_str());
    temporaryFiles::remove(registered_);
}

void OutputFile::openPart() {
    for (int attempt = 0;; ++attempt) {
        std::filesystem::path part = path_;
        part += ".part" + std::to_string(::getpid()) + "-" + std::to_string(attempt);
        registered_ = temporaryFiles::add(part);
        descriptor_ = ::open(part.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor_ >= 0) {
            part_ = std::move(part);
            return;
        }
        const int error = errno;
        temporaryFiles::remove(registered_);
        registered_ = nullptr;
        if (error != EEXIST) throw createProblem(name_, error);
    }
}

void OutputFile::writeOut(const std::byte* from, std::size_t count) {
    while (count > 0) {
        const ssize_t done = ::write(descriptor_, from, count);
        if (done < 0 && errno == EINTR) continue;
        if (done < 0) throw writeProblem(name_, errno);
        from += done;
        count -= static_cast<std::size_t>(done);
        flushed_ += static_cast<std::uint64_t>(done);
    }
    size_ = std::max(size_, flushed_);
}

void OutputFile::flush() {
    writeOut(buffer_.data(), buffer_.size());
    buffer_.clear();
}

void OutputFile::write(const void* from, std::size_t count) {
    const auto* bytes = static_cast<const std::byte*>(from);
    if (buffer_.size() + count > bufferSize) flush();
    if (count > bufferSize) return writeOut(bytes, count);
    buffer_.insert(buffer_.end(), bytes, bytes + count);
}

void OutputFile::seek(std::uint64_t offset) {
    flush();
    if (::lseek(descriptor_, static_cast<off_t>(offset), SEEK_SET) < 0) throw writeProblem(name_, errno);
    flushed_ = offset;
}

void OutputFile::clear() {
    seek(0);
    if (::ftruncate(descriptor_, 0) != 0) throw writeProblem(name_, errno);
    size_ = 0;
}

void OutputFile::finish() {
    flush();
    if (part_.empty()) return;
    const int closed = ::close(std::exchange(descriptor_, STDOUT_FILENO));
    if (closed != 0) throw writeProblem(name_, errno);
    if (::rename(part_.c_str(), path_.c_str()) != 0) throw writeProblem(name_, errno);
    part_.clear();
    temporaryFiles::remove(std::exchange(registered_, nullptr));
}

}  // namespace libzepl
