#include <algorithm>
#include <chrono>
#include <thread>

#include "runtime/diagnostics.h"
#include "runtime/files/stream_wait.h"
#include "runtime/live.h"
#include "runtime/live/ring_source.h"

namespace libzepl {

namespace {

void pauseShortly() {
#if defined(__x86_64__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
}

// Whether there is room soon. To be woken can take longer than the session takes to empty half a ring, so where there is a processor
// to spare a thread stays awake for that long.
bool hasRoomSoon(const LiveRing& ring, std::size_t wanted) {
    constexpr std::chrono::microseconds longest(50);
    constexpr int pauses = 32;  // between looks, which the session would feel
    static const bool isAlone = std::thread::hardware_concurrency() < 2;
    const auto end = std::chrono::steady_clock::now() + longest;
    while (!isAlone && std::chrono::steady_clock::now() < end) {
        if (ring.samples.room() >= wanted) return true;
        for (int i = 0; i < pauses; ++i) pauseShortly();
    }
    return false;
}

}  // namespace

LiveInput::LiveInput(std::shared_ptr<LiveRing> ring, ElementType type, std::string name)
    : ring_(std::move(ring)), type_(type), name_(std::move(name)) {}

void LiveInput::expect(ElementType given) const {
    if (type_ == given) return;
    throw Problem(libzepl::quoted(name_) + " is a pipe of " + std::string(nameOf(type_)) + ", and not of " +
                      std::string(nameOf(given)),
                  "push elements of its own type");
}

std::size_t LiveInput::pushRaw(const void* elements, std::size_t n) {
    if (ring_->finished.load(std::memory_order_relaxed))
        throw Problem("more is pushed to " + libzepl::quoted(name_) + " after its end",
                      "call finish() after the last element");
    return ended() ? 0 : ring_->push(elements, n);
}

std::size_t LiveInput::pushAllRaw(const void* elements, std::size_t n) {
    const auto* from = static_cast<const std::byte*>(elements);
    std::size_t done = pushRaw(from, n);
    while (done < n && !ended()) {
        // Half of the ring at a time, so that the two threads do not wake each other for every block.
        const std::size_t wanted = std::min(n - done, (capacity() + 1) / 2);
        if (!hasRoomSoon(*ring_, wanted)) {
            ring_->wantedRoom.store(wanted, std::memory_order_relaxed);
            ring_->emptied.arm();
            if (room() < wanted && !ended()) awaitAny({ring_->emptied.descriptor()});
            ring_->emptied.disarm();
        }
        done += pushRaw(from + done * widthOf(type_), n - done);
    }
    return done;
}

void LiveInput::finish() { ring_->finish(); }

std::size_t LiveInput::capacity() const { return ring_->samples.capacity(); }
std::size_t LiveInput::room() const { return ring_->samples.room(); }
bool LiveInput::ended() const { return ring_->closed.load(std::memory_order_seq_cst); }

}  // namespace libzepl
