// Makes allocations fail in the tool that this file is linked with: the one whose number stands in STARVED_AT, and with
// STARVED_ON all that follow. A run that ends by itself writes how many it made to the file named by STARVED_COUNT.

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
}

namespace {

std::atomic<long> made{0};

// Whether the next allocation fails. What is allocated before there is an environment, by the loader, never does.
bool fails() {
    static long at = -1;
    static bool on = false;
    if (::environ == nullptr) return false;
    if (at < 0) {
        const char* const text = std::getenv("STARVED_AT");
        at = text != nullptr ? std::atol(text) : 0;
        on = std::getenv("STARVED_ON") != nullptr;
    }
    const long number = ++made;
    const bool failing = at > 0 && (number == at || (on && number > at));
    if (failing) errno = ENOMEM;
    return failing;
}

struct AtExit {
    ~AtExit() {
        const char* const name = std::getenv("STARVED_COUNT");
        if (name == nullptr) return;
        char text[32];
        const int length = std::snprintf(text, sizeof text, "%ld", made.load());
        const int file = ::open(name, O_WRONLY | O_CREAT | O_TRUNC, 0666);
        if (::write(file, text, static_cast<std::size_t>(length)) != length) std::abort();
    }
} atExit;

}  // namespace

extern "C" {
void* malloc(std::size_t bytes) noexcept { return fails() ? nullptr : __libc_malloc(bytes); }
void* calloc(std::size_t n, std::size_t bytes) noexcept { return fails() ? nullptr : __libc_calloc(n, bytes); }
void* realloc(void* old, std::size_t bytes) noexcept { return fails() ? nullptr : __libc_realloc(old, bytes); }
void* aligned_alloc(std::size_t alignment, std::size_t bytes) noexcept {
    return fails() ? nullptr : __libc_memalign(alignment, bytes);
}
int posix_memalign(void** to, std::size_t alignment, std::size_t bytes) noexcept {
    if (fails()) return ENOMEM;
    *to = __libc_memalign(alignment, bytes);
    return *to != nullptr ? 0 : ENOMEM;
}
}
