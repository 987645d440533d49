// The growing files of a capture, of which nothing is lost when the process is killed.
//
// What is appended goes first into a ring, which is the memory of a file that the system keeps whatever becomes of the
// process. A thread of its own writes it from there to its own file, a piece at a time. While pieces come it looks for them
// every now and then, since waking a thread costs the one that appends more than it costs to copy a piece; when none has come for
// a while it sleeps.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "runtime/capture/stream_sums.h"
#include "runtime/diagnostics.h"

namespace libzepl {

enum class LogStream : std::size_t { events, elements };
inline constexpr std::size_t logStreams = 2;
inline constexpr std::array<const char*, logStreams> logNames{"events", "elements"};
inline constexpr std::array<std::uint64_t, logStreams> ringBytes{std::uint64_t{256} << 10, std::uint64_t{1} << 20};
inline constexpr std::array<const char*, logStreams> sumNames{"events.sums", "elements.sums"};
inline constexpr const char* ringName = "ring";

// The beginning of the ring's file; then come the rings, each on whole pages.
struct RingHeader {
    static constexpr std::uint64_t bytes = 4096, magicNumber = 0x32676E6972707A00;  // "\0zpring2"
    std::atomic<std::uint64_t> magic{magicNumber};
    std::array<std::atomic<std::uint64_t>, 2> known{};              // as of LogFiles::setKnown, twice
    std::array<std::atomic<std::uint64_t>, logStreams> appended{};  // bytes in all
    std::array<std::atomic<std::uint64_t>, logStreams> written{};   // bytes that the stream's own file has
};
static_assert(std::atomic<std::uint64_t>::is_always_lock_free && sizeof(RingHeader) <= RingHeader::bytes);

// What to do where a capture cannot be made or written, by the system's error.
std::string captureRemedy(int error);

class LogFiles {
 public:
    // In a folder that has neither. A Problem where they cannot be made.
    explicit LogFiles(const std::filesystem::path& folder);
    LogFiles(const LogFiles&) = delete;
    LogFiles& operator=(const LogFiles&) = delete;
    ~LogFiles();

    // Waits while the ring is full. Once something was dropped, after a failure, nothing more is kept.
    void append(LogStream stream, const void* from, std::uint64_t bytes) noexcept {
        const std::size_t i = index(stream);
        Ring& ring = rings_[i];
        if (ring.appended + bytes > ring.end) [[unlikely]]
            return appendInPieces(i, static_cast<const std::byte*>(from), bytes);
        std::memcpy(ring.memory + (ring.appended & (ring.size - 1)), from, bytes);
        ring.appended += bytes;
        fetchAhead(ring, bytes);
        // Whoever reads the ring after the process was killed must find what this counts.
        header_->appended[i].store(ring.appended, std::memory_order_release);
    }
    // The same for what is written where it is kept: at most `maxRecord` bytes from place() on, up to `end`.
    static constexpr std::uint64_t maxRecord = 64;
    std::byte* place(LogStream stream) noexcept {
        const std::size_t i = index(stream);
        const Ring& ring = rings_[i];
        if (ring.appended + maxRecord > ring.end && !nextPiece(i)) [[unlikely]]
            return unkept_.data();
        return ring.memory + (ring.appended & (ring.size - 1));
    }
    void append(LogStream stream, const std::byte* end) noexcept {
        if (hasDropped_) return;
        const std::size_t i = index(stream);
        Ring& ring = rings_[i];
        ring.appended += static_cast<std::uint64_t>(end - (ring.memory + (ring.appended & (ring.size - 1))));
        header_->appended[i].store(ring.appended, std::memory_order_release);
    }
    bool hasDropped() const noexcept { return hasDropped_; }
    std::uint64_t appended(LogStream stream) const { return rings_[index(stream)].appended; }
    // The place of what was appended to the events at `offset`, as long as it may still be changed, else null.
    std::byte* changeable(std::uint64_t offset) {
        const Ring& ring = rings_[index(LogStream::events)];
        return offset >= ring.released.load(std::memory_order_relaxed) && !hasDropped_
                   ? ring.memory + (offset & (ring.size - 1))
                   : nullptr;
    }
    // A number that goes with what was appended until now, and never becomes less.
    void setKnown(std::uint64_t known) noexcept {
        for (std::atomic<std::uint64_t>& each : header_->known) each.store(known, std::memory_order_release);
    }

    // Writes all with its sums, and removes the ring. Nothing may be appended after it.
    void finish() noexcept;
    // Removes the files instead.
    void discard() noexcept;
    bool hasFailed() const noexcept { return failed_.load(std::memory_order_relaxed); }
    std::optional<Problem> failure() const;

 private:
    struct Ring {
        std::byte* memory = nullptr;  // twice, one after the other
        std::uint64_t size = 0;
        std::uint64_t appended = 0;
        std::uint64_t end = 0;                   // it can be appended to up to here without a further look
        std::atomic<std::uint64_t> released{0};  // up to here the writer may take it
        int file = -1;
        SumWriter sums;
    };
    // The writer has had the lines that come next in its own cache: as many as were appended now are fetched back while
    // tasks work.
    static void fetchAhead(const Ring& ring, std::uint64_t bytes) {
        constexpr std::uint64_t line = 64, most = 4096;
        std::byte* next = ring.memory + (ring.appended & (ring.size - 1));
        for (std::uint64_t at = 0; at < std::min(bytes, most); at += line) __builtin_prefetch(next + at, 1);
    }
    static std::size_t index(LogStream stream) { return static_cast<std::size_t>(stream); }
    void mapRings();
    bool nextPiece(std::size_t i) noexcept;
    void appendInPieces(std::size_t i, const std::byte* from, std::uint64_t bytes) noexcept;
    void release(std::size_t i) noexcept;
    void wakeWriter() noexcept;
    bool awaitRoom(std::size_t i, std::uint64_t bytes) noexcept;
    void drop() noexcept;
    void writeOut() noexcept;
    bool writeReleased() noexcept;
    bool hasReleased() const noexcept;
    void sleep(bool isShort) noexcept;
    bool writePiece(std::size_t i, std::uint64_t until) noexcept;
    void finishSums() noexcept;
    void removeAll() noexcept;
    void closeAll() noexcept;

    std::filesystem::path folder_;
    int ringFile_ = -1;
    RingHeader* header_ = nullptr;
    std::array<Ring, logStreams> rings_{};
    std::mutex mutex_;
    std::condition_variable toWrite_, room_;
    std::atomic<bool> sleeping_{false};  // until it is woken
    std::atomic<bool> finishing_{false};
    bool isFinished_ = false;
    bool hasDropped_ = false;  // by the session's thread
    std::array<std::byte, maxRecord> unkept_{};
    std::atomic<bool> failed_{false};
    int error_ = 0;
    std::thread writer_;
};

}  // namespace libzepl
