#include "runtime/files/output_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <system_error>
#include <utility>

#include "runtime/files/input_file.h"
#include "runtime/files/stream_wait.h"

namespace libzepl {

namespace {

constexpr std::size_t bufferSize = 65536;

std::string systemText(int error) { return std::generic_category().message(error); }

Problem writeProblem(const std::string& name, int error) {
    if (error == EPIPE) return fileProblem(name, "its reader has closed it");
    if (error == ENOSPC) return fileProblem(name, "the disk is full", "make room, or write to another disk");
    return fileProblem(name, "cannot be written: " + systemText(error));
}

Problem createProblem(const std::string& name, int error) {
    if (error == ENOENT) return fileProblem(name, "its folder does not exist", "create the folder first");
    if (error == EACCES || error == EPERM || error == EROFS)
        return fileProblem(name, "you are not permitted to write to its folder", "name a folder that you can write to");
    return writeProblem(name, error);
}

std::filesystem::path folderOf(const std::filesystem::path& path) {
    return path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
}

// What some file systems and devices answer that have nothing to synchronise.
bool cannotSynchronise(int error) { return error == EINVAL || error == ENOTSUP || error == EROFS; }

void checkFolder(const std::string& name, const std::filesystem::path& folder) {
    struct stat status {};
    if (::stat(folder.c_str(), &status) != 0) throw createProblem(name, errno);
    if (!S_ISDIR(status.st_mode)) throw createProblem(name, ENOTDIR);
    if (::faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) != 0) throw createProblem(name, errno);
}

}  // namespace

OutputFile::OutputFile(const std::filesystem::path& path, OutputOptions options)
    : options_(std::move(options)),
      name_(path == "-" ? "standard output" : path.string()),
      stream_(libzepl::isStream(path)) {
    buffer_.reserve(bufferSize);
    if (isAddress(path) && options_.stream == nullptr && !options_.checkOnly)
        throw fileProblem(name_, "is an address, which this output cannot go to", "name a file");
    if (isAddress(path)) return;
    if (path == "-")
        place_.descriptor = STDOUT_FILENO;
    else
        place_ = outputPlaceOf(path);
    if (place_.descriptor == STDOUT_FILENO) checkStandardStream(STDOUT_FILENO, name_);
    if (!stream_) checkFolder(name_, folderOf(place_.path));
    if (options_.checkOnly) return;
    if (stream_)
        openStream();
    else
        openTemporary();
}

OutputFile::~OutputFile() {
    closeDescriptor();
    if (!temporary_.empty()) ::unlink(temporary_.c_str());
    temporaryFiles::remove(registered_);
}

void OutputFile::closeDescriptor() {
    if (descriptor_ >= 0 && !place_.descriptor) ::close(descriptor_);
    descriptor_ = -1;
}

void OutputFile::openStream() {
    if (place_.descriptor) {
        descriptor_ = *place_.descriptor;
        return;
    }
    descriptor_ = place_.isFifo ? openFifo(place_.path.c_str(), name_)
                                : ::open(place_.path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor_ >= 0) return;
    if (errno == EACCES || errno == EPERM)
        throw fileProblem(name_, "you are not permitted to write to it", "write to another file");
    throw writeProblem(name_, errno);
}

