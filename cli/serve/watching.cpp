#include "cli/serve/watching.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace cli {

namespace {

constexpr double heldBack = 8192;  // frames that tasks and pipes may have in hand

bool isWithin(double distance, double most) { return std::abs(distance) <= most; }

// A whole number of elements to a frame, unless the counts forbid it. The clock of a run without inputs is that of its first
// output, and generators fill their pipes ahead of it at once: only what came since `first` counts, less a pipe's content.
double severalAFrame(const PipeCounts& now, const PipeCounts& first) {
    const double elements = now.elements - first.elements, frames = now.frames - first.frames;
    if (frames <= 0) return 1;
    const double whole = std::max(1.0, std::ceil((elements - now.capacity) / frames));
    return isWithin(elements - whole * frames, now.capacity) ? whole : elements / frames;
}

// One element for so many frames: as many as there are in a whole part of a second, or a power of two, if it can be.
double lessThanOneAFrame(const PipeCounts& now, double rate) {
    const double frequency = now.frames / now.elements, doubt = heldBack / now.frames;
    double nearest = std::round(frequency);
    const bool isCertain = 2 * nearest < now.elements;
    if (isCertain && isWithin(now.frames - nearest * now.elements, nearest)) return 1 / nearest;
    bool isUsual = false;
    const auto most = static_cast<std::uint64_t>(std::min(frequency * (1 + doubt), 1e6));
    for (auto n = static_cast<std::uint64_t>(std::max(1.0, frequency * (1 - doubt))); n <= most; ++n) {
        const auto whole = static_cast<double>(n);
        if (std::fmod(rate, whole) != 0 && !std::has_single_bit(n)) continue;
        if (!isUsual || std::abs(whole - frequency) < std::abs(nearest - frequency)) nearest = whole;
        isUsual = true;
    }
    return isWithin(nearest - frequency, doubt * frequency) ? 1 / nearest : 1 / frequency;
}

}  // namespace

void Events::add(const libzepl::WatchedEvents& watched) {
    if (watched.positions.empty()) return;
    if (watched.first != next()) {
        positions.clear();
        first = watched.first;
    }
    positions.insert(positions.end(), watched.positions.begin(), watched.positions.end());
    while (positions.size() > most) {
        positions.pop_front();
        ++first;
    }
}

Watching::Watching(std::uint32_t run, libzepl::Session& session, const libzepl::Snapshot& before, WatchPipe later)
    : run_(run), later_(std::move(later)), progress_(before.pipes.size()), rate_(before.rate) {
    for (const libzepl::Snapshot::Pipe& pipe : before.pipes) {
        std::optional<libzepl::Tap> tap;
        if (watched_ < atOnce) {
            tap = session.watch(session.pipeNamed(pipe.name), Trace::settings());
            ++watched_;
        }
        pipes_.push_back({pipe.name, pipe.type, std::move(tap), {}});
    }
    for (const libzepl::TriggerReport& trigger : before.triggers)
        triggers_.push_back({session.watch(session.triggerNamed(trigger.name), Events::most), {}});
}

bool Watching::poll() {
    bool isNew = false;
    for (WatchedPipe& pipe : pipes_)
        if (pipe.tap) isNew = pipe.trace.add(pipe.tap->take()) || isNew;
    for (WatchedTrigger& trigger : triggers_) {
        const std::uint64_t before = trigger.events.next();
        trigger.events.add(trigger.tap.take());
        isNew = isNew || trigger.events.next() != before;
    }
    return isNew;
}

const Trace* Watching::look(std::size_t index) {
    if (index >= pipes_.size()) return nullptr;
    WatchedPipe& pipe = pipes_[index];
    if (!pipe.tap && watched_ < mostPipes) {
        pipe.tap = later_(pipe.name);
        watched_ += pipe.tap ? 1 : 0;
    }
    return pipe.tap ? &pipe.trace : nullptr;
}

void Watching::noteProgress(const libzepl::Snapshot& snapshot) {
    const std::lock_guard lock(mutex_);
    rate_ = snapshot.rate;
    const bool isOver = snapshot.phase == libzepl::Snapshot::Phase::ended;
    for (std::size_t i = 0; i < progress_.size() && i < snapshot.pipes.size(); ++i) {
        PipeProgress& pipe = progress_[i];
        const PipeCounts now{static_cast<double>(snapshot.pipes[i].written), static_cast<double>(snapshot.frames),
                             static_cast<double>(snapshot.pipes[i].capacity)};
        if (pipe.first.frames == 0) pipe.first = now;
        pipe.elementsAFrame = elementsAFrame(now, pipe.first, snapshot.rate, isOver);
    }
}

double Watching::rateOf(std::size_t pipe) const {
    const std::lock_guard lock(mutex_);
    return progress_[pipe].elementsAFrame * rate_;
}

double Watching::rate() const {
    const std::lock_guard lock(mutex_);
    return rate_;
}

double elementsAFrame(const PipeCounts& now, const PipeCounts& first, double rate, bool isOver) {
    if (now.elements == 0 || now.frames == 0) return 1;
    if (now.elements < now.frames) return lessThanOneAFrame(now, rate);
    const double whole = std::round(now.elements / now.frames);
    if (isOver && isWithin(now.elements - whole * now.frames, whole)) return whole;
    return isOver ? severalAFrame(now, {.capacity = now.capacity}) : severalAFrame(now, first);
}

}  // namespace cli
