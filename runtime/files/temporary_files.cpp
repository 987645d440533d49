#include "runtime/files/temporary_files.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <utility>

#include "runtime/output_files.h"

namespace libzepl::temporaryFiles {

namespace {

// Whoever moves an entry out of `unused` or `live` has its path to himself. A `taken` one is never used again.
enum class State : int { unused, filling, live, taken };

}  // namespace

// Entries are used again and never freed, since a handler may look at them at any time.
struct Entry {
    std::atomic<State> state{State::filling};
    std::string path;
    ::pid_t owner = 0;
    Entry* next = nullptr;
};

namespace {

static_assert(std::atomic<State>::is_always_lock_free && std::atomic<Entry*>::is_always_lock_free);

std::atomic<Entry*> newest{nullptr};

// A program that ends by exit() leaves none either, as when a thread that a module has started calls it.
struct AtExit {
    ~AtExit() { removeTemporaryFiles(); }
} atExit;

bool moves(Entry& entry, State from, State to) { return entry.state.compare_exchange_strong(from, to); }

Entry* claimed() {
    for (Entry* entry = newest; entry != nullptr; entry = entry->next)
        if (moves(*entry, State::unused, State::filling)) return entry;
    auto* fresh = new Entry;
    fresh->next = newest;
    while (!newest.compare_exchange_weak(fresh->next, fresh)) {
    }
    return fresh;
}

}  // namespace

Entry* add(std::string path) {
    Entry* entry = claimed();
    entry->path = std::move(path);
    entry->owner = ::getpid();
    entry->state = State::live;
    return entry;
}

void remove(Entry* entry) noexcept {
    if (entry != nullptr) moves(*entry, State::live, State::unused);
}

}  // namespace libzepl::temporaryFiles

namespace libzepl {

void removeTemporaryFiles() noexcept {
    using namespace temporaryFiles;
    const int error = errno;
    for (Entry* entry = newest; entry != nullptr; entry = entry->next)
        if (moves(*entry, State::live, State::taken) && entry->owner == ::getpid()) ::unlink(entry->path.c_str());
    errno = error;
}

}  // namespace libzepl