void OutputFile::openTemporary() {
    removeDeadTemporaries(place_.path);
    // What a file holds that is not for everybody's eyes is hidden from the start.
    const mode_t mode = replaces() ? 0600 : 0666;
    for (;;) {
        std::filesystem::path temporary = temporaryNameOf(place_.path);
        registered_ = temporaryFiles::add(temporary);
        descriptor_ = ::open(temporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        const int error = errno;
        if (descriptor_ >= 0 && markLiving(descriptor_)) {
            temporary_ = std::move(temporary);
            return;
        }
        temporaryFiles::remove(std::exchange(registered_, nullptr));
        if (descriptor_ < 0 && error != EEXIST) throw createProblem(name_, error);
        closeDescriptor();
    }
}

// What one call of the system takes.
std::size_t OutputFile::writeSome(const std::byte* from, std::size_t count) {
    for (;;) {
        const ssize_t done = ::write(descriptor_, from, count);
        if (done >= 0) return static_cast<std::size_t>(done);
        if (stream_ && errno == EAGAIN)
            awaitWritable(descriptor_, name_);
        else if (errno != EINTR)
            throw writeProblem(name_, errno);
    }
}

// A descriptor of the caller's own may wait in a write: once it takes something, it takes this much.
std::size_t OutputFile::writeStream(const std::byte* from, std::size_t count) {
    try {
        if (options_.stream != nullptr) {
            options_.stream->write(from, count);
            return count;
        }
        if (place_.descriptor) awaitWritable(descriptor_, name_);
        return writeSome(from, place_.descriptor ? std::min<std::size_t>(count, PIPE_BUF) : count);
    } catch (const Interrupted&) {
        abandoned_ = true;
        throw;
    }
}

void OutputFile::writeOut(const std::byte* from, std::size_t count) {
    if (abandoned_) return;
    while (count > 0) {
        const std::size_t done = options_.checkOnly ? count
                                 : stream_          ? writeStream(from, count)
                                                    : writeSome(from, count);
        from += done;
        count -= done;
        flushed_ += done;
    }
    size_ = std::max(size_, flushed_);
}

void OutputFile::start() {
    if (options_.stream != nullptr) options_.stream->start();
}

void OutputFile::flush() {
    writeOut(buffer_.data(), buffer_.size());
    buffer_.clear();
    if (options_.stream != nullptr && !abandoned_) options_.stream->flush();
}

std::vector<std::string> OutputFile::notes() const {
    if (options_.stream == nullptr) return {};
    return options_.stream->notes();
}

void OutputFile::write(const void* from, std::size_t count) {
    const auto* bytes = static_cast<const std::byte*>(from);
    if (buffer_.size() + count > bufferSize) flush();
    if (count > bufferSize) return writeOut(bytes, count);
    buffer_.insert(buffer_.end(), bytes, bytes + count);
}

void OutputFile::seek(std::uint64_t offset) {
    flush();
    if (!options_.checkOnly && ::lseek(descriptor_, static_cast<off_t>(offset), SEEK_SET) < 0)
        throw writeProblem(name_, errno);
    flushed_ = offset;
}

void OutputFile::clear() {
    seek(0);
    if (!options_.checkOnly && ::ftruncate(descriptor_, 0) != 0) throw writeProblem(name_, errno);
    size_ = 0;
}

// The owner first, since a change of it takes away some of the mode.
void OutputFile::takeOverMode() {
    struct stat old {};
    if (::stat(place_.path.c_str(), &old) != 0 || !S_ISREG(old.st_mode)) return;
    if (::fchown(descriptor_, static_cast<uid_t>(-1), old.st_gid) != 0 ||
        ::fchown(descriptor_, old.st_uid, old.st_gid) != 0)
        errno = 0;  // where it is not permitted, the file is the writer's own
    if (::fchmod(descriptor_, old.st_mode & 07777) != 0) throw writeProblem(name_, errno);
}

// A file system of another machine reports what it could not store when a descriptor is closed; this one stays open, since
// it marks the file as one whose writer lives.
void OutputFile::synchronise() {
    if (options_.sync && ::fsync(descriptor_) != 0 && !cannotSynchronise(errno)) throw writeProblem(name_, errno);
    const int other = ::fcntl(descriptor_, F_DUPFD_CLOEXEC, 0);
    if (other >= 0 && ::close(other) != 0 && errno != EINTR) throw writeProblem(name_, errno);
}

void OutputFile::complete() {
    flush();
    if (options_.stream != nullptr && !abandoned_) options_.stream->complete();
    if (stream_ || options_.checkOnly) return;
    takeOverMode();
    synchronise();
}

// To rename over a file has some file systems write the new one to the disk first. To exchange the two does not.
bool OutputFile::giveName(const char* target) const {
    const auto exchange = [&] {
        return ::renameat2(AT_FDCWD, temporary_.c_str(), AT_FDCWD, target, RENAME_EXCHANGE) == 0;
    };
    if (!options_.sync && exchange()) {
        if (::unlink(temporary_.c_str()) == 0) return true;
        exchange();  // what stood there is not a file
    }
    return ::rename(temporary_.c_str(), target) == 0;
}

std::string OutputFile::publish(bool failed) {
    if (temporary_.empty()) {
        closeDescriptor();
        return {};
    }
    const std::string published = failed ? failedName() : name_;
    const std::string target = failed ? published : place_.path.string();
    if (!giveName(target.c_str()))
        throw fileProblem(published, "what was written cannot get this name: " + systemText(errno));
    temporary_.clear();
    temporaryFiles::remove(std::exchange(registered_, nullptr));
    closeDescriptor();
    if (!options_.sync) return published;
    const int folder = ::open(folderOf(place_.path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool synchronised = folder < 0 || ::fsync(folder) == 0 || cannotSynchronise(errno);
    const int error = errno;
    if (folder >= 0) ::close(folder);
    if (!synchronised) throw writeProblem(name_, error);
    return published;
}

bool OutputFile::hasFailedFile() const {
    struct stat status {};
    return !stream_ && ::lstat(failedName().c_str(), &status) == 0;
}

bool OutputFile::publishFromHandler() noexcept {
    if (temporary_.empty()) return true;
    struct stat old {};
    if (replaces() && ::stat(place_.path.c_str(), &old) == 0 && ::fchmod(descriptor_, old.st_mode & 07777) != 0)
        return false;
    return ::rename(temporary_.c_str(), place_.path.c_str()) == 0;
}

}  // namespace libzepl
