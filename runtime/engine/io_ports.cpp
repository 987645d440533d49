#include "runtime/engine/io_ports.h"

#include <algorithm>

namespace libzepl {

ChunkSizes::ChunkSizes(std::uint64_t fixedChunk, std::optional<std::uint64_t> seed, std::uint64_t input,
                       std::uint64_t max)
    : fixed_(fixedChunk), max_(max) {
    if (seed) generator_.emplace(*seed * 1000003 + input);
}

// Random chunks are small as often as large, since both find different faults.
std::uint64_t ChunkSizes::next() {
    if (!generator_) return fixed_;
    const std::uint64_t draw = (*generator_)();
    const std::uint64_t bound = (draw & 1) != 0 ? std::min<std::uint64_t>(max_, 16) : max_;
    return 1 + (draw >> 1) % bound;
}

std::uint64_t FrameOutput::framesThere() const {
    std::uint64_t frames = ~std::uint64_t{0};
    for (const Member& member : members) frames = std::min(frames, member.frames());
    return frames;
}

bool FrameOutput::isHeldUp() const {
    const auto isBehind = [](const Member& member) { return member.isBehind(); };
    return isOpen() && !complete() && std::any_of(members.begin(), members.end(), isBehind) &&
           !std::all_of(members.begin(), members.end(), isBehind);
}

}  // namespace libzepl
