#include "cli/serve/watching.h"

#include <algorithm>
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
    for (std::size_t i = 0; i < elementsAFrame_.size() && i < snapshot.pipes.size(); ++i)
        elementsAFrame_[i] = elementsAFrame(snapshot.pipes[i].written, snapshot.frames);
}

double Watching::rateOf(std::size_t pipe) const {
    const std::lock_guard lock(progress_);
    return elementsAFrame_[pipe] * rate_;
}

double Watching::rate() const {
    const std::lock_guard lock(progress_);
    return rate_;
}

double elementsAFrame(std::uint64_t written, std::uint64_t frames) {
    if (written == 0 || frames == 0) return 1;
    constexpr double heldBack = 16384;  // elements that are on their way through tasks and pipes
    const auto elements = static_cast<double>(written), all = static_cast<double>(frames);
    const double ratio = elements / all, whole = std::round(std::max(ratio, 1 / ratio));
    const double exact = ratio >= 1 ? whole : 1 / whole;
    return std::abs(elements / exact - all) <= heldBack + 2 / exact ? exact : ratio;
}

}  // namespace cli
