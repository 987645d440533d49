// What reaches a run from outside, for one who keeps it, and from one who gives it again. The engine calls these at the places
// where it takes something from outside, and nowhere else: a run with neither costs a test of a pointer there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace libzepl {

struct Engine;
struct Cell;

// Keeps what a run has from outside, and what it gives. Called on the session's thread, on the stack of a task too, so
// that nothing may be thrown but by begin(). Inputs, variables and outputs are named by their places in the graph; outputs by
// `place`.
class RunRecorder {
 public:
    virtual ~RunRecorder() = default;
    // Before anything runs. Throws a Problem where nothing can be kept.
    virtual void begin(Engine& e) = 0;
    // The bytes that an input gives, in order, and then how many elements it gave at the end of that round; `ended` says that
    // its end was seen. `round` 0 is before the first one.
    virtual void elements(const std::byte* from, std::uint64_t bytes) noexcept = 0;
    virtual void delivered(std::uint64_t round, std::size_t input, std::uint64_t count, bool ended) noexcept = 0;
    virtual void value(std::uint64_t round, std::size_t variable, const Cell& cell) noexcept = 0;
    // All that comes from outside before the end of round `round` is told.
    virtual void served(std::uint64_t round) noexcept = 0;
    // An output takes `count` frames: `columns` has the elements of each of its pipes, or the positions of events.
    virtual void taken(std::uint64_t round, std::size_t output, const void* const* columns,
                       std::uint64_t count) noexcept = 0;
    // An input or an output failed, so that the run ends.
    virtual void failed(std::uint64_t round, const std::string& reason, const std::string& remedy) noexcept = 0;
    virtual void end(Engine& e) noexcept = 0;
    // In a signal's handler: a task of that round has damaged the memory of the process.
    virtual void crashed(std::uint64_t round) noexcept = 0;
};

// Gives what a run had from outside.
class RunScript {
 public:
    virtual ~RunScript() = default;
    virtual void begin(Engine& e) = 0;
    // What the input gives at the end of round `round`: so many elements, and its end. Of round 0 one delivery at a time.
    virtual std::uint64_t due(std::uint64_t round, std::size_t input) = 0;
    virtual bool ends(std::uint64_t round, std::size_t input) = 0;
    virtual void deliveredOf(std::uint64_t round, std::size_t input, std::uint64_t count) = 0;
    // Sets what was set at the end of that round.
    virtual void applyValues(Engine& e) = 0;
    // Whether the run stops at the end of that round; a Problem where it failed there by what came from outside.
    virtual bool stops(std::uint64_t round) = 0;
    // The next round whose end the dispatcher must see for the two above.
    virtual std::uint64_t nextRound() const = 0;
};

}  // namespace libzepl
