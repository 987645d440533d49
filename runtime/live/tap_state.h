// What a tap has seen of a pipe or a trigger: the session's thread adds to one buffer, and the taker exchanges it for another.
#pragma once

#include <atomic>
#include <mutex>

#include "runtime/live.h"
#include "runtime/live/extremes.h"

namespace libzepl {

class TapState {
 public:
    TapState(ElementType type, const WatchSettings& settings);

    // By the session's thread: elements that are in one piece, the first of them at the running count `position`. False, with
    // nothing noted, while the taker exchanges the buffers, unless it `waits` for that.
    bool add(std::uint64_t position, const void* elements, std::uint64_t n, bool waits = false);
    // The run has ended.
    void finish();
    // The count up to which elements were added, or are lost.
    std::uint64_t seen() const { return seen_; }
    void skipTo(std::uint64_t position) {
        seen_ = position;
        isBroken_ = true;
    }
    bool isDetached() const { return detached_.load(std::memory_order_relaxed); }

    // By the taker.
    Watched take();
    void detach() { detached_.store(true, std::memory_order_relaxed); }

 private:
    // The last ones of what was added; the storage is a ring.
    template <class Item>
    struct Last {
        explicit Last(std::size_t most) : items(most) {}
        void add(const Item* from, std::size_t n);
        std::vector<Item> taken() const;

        std::vector<Item> items;
        std::size_t begin = 0;
        std::size_t count = 0;
    };
    struct Buffer {
        Buffer(ElementType type, const WatchSettings& settings)
            : elements(settings.elements * widthOf(type)), columns(settings.columns) {}

        Last<std::byte> elements;
        Last<Extremes> columns;
        std::uint64_t seen = 0;
        std::uint64_t columnsUntil = 0;  // the number of the column after the last
        bool ended = false;
    };

    void addColumns(std::uint64_t position, const std::byte* elements, std::uint64_t n);
    void closeColumn(std::uint64_t number);
    void forgetEarlier(std::uint64_t position);

    const ElementType type_;
    const std::uint64_t perColumn_;  // 0 without columns
    std::atomic<bool> detached_{false};
    std::mutex exchange_;
    Buffer added_;
    // By the session's thread alone.
    std::uint64_t seen_ = 0;
    bool isBroken_ = false;             // what comes next does not continue what was added
    std::uint64_t contiguousFrom_ = 0;  // since then nothing was lost
    Extremes open_;                     // of the column that is not complete
    std::mutex takers_;
    Buffer exchanged_;
};

}  // namespace libzepl
