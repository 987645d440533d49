#include "runtime/stop_request.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace libzepl {

StopRequest::StopRequest() : descriptor_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

StopRequest::~StopRequest() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

void StopRequest::request() noexcept {
    const int error = errno;
    requested_.store(true, std::memory_order_relaxed);
    const std::uint64_t one = 1;
    // Nothing is lost where the counter is full: it is readable then.
    if (descriptor_ >= 0) [[maybe_unused]]
        const ssize_t written = ::write(descriptor_, &one, sizeof one);
    errno = error;
}

}  // namespace libzepl
