// These definitions stand before those of the C library, for the libraries that the tests are linked with as well.

#include "tests/support/system_calls.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cmath>
#include <ctime>

namespace {

constexpr std::int64_t never = -1;
std::atomic<std::int64_t> readsLeft{never};
std::atomic<bool> readFailed{false};
std::atomic<std::time_t> second{0};     // 0 is the true one
std::atomic<std::int64_t> standing{0};  // nanoseconds; 0 is the true clock

bool failsNow() {
    if (readsLeft == never) return false;
    if (readsLeft > 0) {
        --readsLeft;
        return false;
    }
    readFailed = true;
    errno = EIO;
    return true;
}

}  // namespace

extern "C" {

ssize_t read(int descriptor, void* to, std::size_t count) {
    return failsNow() ? -1 : ::syscall(SYS_read, descriptor, to, count);
}

ssize_t pread(int descriptor, void* to, std::size_t count, off_t offset) {
    return failsNow() ? -1 : ::syscall(SYS_pread64, descriptor, to, count, offset);
}

std::time_t time(std::time_t* to) noexcept {
    std::timespec now{};
    ::syscall(SYS_clock_gettime, CLOCK_REALTIME, &now);
    const std::time_t told = second == 0 ? now.tv_sec : ++second;
    if (to != nullptr) *to = told;
    return told;
}

int clock_gettime(clockid_t clock, std::timespec* to) noexcept {
    const std::int64_t at = standing;
    if (at == 0 || clock != CLOCK_MONOTONIC) return static_cast<int>(::syscall(SYS_clock_gettime, clock, to));
    *to = {.tv_sec = at / 1'000'000'000, .tv_nsec = at % 1'000'000'000};
    return 0;
}

}  // extern "C"

namespace libzepl {

FailingReads::FailingReads(std::int64_t passing) {
    readFailed = false;
    readsLeft = passing;
}
FailingReads::~FailingReads() { readsLeft = never; }
bool FailingReads::failed() const { return readFailed; }

RunningClock::RunningClock() { second = 1000000000; }
RunningClock::~RunningClock() { second = 0; }

StandingClock::StandingClock() { standing = std::int64_t{1'000'000'000'000}; }
StandingClock::~StandingClock() { standing = 0; }
void StandingClock::moveOn(double seconds) { standing += std::llround(seconds * 1e9); }

}  // namespace libzepl
