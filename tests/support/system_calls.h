// Calls of the system that fail, or tell another time, while a test wants them to.
#pragma once

#include <cstdint>

namespace libzepl {

// While it lives, `passing` calls that read from files go through, and those after them fail with an error of the device.
class FailingReads {
 public:
    explicit FailingReads(std::int64_t passing);
    ~FailingReads();
    FailingReads(const FailingReads&) = delete;
    FailingReads& operator=(const FailingReads&) = delete;
    bool failed() const;
};

// While it lives, every look at the clock finds another second.
class RunningClock {
 public:
    RunningClock();
    ~RunningClock();
    RunningClock(const RunningClock&) = delete;
    RunningClock& operator=(const RunningClock&) = delete;
};

// While it lives, the clock that the process measures time by stands still, but for what it is moved on.
class StandingClock {
 public:
    StandingClock();
    ~StandingClock();
    StandingClock(const StandingClock&) = delete;
    StandingClock& operator=(const StandingClock&) = delete;
    void moveOn(double seconds);
};

}  // namespace libzepl
