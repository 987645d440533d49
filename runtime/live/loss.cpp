#include "runtime/live/loss.h"

#include <algorithm>
#include <array>

namespace libzepl {

std::uint64_t LossyFeed::pushFrames(const std::byte* from, std::uint64_t frames) {
    const std::uint64_t n = std::min(frames, room());
    ring_.push(from, n * channels_);
    given_ += n;
    return n;
}

void LossyFeed::pushZeros() {
    static constexpr std::array<std::byte, 4096> zeros{};
    const std::uint64_t most = std::max<std::uint64_t>(zeros.size() / (width_ * channels_), 1);
    const std::vector<std::byte> longFrame(width_ * channels_ > zeros.size() ? width_ * channels_ : 0);
    while (owed_ > 0) {
        const std::uint64_t n = pushFrames(longFrame.empty() ? zeros.data() : longFrame.data(), std::min(owed_, most));
        if (n == 0) return;
        owed_ -= n;
    }
}

void LossyFeed::push(const void* from, std::uint64_t frames) {
    pushZeros();
    const std::uint64_t n = owed_ > 0 ? 0 : pushFrames(static_cast<const std::byte*>(from), frames);
    if (n < frames) lose(frames - n, false);
}

// A gap goes on as long as nothing but its zeros came since.
void LossyFeed::lose(std::uint64_t frames, bool isEstimated) {
    if (frames == 0) return;
    std::vector<Gap>& gaps = losses_.gaps;
    const bool continues = last_.lost > 0 && last_.frame + (fill_ ? last_.lost - owed_ : 0) == given_;
    if (!continues) {
        last_ = {given_, 0};
        ++losses_.places;
        if (gaps.size() < maxGaps) gaps.push_back(last_);
    }
    last_.lost += frames;
    if (losses_.places == gaps.size()) gaps.back() = last_;
    losses_.frames += frames;
    losses_.isEstimated |= isEstimated;
    if (!fill_) return;
    owed_ += frames;
    pushZeros();
}

Losses LossyFeed::before(std::uint64_t framesTaken) const {
    Losses reached = losses_;
    while (!reached.gaps.empty() && losses_.places == losses_.gaps.size()) {
        const Gap& last = reached.gaps.back();
        if (last.frame < framesTaken || (last.frame == framesTaken && given_ == framesTaken)) break;
        reached.frames -= last.lost;
        --reached.places;
        reached.gaps.pop_back();
    }
    return reached;
}

}  // namespace libzepl
