// What a source that cannot wait gives a ring: what has no room is lost, and counted where it is.
#pragma once

#include <cstddef>
#include <cstdint>

#include "runtime/live/ring_source.h"

namespace libzepl {

class LossyFeed {
 public:
    // Frames of so many bytes each, in a ring of elements of `width` bytes. With `fill` zeros stand for what is lost.
    LossyFeed(LiveRing& ring, std::size_t width, std::size_t channels, bool fill)
        : ring_(ring), width_(width), channels_(channels), fill_(fill) {
        losses_.isFilled = fill;
    }

    // Gives whole frames.
    void push(const void* from, std::uint64_t frames);
    // Frames that never came here, before those that come next.
    void lose(std::uint64_t frames, bool isEstimated);

    // Those of the losses that lie before the frames that were taken, or at them where no other came after.
    Losses before(std::uint64_t framesTaken) const;

 private:
    std::uint64_t pushFrames(const std::byte* from, std::uint64_t frames);
    void pushZeros();
    std::uint64_t room() const { return ring_.samples.room() / channels_; }

    static constexpr std::size_t maxGaps = 1000;

    LiveRing& ring_;
    std::size_t width_, channels_;
    bool fill_;
    std::uint64_t given_ = 0;  // frames in the ring so far, zeros among them
    std::uint64_t owed_ = 0;   // zeros that had no room yet
    Losses losses_;
    Gap last_;  // not yet among the gaps where its place is the next frame's
};

}  // namespace libzepl
