#include "runtime/engine/lanes.h"

#include <algorithm>
#include <chrono>

namespace libzepl {

namespace {

std::uint64_t roundOf(const Lane& lane) { return lane.engine.scheduler.round; }

// Nothing in it is ready, and its inputs have had nothing for some rounds: its rounds pass without anything.
bool isFrozen(const Lane& lane) { return lane.engine.scheduler.readyCount == 0; }

}  // namespace

Lanes::Lanes(Engine& whole, Partition& partition, void (*concludeWhole)(Engine& whole))
    : whole_(whole), conclude_(concludeWhole), byTask_(whole.graph.lastTaskNumber() + 1) {
    for (std::size_t i = 0; i < partition.count(); ++i) {
        Lane& lane = *lanes_.emplace_back(std::make_unique<Lane>(whole, *this));
        partition.fill(i, lane.engine.graph);
        for (const Task& task : lane.engine.graph.tasks) byTask_[task.number] = &lane;
    }
}

template <class Test>
bool Lanes::any(Test test) const {
    return std::any_of(lanes_.begin(), lanes_.end(), [&](const auto& lane) { return test(*lane); });
}

void Lanes::meet(Lane& lane) {
    if (roundOf(lane) < lane.firstRound) return;
    std::unique_lock lock(mutex_);
    lane.state = Lane::State::waiting;
    settle();
    lane.resumed.wait(lock, [&] { return lane.state != Lane::State::waiting; });
}

void Lanes::leave(Lane& lane) {
    const RunEnd end = lane.engine.outcome.end;
    if (end != RunEnd::quiescent && end != RunEnd::stopped) abandon();
    const std::lock_guard lock(mutex_);
    lane.state = Lane::State::ended;
    settle();
    ended_.notify_one();
}

void Lanes::abandon() {
    isVoid_ = true;
    for (const auto& lane : lanes_) lane->engine.ownStop.request();
}

void Lanes::awaitEnd(const std::function<void()>& meanwhile) {
    constexpr std::chrono::milliseconds pause(100);
    std::unique_lock lock(mutex_);
    const auto haveEnded = [this] { return !any([](const Lane& lane) { return lane.state != Lane::State::ended; }); };
    if (!meanwhile) return ended_.wait(lock, haveEnded);
    while (!ended_.wait_for(lock, pause, haveEnded)) {
        lock.unlock();
        meanwhile();
        lock.lock();
    }
}

void Lanes::resume(Lane& lane, std::uint64_t firstRound) {
    lane.firstRound = firstRound;
    lane.state = Lane::State::running;
    lane.resumed.notify_one();
}

// Once no lane runs, decides how they continue. A run that stops in one stops in all.
void Lanes::settle() {
    if (any([](const Lane& lane) { return lane.state == Lane::State::running; })) return;
    const bool isOver = any([](const Lane& lane) { return lane.state == Lane::State::ended; });
    std::uint64_t last = 0;
    for (const auto& lane : lanes_) last = std::max(last, roundOf(*lane));
    if (!isOver) return settleAt(last);
    for (const auto& lane : lanes_) {
        if (lane->state != Lane::State::waiting) continue;
        lane->engine.outcome.finish(RunEnd::stopped);
        resume(*lane, 0);
    }
}

void Lanes::settleAt(std::uint64_t round) {
    bool areThere = true;
    for (const auto& lane : lanes_) {
        if (isFrozen(*lane)) lane->engine.scheduler.round = round;
        if (roundOf(*lane) == round) continue;
        areThere = false;
        resume(*lane, round);
    }
    if (areThere) conclude(round);
}

void Lanes::conclude(std::uint64_t round) {
    whole_.scheduler.round = round;
    whole_.setUpDone = true;
    for (const auto& lane : lanes_) whole_.activity.include(lane->engine.activity);
    conclude_(whole_);
    const RunEnd end = whole_.outcome.end;
    if (end != RunEnd::running && end != RunEnd::quiescent) abandon();
    Scheduler& woken = whole_.scheduler;
    for (woken.beginRound(); woken.readyCount > 0;) {
        Task& task = woken.takeReady();
        byTask_[task.number]->engine.scheduler.pushReady(task);
    }
    woken.current = nullptr;
    const bool anyMoves = any([](const Lane& lane) { return !isFrozen(lane); });
    const bool keepsFrozen = end == RunEnd::running && anyMoves && !whole_.activity.hasGrown(round);
    for (const auto& lane : lanes_) {
        lane->engine.activity.include(whole_.activity);
        if (end != RunEnd::running) lane->engine.outcome.finish(end);
        if (!keepsFrozen || !isFrozen(*lane)) resume(*lane, round + 1);
    }
}

void leaveForWhole(Engine& e) {
    e.lane->lanes.abandon();
    e.outcome.finish(RunEnd::stopped);
    endCurrent(e, TaskReport::State::exited, "needs the whole session");
}

}  // namespace libzepl
