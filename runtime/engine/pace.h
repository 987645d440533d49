// A run that keeps to the wall clock.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace libzepl {

struct Engine;

struct Pace {
    using Clock = std::chrono::steady_clock;

    bool isOn() const { return framesPerSecond > 0; }
    // When the session's clock may have counted so many frames.
    Clock::time_point dueAt(std::uint64_t frames) const {
        return *began + std::chrono::duration_cast<Clock::duration>(
                            std::chrono::duration<double>(static_cast<double>(frames) / framesPerSecond));
    }
    // Frames that pass in one picture of a display.
    std::uint64_t framesOfPicture() const;

    double framesPerSecond = 0;  // of the session's clock in a second of the wall's; 0 where nothing is held
    std::optional<Clock::time_point> began;
    std::chrono::duration<double> late{0};  // when the clock was last looked at
};

// Sleeps until the wall clock is where the session's is, before inputs deliver, or where there are none to. Rounds do not
// pass meanwhile, so that results are those of a run that is not held. Returns when a stop is requested.
void holdPace(Engine& e);

// Sleeps at the end until all frames are due: what a generator gave at once, too.
void holdEnd(Engine& e);

// Adds a note where the run was behind at its end.
void notePace(Engine& e);

}  // namespace libzepl
