#include "runtime/live/wake.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

#include "runtime/diagnostics.h"

namespace libzepl {

Wake::Wake() : descriptor_(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
    if (descriptor_ < 0)
        throw Problem("no descriptor is left to wake a session by: " + std::generic_category().message(errno),
                      "raise the limit of open files (ulimit -n)");
}

Wake::~Wake() { ::close(descriptor_); }

void Wake::signal() noexcept {
    if (!armed_.exchange(false, std::memory_order_seq_cst)) return;
    const int error = errno;
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(descriptor_, &one, sizeof one);
    errno = error;
}

void Wake::disarm() noexcept {
    armed_.store(false, std::memory_order_seq_cst);
    std::uint64_t count;
    [[maybe_unused]] const auto read = ::read(descriptor_, &count, sizeof count);
}

}  // namespace libzepl
