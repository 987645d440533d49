#include <algorithm>

#include "runtime/diagnostics.h"
#include "runtime/files/stream_wait.h"
#include "runtime/live.h"
#include "runtime/live/ring_source.h"

namespace libzepl {

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
        ring_->wantedRoom.store(wanted, std::memory_order_relaxed);
        ring_->emptied.arm();
        if (room() < wanted && !ended()) awaitAny({ring_->emptied.descriptor()});
        ring_->emptied.disarm();
        done += pushRaw(from + done * widthOf(type_), n - done);
    }
    return done;
}

void LiveInput::finish() { ring_->finish(); }

std::size_t LiveInput::capacity() const { return ring_->samples.capacity(); }
std::size_t LiveInput::room() const { return ring_->samples.room(); }
bool LiveInput::ended() const { return ring_->closed.load(std::memory_order_seq_cst); }

}  // namespace libzepl
