#include "cli/serve/watching.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace cli {

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
    : run_(run), later_(std::move(later)), elementsAFrame_(before.pipes.size(), 1.0), rate_(before.rate) {
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
    const std::lock_guard lock(progress_);
    rate_ = snapshot.rate;
    const bool isOver = snapshot.phase == libzepl::Snapshot::Phase::ended;
    for (std::size_t i = 0; i < elementsAFrame_.size() && i < snapshot.pipes.size(); ++i)
        elementsAFrame_[i] = elementsAFrame(snapshot.pipes[i].written, snapshot.frames, snapshot.rate, isOver);
}

double Watching::rateOf(std::size_t pipe) const {
    const std::lock_guard lock(progress_);
    return elementsAFrame_[pipe] * rate_;
}

double Watching::rate() const {
    const std::lock_guard lock(progress_);
    return rate_;
}

double elementsAFrame(std::uint64_t written, std::uint64_t frames, double rate, bool isOver) {
    if (written == 0 || frames == 0) return 1;
    const double heldBack = isOver ? 0 : 8192;  // frames that are on their way
    const auto elements = static_cast<double>(written), all = static_cast<double>(frames);
    const double doubt = heldBack / all;
    if (elements >= all) {
        const double whole = std::round(elements / all);
        return std::abs(elements / all - whole) <= doubt * whole ? whole : elements / all;
    }
    // One element for so many frames: as many as there are in a whole part of a second, or a power of two, if it can be.
    const double frequency = all / elements;
    double nearest = std::round(frequency);
    bool isUsual = false;
    const auto most = static_cast<std::uint64_t>(std::min(frequency * (1 + doubt), 1e6));
    for (auto n = static_cast<std::uint64_t>(std::max(1.0, frequency * (1 - doubt))); n <= most; ++n) {
        const auto whole = static_cast<double>(n);
        if (std::fmod(rate, whole) != 0 && !std::has_single_bit(n)) continue;
        if (!isUsual || std::abs(whole - frequency) < std::abs(nearest - frequency)) nearest = whole;
        isUsual = true;
    }
    return std::abs(nearest - frequency) <= doubt * frequency + 1 / elements ? 1 / nearest : 1 / frequency;
}

}  // namespace cli
