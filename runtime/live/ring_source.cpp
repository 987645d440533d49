#include "runtime/live/ring_source.h"

#include "runtime/files/stream_wait.h"

namespace libzepl {

bool RingSource::arm() {
    ring_->filled.arm();
    if (!ready()) return true;
    ring_->filled.disarm();
    return false;
}

std::size_t RingSource::read(void* to, std::size_t count) {
    for (;;) {
        // What was pushed before the end is there once the end is seen.
        const bool isLast = isFinished();
        if (const std::size_t n = ring_->take(to, count); n > 0 || isLast) return n;
        if (!arm()) continue;
        awaitReadable(descriptor(), "a live input");
        disarm();
    }
}

}  // namespace libzepl
