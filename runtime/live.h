// What other threads have of a session while it runs: inputs that they push to, taps that they look through, snapshots.
//
//     LiveInput& input = session.feedLive(source);
//     Tap tap = session.watch(result, {.columns = 500, .perColumn = 100});
//     session.start();
//     input.pushAll(samples.data(), samples.size());
//     input.finish();
//     const Report report = session.wait();
//     const Watched seen = tap.take();
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <ranges>
#include <string>
#include <vector>

#include "element_type.h"
#include "report.h"
#include "session.h"

namespace libzepl {

struct LiveRing;
class TapState;

// The end of a live input that one thread at a time pushes to, from before the start on. It lasts as long as the session:
// who pushes must have returned from it before that is destroyed.
class LiveInput {
 public:
    // By Session::feedLive.
    LiveInput(std::shared_ptr<LiveRing> ring, ElementType type, std::string name);
    LiveInput(const LiveInput&) = delete;
    LiveInput& operator=(const LiveInput&) = delete;

    // How many of the elements fitted, the first ones; never waits. 0 once the run has ended. A Problem where the elements
    // are of another type than the pipe's, or after finish().
    template <class Element>
    std::size_t push(const Element* elements, std::size_t n) {
        expect(elementTypeOf<Element>());
        return pushRaw(elements, n);
    }
    template <std::ranges::contiguous_range Elements>
    std::size_t push(const Elements& elements) {
        return push(std::ranges::data(elements), std::ranges::size(elements));
    }
    // The same, waiting for room: fewer than `n` only where the run has ended, or was stopped, before it had taken all.
    template <class Element>
    std::size_t pushAll(const Element* elements, std::size_t n) {
        expect(elementTypeOf<Element>());
        return pushAllRaw(elements, n);
    }
    template <std::ranges::contiguous_range Elements>
    std::size_t pushAll(const Elements& elements) {
        return pushAll(std::ranges::data(elements), std::ranges::size(elements));
    }
    // Elements of the pipe's type, whatever that is.
    std::size_t pushRaw(const void* elements, std::size_t n);
    std::size_t pushAllRaw(const void* elements, std::size_t n);
    // Nothing more comes: what was pushed is the whole recording. Again has no effect.
    void finish();

    ElementType type() const { return type_; }
    std::size_t capacity() const;  // elements
    std::size_t room() const;      // elements that would fit
    bool ended() const;            // the run has ended: nothing more is taken

 private:
    void expect(ElementType given) const;

    std::shared_ptr<LiveRing> ring_;
    ElementType type_;
    std::string name_;
};

// What a tap keeps between two looks: the last elements, columns, or both. At most maxWatched of either.
struct WatchSettings {
    std::size_t elements = 0;     // the last so many
    std::size_t columns = 0;      // the last so many columns, each with the least and the greatest of its elements
    std::uint64_t perColumn = 0;  // elements to a column: column k has those from k * perColumn on
};
inline constexpr std::size_t maxWatched = std::size_t{1} << 24;

// What has come since the last look, as far as the tap keeps it: the elements, and the columns that are complete.
struct Watched {
    ElementType type = ElementType::int16;
    std::uint64_t first = 0;          // the position in the pipe of the first of the elements
    std::vector<std::byte> elements;  // of the pipe's type
    std::uint64_t firstColumn = 0;    // the position of the first element of the first column
    std::vector<double> least;        // a value for each column: of the elements that are numbers, nan where none is
    std::vector<double> greatest;
    std::uint64_t seen = 0;  // the position after the last element that was looked at
    bool ended = false;      // the run has ended: nothing more comes, and the last column can have fewer elements

    std::size_t count() const { return elements.size() / widthOf(type); }
    // The elements as what they are; `Element` is the pipe's type.
    template <class Element>
    std::vector<Element> as() const {
        std::vector<Element> typed(elements.size() / sizeof(Element));
        if (!typed.empty()) std::memcpy(typed.data(), elements.data(), typed.size() * sizeof(Element));
        return typed;
    }
};

// A look at a pipe, for eyes and not for results: the stream never waits for it. What comes faster than it is taken is
// dropped, the oldest first: positions say where. It may outlive the session; its end detaches it.
class Tap {
 public:
    explicit Tap(std::shared_ptr<TapState> state);  // by Session::watch
    Tap(Tap&&) noexcept;
    Tap& operator=(Tap&&) noexcept;
    ~Tap();

    // From any thread; it waits for nothing.
    Watched take();

 private:
    std::shared_ptr<TapState> state_;
};

struct WatchedEvents {
    std::uint64_t first = 0;               // how many events the trigger had before the first of these
    std::vector<std::uint32_t> positions;  // of the events
    bool ended = false;
};

// The same for a trigger's events.
class TriggerTap {
 public:
    explicit TriggerTap(std::shared_ptr<TapState> state);  // by Session::watch
    TriggerTap(TriggerTap&&) noexcept;
    TriggerTap& operator=(TriggerTap&&) noexcept;
    ~TriggerTap();

    WatchedEvents take();

 private:
    std::shared_ptr<TapState> state_;
};

// A session at the end of a round.
struct Snapshot {
    enum class Phase { unstarted, running, paused, ended };

    struct Task {
        enum class State { ready, waitingForElements, waitingForEvent, waitingForRoom, pausing, ended };
        std::string command;
        int line = 0;
        std::int64_t element = 0;  // as of a TaskReport
        State state = State::ready;
        std::string text;        // "waits for 1024 samples of `accel`, 112 are there"; of one that has ended, why
        std::uint64_t read = 0;  // elements and events so far
        std::uint64_t written = 0;
    };
    struct Pipe {
        std::string name;
        ElementType type = ElementType::int16;
        std::uint64_t written = 0;
        std::uint64_t unread = 0;  // by the slowest reader
        std::uint64_t capacity = 0;
    };

    Phase phase = Phase::unstarted;
    bool isCurrent = true;         // false where no round ended in time: then it is the last one that was made
    std::uint64_t round = 0;       // from 1; it stays while the session sleeps
    std::uint64_t clock = 0;       // in its own units
    std::uint64_t frames = 0;      // of the clock since the start
    double rate = 0;               // frames a second
    double seconds = 0;            // since the run began
    std::size_t consoleBytes = 0;  // that tasks have printed
    std::vector<Task> tasks;
    std::vector<Pipe> pipes;
    std::vector<TriggerReport> triggers;
    std::vector<VariableReport> variables;
};

}  // namespace libzepl
