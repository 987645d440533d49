// The session's virtual time. It counts in units so fine that a frame and, at a whole rate, a millisecond are whole numbers
// of them.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace libzepl {

class VirtualClock {
 public:
    static constexpr std::uint32_t unitsPerFrame = 1000;

    VirtualClock() = default;
    VirtualClock(double framesPerSecond, std::uint32_t start)
        : rate_(framesPerSecond), now_(start), lastFrame_(start), start_(start) {}

    double rate() const { return rate_; }
    std::uint64_t now() const { return now_; }
    void addFrames(std::uint64_t frames) {
        lastFrame_ += frames * unitsPerFrame;
        now_ = std::max(now_, lastFrame_);
    }
    // Frames that come after a jump find time ahead of them until they have caught up, so that it does not drift from them.
    void jumpTo(std::uint64_t time) { now_ = std::max(now_, time); }

    // Frames since the start of the run.
    std::uint64_t frame() const { return (now_ - start_) / unitsPerFrame; }
    // When `milliseconds` from now (a thousand of them have `rate` frames of a thousand units) will have passed; at least one unit ahead.
    std::uint64_t after(std::uint32_t milliseconds) const {
        const double units = std::clamp(std::ceil(milliseconds * rate_), 1.0, maxPause);
        return now_ + static_cast<std::uint64_t>(units);
    }
    // Whole frames that can pass before `time` is passed.
    std::uint64_t framesUntil(std::uint64_t time) const {
        return time <= now_ ? 0 : (time - lastFrame_) / unitsPerFrame;
    }

 private:
    static constexpr double maxPause = 0x1p60;  // units; only an absurd rate has longer ones

    double rate_ = 1000;
    std::uint64_t now_ = 0;
    std::uint64_t lastFrame_ = 0;  // when the last frame came, by the count of frames
    std::uint64_t start_ = 0;
};

}  // namespace libzepl
