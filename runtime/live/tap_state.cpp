#include "runtime/live/tap_state.h"

#include <algorithm>
#include <limits>

namespace libzepl {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

}  // namespace

template <class Item>
void TapState::Last<Item>::add(const Item* from, std::size_t n) {
    const std::size_t size = items.size(), kept = std::min(n, size);
    if (kept == 0) return;
    from += n - kept;
    const std::size_t at = (begin + count) % size, first = std::min(kept, size - at);
    std::copy_n(from, first, items.begin() + static_cast<std::ptrdiff_t>(at));
    std::copy_n(from + first, kept - first, items.begin());
    const std::size_t over = count + kept > size ? count + kept - size : 0;
    begin = (begin + over) % size;
    count += kept - over;
}

template <class Item>
std::vector<Item> TapState::Last<Item>::taken() const {
    std::vector<Item> all;
    all.reserve(count);
    const std::size_t first = std::min(count, items.size() - begin);
    const auto from = items.begin() + static_cast<std::ptrdiff_t>(begin);
    all.insert(all.end(), from, from + static_cast<std::ptrdiff_t>(first));
    all.insert(all.end(), items.begin(), items.begin() + static_cast<std::ptrdiff_t>(count - first));
    return all;
}

TapState::TapState(ElementType type, const WatchSettings& settings)
    : type_(type),
      perColumn_(settings.columns > 0 ? settings.perColumn : 0),
      added_(type, settings),
      open_{infinity, -infinity},
      exchanged_(type, settings) {}

bool TapState::add(std::uint64_t position, const void* elements, std::uint64_t n, bool waits) {
    std::unique_lock lock(exchange_, std::defer_lock);
    if (waits)
        lock.lock();
    else if (!lock.try_lock())
        return false;
    if (position != seen_ || isBroken_) forgetEarlier(position);
    const auto* bytes = static_cast<const std::byte*>(elements);
    added_.elements.add(bytes, n * widthOf(type_));
    if (perColumn_ > 0) addColumns(position, bytes, n);
    seen_ = added_.seen = position + n;
    return true;
}

// What was added is given without gaps, and only whole columns.
void TapState::forgetEarlier(std::uint64_t position) {
    added_.elements.begin = added_.elements.count = 0;
    added_.columns.begin = added_.columns.count = 0;
    contiguousFrom_ = position;
    isBroken_ = false;
    open_ = {infinity, -infinity};
}

void TapState::addColumns(std::uint64_t position, const std::byte* elements, std::uint64_t n) {
    while (n > 0) {
        const std::uint64_t inColumn = std::min(n, perColumn_ - position % perColumn_);
        const Extremes extremes = extremesOf(type_, elements, inColumn);
        open_.least = std::min(open_.least, extremes.least);
        open_.greatest = std::max(open_.greatest, extremes.greatest);
        position += inColumn;
        elements += inColumn * widthOf(type_);
        n -= inColumn;
        if (position % perColumn_ == 0) closeColumn((position - 1) / perColumn_);
    }
}

// A column whose beginning was not seen is none.
void TapState::closeColumn(std::uint64_t number) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const Extremes column = open_.least > open_.greatest ? Extremes{nan, nan} : open_;
    open_ = {infinity, -infinity};
    if (number * perColumn_ < contiguousFrom_) return;
    added_.columns.add(&column, 1);
    added_.columnsUntil = number + 1;
}

void TapState::finish() {
    const std::lock_guard lock(exchange_);
    if (perColumn_ > 0 && seen_ % perColumn_ != 0 && !isBroken_) closeColumn(seen_ / perColumn_);
    added_.ended = true;
}

Watched TapState::take() {
    const std::lock_guard taking(takers_);
    {
        const std::lock_guard lock(exchange_);
        std::swap(added_, exchanged_);
        added_.seen = exchanged_.seen;
        added_.ended = exchanged_.ended;
        added_.columnsUntil = exchanged_.columnsUntil;
    }
    Watched watched;
    watched.type = type_;
    watched.seen = exchanged_.seen;
    watched.ended = exchanged_.ended;
    watched.elements = exchanged_.elements.taken();
    watched.first = watched.seen - watched.count();
    for (const Extremes& column : exchanged_.columns.taken()) {
        watched.least.push_back(column.least);
        watched.greatest.push_back(column.greatest);
    }
    watched.firstColumn = (exchanged_.columnsUntil - watched.least.size()) * perColumn_;
    exchanged_.elements.begin = exchanged_.elements.count = 0;
    exchanged_.columns.begin = exchanged_.columns.count = 0;
    return watched;
}

Tap::Tap(std::shared_ptr<TapState> state) : state_(std::move(state)) {}
Tap::Tap(Tap&&) noexcept = default;
Tap& Tap::operator=(Tap&& other) noexcept {
    std::swap(state_, other.state_);
    return *this;
}
Tap::~Tap() {
    if (state_ != nullptr) state_->detach();
}
Watched Tap::take() { return state_->take(); }

TriggerTap::TriggerTap(std::shared_ptr<TapState> state) : state_(std::move(state)) {}
TriggerTap::TriggerTap(TriggerTap&&) noexcept = default;
TriggerTap& TriggerTap::operator=(TriggerTap&& other) noexcept {
    std::swap(state_, other.state_);
    return *this;
}
TriggerTap::~TriggerTap() {
    if (state_ != nullptr) state_->detach();
}
WatchedEvents TriggerTap::take() {
    const Watched watched = state_->take();
    WatchedEvents events{.first = watched.first, .positions = {}, .ended = watched.ended};
    events.positions.resize(watched.elements.size() / sizeof(std::uint32_t));
    if (!events.positions.empty())
        std::memcpy(events.positions.data(), watched.elements.data(), watched.elements.size());
    return events;
}

}  // namespace libzepl
