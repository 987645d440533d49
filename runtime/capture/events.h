// The events of a capture: what came in which round, and the sums of what went out. docs/capture.md has the form.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "runtime/capture/log_files.h"
#include "runtime/diagnostics.h"
#include "runtime/files.h"

namespace libzepl {

// The first byte of an event. From `shortPoint` on it is a point of the output `tag - shortPoint`, with count and rounds as that
// output's last one has them.
enum class EventTag : std::uint8_t { none, run, inputEnd, value, point, failure, end, inputNotes, shortPoint = 16 };

inline constexpr std::uint64_t maxShortPoints = 240;
// An output's points are at most so many frames apart, and one is at the end of each round that gave but a few.
inline constexpr std::uint64_t pointFrames = 256, fewFrames = 16;

// What is said of an input at the end of its run: what it lost, and notes.
struct InputNotes {
    Losses losses{};
    std::vector<std::string> notes{};
};

struct Event {
    EventTag tag = EventTag::none;
    std::uint64_t round = 0;  // of a run the first one
    std::uint64_t place = 0;  // of the input, the variable or the output
    std::uint64_t count = 0;  // elements or frames
    std::uint32_t step = 0;   // rounds from one delivery of the run to the next
    std::uint32_t times = 0;  // deliveries of the run
    std::uint64_t word = 0;   // a value's cell, a point's sum, an end's kind
    std::string text{}, remedy{};
    InputNotes notes{};

    std::uint64_t lastRound() const { return round + std::uint64_t{step} * (times > 0 ? times - 1 : 0); }
};

// Writes events, in the order of their rounds.
class EventWriter {
 public:
    EventWriter(LogFiles& files, std::size_t inputs, std::size_t outputs)
        : files_(files), runs_(inputs), points_(outputs) {}

    // What goes on as the run of that input does costs no further bytes.
    void delivery(std::uint64_t round, std::size_t input, std::uint64_t count) {
        Run& run = runs_[input];
        std::byte* place = nullptr;
        if (round == run.nextRound && count == run.count) place = files_.changeable(run.offset);
        if (place != nullptr && run.times < most) [[likely]] {
            run.nextRound = round + run.step;
            store(place, run.step, ++run.times);
        } else {
            beginRun(round, input, count);
        }
    }
    void inputEnd(std::uint64_t round, std::size_t input);
    void value(std::uint64_t round, std::size_t variable, std::uint64_t cell);
    void point(std::uint64_t round, std::size_t output, std::uint64_t count, std::uint64_t sum);
    void failure(std::uint64_t round, const std::string& reason, const std::string& remedy);
    void inputNotes(std::uint64_t round, std::size_t input, const InputNotes& notes);
    void end(std::uint64_t round, std::uint64_t how);

 private:
    struct Run {
        std::uint64_t offset = ~std::uint64_t{0};  // of `step` and `times` in the stream
        std::uint64_t nextRound = 0;               // where it goes on, if it does
        std::uint64_t lastRound() const { return nextRound - step; }
        std::uint64_t count = 0;
        std::uint32_t step = 0, times = 0;
    };
    struct Point {
        std::uint64_t count = 0, rounds = ~std::uint64_t{0};  // since the event before it
    };
    static constexpr std::uint32_t most = ~std::uint32_t{0};

    // The parts of a run that change, in one word, so that whoever reads them later finds both or neither changed.
    static void store(std::byte* place, std::uint32_t step, std::uint32_t times) {
        const std::uint64_t word = std::uint64_t{times} << 32 | step;
        std::memcpy(place, &word, sizeof word);
    }
    void beginRun(std::uint64_t round, std::size_t input, std::uint64_t count);
    std::uint64_t roundsTo(std::uint64_t round) {
        const std::uint64_t rounds = round - round_;
        round_ = round;
        return rounds;
    }

    LogFiles& files_;
    std::vector<Run> runs_;
    std::vector<Point> points_;
    std::uint64_t round_ = 0;
};

// The bytes of a stream of a capture: of its file, and after the process was killed of the ring.
class LogBytes {
 public:
    LogBytes() = default;
    explicit LogBytes(std::vector<std::byte> bytes) : tail_(std::move(bytes)) {}
    LogBytes(const std::filesystem::path& file, std::uint64_t fileBytes, std::vector<std::byte> tail);
    LogBytes(const LogBytes&) = delete;
    LogBytes& operator=(const LogBytes&) = delete;
    LogBytes(LogBytes&& other) noexcept;
    LogBytes& operator=(LogBytes&& other) noexcept;
    ~LogBytes();

    std::uint64_t size() const { return mappedBytes_ + tail_.size(); }
    // They are there.
    void read(std::uint64_t offset, void* to, std::uint64_t bytes) const;
    std::byte at(std::uint64_t offset) const {
        return offset < mappedBytes_ ? mapped_[offset] : tail_[offset - mappedBytes_];
    }

 private:
    const std::byte* mapped_ = nullptr;
    std::uint64_t mappedBytes_ = 0;
    std::vector<std::byte> tail_;
};

// Reads them. What is no event is a Problem.
class EventReader {
 public:
    EventReader(const LogBytes& bytes, std::size_t inputs, std::size_t variables, std::size_t outputs)
        : bytes_(&bytes), inputs_(inputs), variables_(variables), points_(outputs) {}

    // The next one, or nothing at the end, and where the bytes end within one.
    std::optional<Event> next();

 private:
    struct Point {
        std::uint64_t count = 0, rounds = 0;
    };
    Event nextWhole();
    std::uint8_t byte();
    std::uint64_t varint();
    std::uint64_t fixed(std::size_t bytes);
    std::string text();
    std::uint64_t placeBelow(std::size_t end);
    std::uint64_t nextRound(std::uint64_t rounds);
    void readPoint(Event& event, std::uint8_t tag);
    void readNotes(InputNotes& notes);
    std::uint64_t listCount();
    [[noreturn]] void damaged() const;

    const LogBytes* bytes_;
    std::size_t inputs_, variables_;
    std::vector<Point> points_;
    std::uint64_t offset_ = 0, round_ = 0;
    bool ranOut_ = false;
};

}  // namespace libzepl
