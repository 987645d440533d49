#include "runtime/engine/outside.h"

#include <algorithm>
#include <new>
#include <utility>

#include "runtime/engine/engine.h"

namespace libzepl {

bool Outside::ask(Request request) {
    {
        const std::lock_guard lock(mutex_);
        if (phase_ == Phase::ended) return false;
        requests_.push_back(std::move(request));
        asked_.store(true, std::memory_order_seq_cst);
    }
    wake.notify();
    return true;
}

Snapshot Outside::snapshot(Engine& e, Snapshot (*make)(const Engine& e), std::chrono::milliseconds patience) {
    if (engine == &e) {
        // What the session itself calls, such as a source or `progress`, would wait for itself.
        Snapshot made = make(e);
        const std::lock_guard lock(mutex_);
        made.phase = phaseOfRun();
        return made;
    }
    {
        const std::lock_guard lock(mutex_);
        if (phase_ != Phase::running) {
            last_ = make(e);
            last_.phase = phase_;
            return last_;
        }
    }
    auto isAnswered = std::make_shared<bool>(false);
    const auto answer = [this, isAnswered, make](Engine& engineAsked) {
        Snapshot made = make(engineAsked);
        const std::lock_guard lock(mutex_);
        made.phase = phaseOfRun();
        last_ = std::move(made);
        *isAnswered = true;
        answered_.notify_all();
    };
    const bool willAnswer = ask(answer);
    std::unique_lock lock(mutex_);
    if (!willAnswer) {
        last_ = make(e);
        last_.phase = phase_;
        return last_;
    }
    // The clock cannot hold every later moment.
    constexpr std::chrono::milliseconds longest = std::chrono::hours(24 * 365);
    const bool isCurrent = answered_.wait_for(lock, std::min(patience, longest), [&] { return *isAnswered; });
    Snapshot latest = last_;
    latest.isCurrent = isCurrent;
    if (!isCurrent) latest.phase = phase_;
    return latest;
}

void Outside::begin() {
    const std::lock_guard lock(mutex_);
    phase_ = Phase::running;
}

void Outside::serve(Engine& e) {
    std::vector<Request> due;
    {
        const std::lock_guard lock(mutex_);
        due.swap(requests_);
        asked_.store(false, std::memory_order_relaxed);
    }
    for (const Request& request : due) request(e);
}

void Outside::end(Engine& e) {
    {
        const std::lock_guard lock(mutex_);
        phase_ = Phase::ended;
    }
    try {
        serve(e);
    } catch (const std::bad_alloc&) {
        return;  // whoever asks does not wait for ever
    }
}

bool Outside::arm() {
    wake.arm();
    if (!asked_.load(std::memory_order_seq_cst)) return true;
    wake.disarm();
    return false;
}

bool serveOutside(Engine& e) {
    if (!e.outside.isAsked()) return false;
    const std::uint64_t before = e.outside.valuesSet;
    if (e.watches.any()) releaseDetachedTaps(e);  // a session that sleeps has no round that would do it
    e.outside.serve(e);
    return e.outside.valuesSet != before;
}

// As a delivery of an input, so that what the value leads to is seen before anything is concluded.
void applyValue(Engine& e, Variable& variable, const Cell& value) {
    variable.cell = value;
    ++e.outside.valuesSet;
    e.activity.noteDelivery(e.scheduler.round);
    if (e.recorder == nullptr) return;
    std::size_t place = 0;
    while (&e.graph.variables[place] != &variable) ++place;
    e.recorder->value(e.scheduler.round, place, value);
}

namespace {

const std::byte* placeOf(const Pipe& pipe, std::uint64_t position) {
    return pipe.storage + ((position & pipe.mask) << pipe.widthShift);
}
const std::uint32_t* placeOf(const Trigger& trigger, std::uint64_t position) {
    return &trigger.ring[position & (trigger.ring.size() - 1)];
}
std::uint64_t maskOf(const Pipe& pipe) { return pipe.mask; }
std::uint64_t maskOf(const Trigger& trigger) { return trigger.ring.size() - 1; }

// What the storage still has of it: where it cannot be shown later, waits for a taker to make room.
template <class ChannelType>
void show(const ChannelType& channel, TapState& tap, bool isLastChance = false) {
    if (tap.seen() == channel.writePosition) return;
    const std::uint64_t mask = maskOf(channel), until = channel.writePosition;
    for (std::uint64_t at = until - std::min(until - tap.seen(), mask + 1); at < until;) {
        const std::uint64_t n = std::min(until - at, mask - (at & mask) + 1);
        if (!tap.add(at, placeOf(channel, at), n, isLastChance)) return;
        at += n;
    }
}

template <class ChannelType, class Watches>
bool showAll(const Watches& watches, bool isLastChance) {
    bool isDetached = false;
    for (const Watch<ChannelType>& watch : watches) {
        show(*watch.channel, *watch.tap, isLastChance);
        isDetached |= watch.tap->isDetached();
    }
    return isDetached;
}

auto& watchesOf(Engine& e, const Pipe&) { return e.watches.pipes; }
auto& watchesOf(Engine& e, const Trigger&) { return e.watches.triggers; }

template <class ChannelType>
void attach(Engine& e, ChannelType& channel, std::shared_ptr<TapState> tap) {
    tap->skipTo(e.scheduler.turn == 0 ? 0 : channel.writePosition);
    channel.isWatched = true;
    watchesOf(e, channel).push_back({&channel, std::move(tap)});
}

template <class Watches>
void releaseDetached(Watches& watches) {
    std::erase_if(watches, [](const auto& watch) { return watch.tap->isDetached(); });
}

}  // namespace

bool showTaps(Engine& e, bool isLastChance) {
    const bool pipes = showAll<Pipe>(e.watches.pipes, isLastChance);
    const bool triggers = showAll<Trigger>(e.watches.triggers, isLastChance);
    return pipes || triggers;
}

template <class ChannelType>
void showTaps(Engine& e, ChannelType& channel) {
    for (const auto& watch : watchesOf(e, channel))
        if (watch.channel == &channel) show(channel, *watch.tap, true);
}

template <class ChannelType>
void showDiscarded(Engine& e, ChannelType& channel, const void* elements, std::uint64_t n) {
    for (const auto& watch : watchesOf(e, channel)) {
        if (watch.channel != &channel) continue;
        show(channel, *watch.tap);
        if (!watch.tap->add(channel.writePosition, elements, n)) watch.tap->skipTo(channel.writePosition + n);
    }
}

void attachTap(Engine& e, Pipe& pipe, std::shared_ptr<TapState> tap) { attach(e, pipe, std::move(tap)); }
void attachTap(Engine& e, Trigger& trigger, std::shared_ptr<TapState> tap) { attach(e, trigger, std::move(tap)); }

void releaseDetachedTaps(Engine& e) {
    releaseDetached(e.watches.pipes);
    releaseDetached(e.watches.triggers);
}

void finishTaps(Engine& e) {
    const auto finish = [](const auto& watches) {
        for (const auto& watch : watches) {
            show(*watch.channel, *watch.tap, true);
            watch.tap->finish();
        }
    };
    finish(e.watches.pipes);
    finish(e.watches.triggers);
}

template void showTaps(Engine&, Pipe&);
template void showTaps(Engine&, Trigger&);
template void showDiscarded(Engine&, Pipe&, const void*, std::uint64_t);
template void showDiscarded(Engine&, Trigger&, const void*, std::uint64_t);

}  // namespace libzepl
