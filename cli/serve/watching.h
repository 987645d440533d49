// What is watched of one run: a trace of each pipe that is looked at, and the last events of each trigger. All of it belongs
// to the server's thread, but for what Clock says.
#pragma once

#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "cli/serve/trace.h"
#include "runtime/live.h"

namespace cli {

// The events of a trigger, of which the last ones are kept.
struct Events {
    static constexpr std::size_t most = 4096;

    std::uint64_t first = 0;  // the number of the first that is kept, from 0
    std::deque<std::uint32_t> positions;

    std::uint64_t next() const { return first + positions.size(); }
    void add(const libzepl::WatchedEvents& watched);
};

// How far a pipe was at a time, and the run's clock.
struct PipeCounts {
    double elements = 0;
    double frames = 0;
    double capacity = 0;  // elements
};

// How many elements of a pipe there are to a frame. While the run continues, tasks and pipes hold some back, and generators
// have filled theirs before the clock moved: a usual number is taken that is as near as this leaves in doubt.
double elementsAFrame(const PipeCounts& now, const PipeCounts& first, double rate, bool isOver);

class Watching {
 public:
    static constexpr std::size_t atOnce = 16;     // pipes that are watched from the start of a run on
    static constexpr std::size_t mostPipes = 64;  // that are watched in all

    using WatchPipe = std::function<std::optional<libzepl::Tap>(const std::string& name)>;

    // Of a session that has everything, and has not begun.
    Watching(std::uint32_t run, libzepl::Session& session, const libzepl::Snapshot& before, WatchPipe later);

    std::uint32_t run() const { return run_; }
    std::size_t pipes() const { return pipes_.size(); }
    std::size_t triggers() const { return triggers_.size(); }

    // Takes what has come. True where anything has.
    bool poll();
    // Watches a pipe from now on, if it can; null where it is not watched.
    const Trace* look(std::size_t pipe);
    libzepl::ElementType typeOf(std::size_t pipe) const { return pipes_[pipe].type; }
    const Events& eventsOf(std::size_t trigger) const { return triggers_[trigger].events; }

    // From any thread: how far the run is. How many samples a second a pipe has follows from it.
    void noteProgress(const libzepl::Snapshot& snapshot);
    double rateOf(std::size_t pipe) const;
    double rate() const;

 private:
    struct WatchedPipe {
        std::string name;
        libzepl::ElementType type;
        std::optional<libzepl::Tap> tap;
        Trace trace;
    };
    struct PipeProgress {
        PipeCounts first;  // the first in which the clock had moved
        double elementsAFrame = 1;
    };
    struct WatchedTrigger {
        libzepl::TriggerTap tap;
        Events events;
    };

    std::uint32_t run_;
    std::vector<WatchedPipe> pipes_;
    std::vector<WatchedTrigger> triggers_;
    std::size_t watched_ = 0;
    WatchPipe later_;
    mutable std::mutex mutex_;  // of the two below
    std::vector<PipeProgress> progress_;
    double rate_;
};

}  // namespace cli
