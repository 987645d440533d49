// Lanes: the parts of one session that share nothing, each run by an engine on a thread of its own, with the results of one
// engine that runs them all.
//
// Within a part the tasks take the turns that they take in the whole, and each round of a part is the round of that number of
// the whole. What only the whole can know is when nothing moves anywhere for some rounds, so that a channel grows or the run
// ends. So a part in which nothing moves waits for the others. When all wait, those that are behind continue up to the round
// of the last one, and once all are there, the whole session's engine draws the conclusions.
//
// What else would tie the parts, such as a look at the session's clock, makes the attempt void: the session must be made
// again, and run by one engine. Nothing of a void attempt is published.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "runtime/engine/engine.h"
#include "runtime/engine/partition.h"

namespace libzepl {

class Lanes;

struct Lane {
    enum class State { running, waiting, ended };

    Lane(Engine& whole, Lanes& all) : engine(whole), lanes(all) { engine.lane = this; }

    Engine engine;
    Lanes& lanes;
    State state = State::running;
    std::uint64_t firstRound = 0;  // before it no conclusions are drawn
    std::condition_variable resumed;
    std::atomic<std::uint64_t> delivered{0};
};

class Lanes {
 public:
    // `concludeWhole` draws the conclusions of a round for the whole session's engine.
    Lanes(Engine& whole, Partition& partition, void (*concludeWhole)(Engine& whole));

    // By a lane's thread, at the end of a round in which conclusions may be due: returns when they were drawn, or when the lane
    // is to continue without.
    void meet(Lane& lane);
    // By a lane's thread, whose engine runs no more.
    void leave(Lane& lane);
    // From any thread: the attempt is void, and all lanes end.
    void abandon();
    // Until all lanes have ended. Calls `meanwhile`, where there is one, some times a second.
    void awaitEnd(const std::function<void()>& meanwhile);

    const std::vector<std::unique_ptr<Lane>>& all() const { return lanes_; }
    bool isVoid() const { return isVoid_; }

 private:
    template <class Test>
    bool any(Test test) const;
    void settle();
    void settleAt(std::uint64_t round);
    void conclude(std::uint64_t round);
    void resume(Lane& lane, std::uint64_t firstRound);

    Engine& whole_;
    void (*const conclude_)(Engine& whole);
    std::vector<std::unique_ptr<Lane>> lanes_;
    std::vector<Lane*> byTask_;  // by a task's number
    std::mutex mutex_;
    std::condition_variable ended_;  // a lane has
    std::atomic<bool> isVoid_{false};
};

// The current task asks for what only the whole session has: in a lane, that ends the task, and the attempt.
[[noreturn, gnu::cold, gnu::noinline]] void leaveForWhole(Engine& e);
inline void requireWhole(Engine& e) {
    if (e.lane != nullptr) [[unlikely]]
        leaveForWhole(e);
}

}  // namespace libzepl
