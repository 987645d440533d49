#include "runtime/capture/log_files.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <new>
#include <system_error>

namespace libzepl {

namespace {

constexpr std::uint64_t piecesOfRing = 4;

[[noreturn]] void fail(const std::filesystem::path& path, int error) {
    throw Problem(path.string() + ": what the run has cannot be kept there: " + std::generic_category().message(error),
                  captureRemedy(error));
}

int create(const std::filesystem::path& path) {
    const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (file < 0) fail(path, errno);
    return file;
}

// The thread that writes takes no signals, which are the caller's to handle.
class BlockedSignals {
 public:
    BlockedSignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
    sigset_t before_;
};

}  // namespace

std::string captureRemedy(int error) {
    switch (error) {
        case EMFILE:
            return "raise the limit of open files (ulimit -n)";
        case ENFILE:
            return "close other programs: the system has no more open files";
        case EAGAIN:
            return "raise the limit of threads (ulimit -u)";
        case ENOMEM:
            return "close other programs, or raise what a process may take (ulimit -v)";
        case ENOSPC:
        case EDQUOT:
            return "capture into a folder of a disk that has room";
        case EFBIG:
            return "raise the limit of a file's size (ulimit -f), or capture into a folder of a disk that has room";
        case EACCES:
        case EPERM:
        case EROFS:
        case ENOTDIR:
        case ENAMETOOLONG:
            return "name a folder that can be written";
        default:
            return "capture into a folder of a local disk";
    }
}

LogFiles::LogFiles(const std::filesystem::path& folder) : folder_(folder) {
    try {
        for (std::size_t i = 0; i < logStreams; ++i) {
            rings_[i].file = create(folder / logNames[i]);
            rings_[i].sums.open(create(folder / sumNames[i]), sumSpans[i]);
        }
        ringFile_ = create(folder / ringName);
        mapRings();
        const BlockedSignals blocked;
        writer_ = std::thread([this] { writeOut(); });
    } catch (const std::system_error& error) {
        removeAll();
        fail(folder, error.code().value());
    } catch (const Problem&) {
        removeAll();
        throw;
    }
}

LogFiles::~LogFiles() {
    finish();
    closeAll();
}

// Each ring is mapped twice in a row, so that what goes past its end needs no second copy.
void LogFiles::mapRings() {
    std::uint64_t total = RingHeader::bytes;
    for (const std::uint64_t size : ringBytes) total += size;
    if (const int error = ::posix_fallocate(ringFile_, 0, static_cast<off_t>(total)); error != 0)
        fail(folder_ / ringName, error);
    constexpr int access = PROT_READ | PROT_WRITE;
    void* start = ::mmap(nullptr, RingHeader::bytes, access, MAP_SHARED, ringFile_, 0);
    if (start == MAP_FAILED) fail(folder_ / ringName, errno);
    header_ = new (start) RingHeader;
    std::uint64_t offset = RingHeader::bytes;
    for (std::size_t i = 0; i < logStreams; ++i) {
        Ring& ring = rings_[i];
        const std::uint64_t size = ringBytes[i];
        void* both = ::mmap(nullptr, 2 * size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (both == MAP_FAILED) fail(folder_ / ringName, errno);
        ring.memory = static_cast<std::byte*>(both);
        ring.size = size;
        for (std::byte* at : {ring.memory, ring.memory + size})
            if (::mmap(at, size, access, MAP_SHARED | MAP_FIXED, ringFile_, static_cast<off_t>(offset)) == MAP_FAILED)
                fail(folder_ / ringName, errno);
        offset += size;
    }
}

// Those that it has made.
void LogFiles::removeAll() noexcept {
    for (std::size_t i = 0; i < logStreams; ++i) {
        if (rings_[i].file >= 0) ::unlink((folder_ / logNames[i]).c_str());
        if (rings_[i].sums.file() >= 0) ::unlink((folder_ / sumNames[i]).c_str());
    }
    if (ringFile_ >= 0) ::unlink((folder_ / ringName).c_str());
    closeAll();
}

void LogFiles::closeAll() noexcept {
    for (Ring& ring : rings_) {
        if (ring.memory != nullptr) ::munmap(ring.memory, 2 * ring.size);
        if (ring.file >= 0) ::close(ring.file);
        if (ring.sums.file() >= 0) ::close(ring.sums.file());
        ring.memory = nullptr;
        ring.file = -1;
        ring.sums = {};
    }
    if (header_ != nullptr) ::munmap(header_, RingHeader::bytes);
    if (ringFile_ >= 0) ::close(ringFile_);
    header_ = nullptr;
    ringFile_ = -1;
}

// A piece that is full goes to the writer, and the next one begins where there is room for it. False after a failure.
bool LogFiles::nextPiece(std::size_t i) noexcept {
    Ring& ring = rings_[i];
    const std::uint64_t piece = ring.size / piecesOfRing;
    if (hasDropped_) return false;
    release(i);
    if (awaitRoom(i, piece))
        ring.end = ring.appended + piece;
    else
        drop();
    return !hasDropped_;
}

void LogFiles::appendInPieces(std::size_t i, const std::byte* from, std::uint64_t bytes) noexcept {
    const Ring& ring = rings_[i];
    while (bytes > 0 && !hasDropped_) {
        const std::uint64_t n = std::min(bytes, ring.size / piecesOfRing);
        if (ring.appended + n > ring.end && !nextPiece(i)) return;
        append(static_cast<LogStream>(i), from, n);
        from += n;
        bytes -= n;
    }
}

// What was appended stays whole; nothing follows it, in either stream.
void LogFiles::drop() noexcept {
    hasDropped_ = true;
    for (Ring& ring : rings_) ring.end = 0;
}

// Either this sees that the writer sleeps, or the writer what this released before it does.
void LogFiles::release(std::size_t i) noexcept {
    rings_[i].released.store(rings_[i].appended);
    if (sleeping_.load()) wakeWriter();
}

void LogFiles::wakeWriter() noexcept {
    { const std::lock_guard lock(mutex_); }
    toWrite_.notify_one();
}

bool LogFiles::awaitRoom(std::size_t i, std::uint64_t bytes) noexcept {
    const Ring& ring = rings_[i];
    const auto fits = [&] {
        return ring.appended + bytes - header_->written[i].load(std::memory_order_acquire) <= ring.size;
    };
    if (fits()) return true;
    wakeWriter();
    std::unique_lock lock(mutex_);
    room_.wait(lock, [&] { return fits() || hasFailed(); });
    return !hasFailed();
}

bool LogFiles::hasReleased() const noexcept {
    for (std::size_t i = 0; i < logStreams; ++i)
        if (rings_[i].released.load() > header_->written[i].load(std::memory_order_relaxed)) return true;
    return false;
}

void LogFiles::writeOut() noexcept {
    // Has the pages there before the session comes to them, which can do without.
    for (const Ring& ring : rings_) ::madvise(ring.memory, 2 * ring.size, MADV_POPULATE_WRITE);
    constexpr int mostLooks = 20;
    for (int looks = 0;;) {
        const bool isLast = finishing_.load();
        const bool any = hasReleased();
        const bool written = writeReleased();
        {
            const std::lock_guard lock(mutex_);
            if (!written) failed_.store(true);
        }
        room_.notify_all();
        if (!written || isLast) return;
        looks = any ? 0 : looks + 1;
        sleep(looks < mostLooks);
    }
}

// What the events name is there before them.
bool LogFiles::writeReleased() noexcept {
    const std::uint64_t events = rings_[index(LogStream::events)].released.load(std::memory_order_acquire);
    const std::uint64_t elements = rings_[index(LogStream::elements)].released.load(std::memory_order_acquire);
    return writePiece(index(LogStream::elements), elements) && writePiece(index(LogStream::events), events);
}

void LogFiles::sleep(bool isShort) noexcept {
    constexpr std::chrono::microseconds shortly{250};
    std::unique_lock lock(mutex_);
    const auto isWoken = [&] { return finishing_.load() || hasReleased(); };
    if (isShort) {
        toWrite_.wait_for(lock, shortly);
        return;
    }
    sleeping_.store(true);
    toWrite_.wait(lock, isWoken);
    sleeping_.store(false);
}

// The sums are there before the ring lets go of what they are of.
bool LogFiles::writePiece(std::size_t i, std::uint64_t until) noexcept {
    Ring& ring = rings_[i];
    const std::uint64_t at = header_->written[i].load(std::memory_order_relaxed);
    if (at == until) return true;
    const std::byte* from = ring.memory + (at & (ring.size - 1));
    error_ = writeAt(ring.file, from, until - at, at);
    if (error_ == 0) error_ = ring.sums.add(from, until - at);
    if (error_ != 0) return false;
    header_->written[i].store(until, std::memory_order_release);
    return true;
}

void LogFiles::finishSums() noexcept {
    const std::uint64_t joint = jointSum(rings_[0].sums.value(), rings_[1].sums.value());
    for (Ring& ring : rings_)
        if (!hasFailed()) failed_.store((error_ = ring.sums.finish(joint)) != 0);
}

void LogFiles::finish() noexcept {
    if (isFinished_ || header_ == nullptr) return;
    isFinished_ = true;
    for (std::size_t i = 0; i < logStreams; ++i) release(i);
    finishing_.store(true);
    wakeWriter();
    writer_.join();
    finishSums();
    // After a failure the ring has what the files lack.
    if (!hasFailed()) ::unlink((folder_ / ringName).c_str());
}

void LogFiles::discard() noexcept {
    finish();
    removeAll();
}

std::optional<Problem> LogFiles::failure() const {
    if (!hasFailed()) return std::nullopt;
    return Problem(folder_.string() + ": the capture is not complete: " + std::generic_category().message(error_),
                   "what it has until then can be replayed; " + captureRemedy(error_));
}

}  // namespace libzepl
