// When something last happened in a run, by rounds, and what may be concluded when it did not for a while.
//
// A run moves on by what its inputs bring. Elements that an input wrote are input-driven, and so is what a task writes that
// lately read such; a run in which input-driven work continues is never cut short. Everything else, such as a generator that
// nobody limits, a loop that feeds itself or a task that polls, may continue for ever, so it is no reason to continue.
#pragma once

#include <algorithm>
#include <cstdint>

namespace libzepl {

// For so many rounds something must be missing before anything is concluded from it: what a task does in one round can take
// some rounds to show at the others.
inline constexpr std::uint64_t quietRounds = 8;
// For so many rounds tasks may continue without reading anything that inputs drive.
inline constexpr std::uint64_t maxUndrivenRounds = 65536;

class Activity {
 public:
    // What happened in round `round`, which is never less than in an earlier call.
    void noteChange(std::uint64_t round) { lastChange_ = round; }  // elements, events, a status or a pause moved
    void noteDrivenRead(std::uint64_t round) { lastDrivenRead_ = round; }
    void noteDrivenWrite(std::uint64_t round) { lastDrivenWrite_ = round; }
    void noteDrivenPause(std::uint64_t round) {
        lastDrivenPause_ = round;
    }  // the end of a pause that the inputs led to
    void noteDelivery(std::uint64_t round) { lastDelivery_ = round; }
    void noteLimitedDrain(std::uint64_t round) { lastLimitedDrain_ = round; }  // an output with a limit took something
    void noteDeadlockCheck(std::uint64_t round, bool grown) {
        lastDeadlockCheck_ = round;
        if (grown) lastChange_ = lastGrowth_ = round;
    }
    void noteJump(std::uint64_t round) { lastJump_ = round; }  // of time to the end of a pause
    void notePatienceCheck(std::uint64_t round, std::uint64_t turn) {
        lastPatienceCheck_ = round;
        lastPatienceTurn_ = turn;
    }

    bool hasDelivered(std::uint64_t round) const { return lastDelivery_ == round; }
    bool hasGrown(std::uint64_t round) const { return lastGrowth_ == round; }

    // Nothing moves, and inputs give nothing: what is not done by now will not be done.
    bool isQuiescent(std::uint64_t round) const { return round - std::max(lastChange_, lastDelivery_) >= quietRounds; }

    // Nothing that inputs drive moves. Whether a full channel holds it up is worth a look, at most every few rounds. An input
    // that fills a pipe without readers changes nothing, but while it gives the look can wait.
    bool isDeadlockCheckDue(std::uint64_t round) const {
        return round - std::max({lastDrivenRead_, lastDeadlockCheck_, lastDelivery_}) >= quietRounds;
    }

    // A deadlock check since anything last happened has found no channel to grow, so a full one stays full.
    bool isDeadlockRuledOut() const {
        return lastDeadlockCheck_ > std::max({lastDrivenRead_, lastDelivery_, lastGrowth_});
    }

    // Nothing that matters to the inputs moves, and channels have had their chance to grow: only time is waited for.
    bool isTimeAwaited(std::uint64_t round) const {
        return round - std::max({lastDrivenRead_, lastDelivery_, lastGrowth_, lastJump_}) >= quietRounds;
    }

    // The last jump of time has led to nothing yet, so that the next one may follow at once.
    bool isUnchangedSinceJump() const {
        return lastChange_ <= lastJump_ && lastDrivenRead_ < lastJump_ && lastDelivery_ < lastJump_;
    }

    // Only live inputs can bring anything further: nothing of what they gave was read for some rounds, or nothing came for
    // very many.
    bool isLiveInputAwaited(std::uint64_t round) const {
        return round - std::max(lastDrivenRead_, lastDelivery_) >= quietRounds ||
               round - lastDelivery_ >= maxUndrivenRounds;
    }

    // The last round in which something happened that keeps the run going.
    std::uint64_t lastUseful() const {
        return std::max({lastDrivenRead_, lastDelivery_, lastDrivenPause_, lastDrivenWrite_, lastLimitedDrain_});
    }
    // Tasks still move, and have done nothing useful for so long that they never will.
    bool isSelfSustaining(std::uint64_t round) const { return round - lastUseful() >= maxUndrivenRounds; }
    // Nothing useful since that round, and neither growth nor a jump of time that could lead to it.
    bool isUselessSince(std::uint64_t round) const { return std::max({lastUseful(), lastGrowth_, lastJump_}) <= round; }

    // The round and the scheduler's turn of the last look who has written more than the session's patience.
    std::uint64_t lastPatienceCheck() const { return lastPatienceCheck_; }
    std::uint64_t lastPatienceTurn() const { return lastPatienceTurn_; }

    // Of a session whose parts count the same rounds: takes in what happened in another part. Looks at patience are a
    // part's own.
    void include(const Activity& other) {
        lastChange_ = std::max(lastChange_, other.lastChange_);
        lastDrivenRead_ = std::max(lastDrivenRead_, other.lastDrivenRead_);
        lastDrivenWrite_ = std::max(lastDrivenWrite_, other.lastDrivenWrite_);
        lastDrivenPause_ = std::max(lastDrivenPause_, other.lastDrivenPause_);
        lastDelivery_ = std::max(lastDelivery_, other.lastDelivery_);
        lastLimitedDrain_ = std::max(lastLimitedDrain_, other.lastLimitedDrain_);
        lastDeadlockCheck_ = std::max(lastDeadlockCheck_, other.lastDeadlockCheck_);
        lastGrowth_ = std::max(lastGrowth_, other.lastGrowth_);
        lastJump_ = std::max(lastJump_, other.lastJump_);
    }

    // The first round whose end can change an answer of the above, when nothing happens until then.
    std::uint64_t nextCheck(std::uint64_t patienceRounds) const {
        const std::uint64_t driven = std::max({lastDrivenRead_, lastDeadlockCheck_, lastDelivery_});
        return std::min(std::min(lastChange_, driven) + quietRounds, lastPatienceCheck_ + patienceRounds);
    }

 private:
    // Rounds count from 1, in which everything is taken to have happened; what has not happened counts as round 0 where a
    // first time differs from none.
    std::uint64_t lastChange_ = 1;
    std::uint64_t lastDrivenRead_ = 1;
    std::uint64_t lastDrivenWrite_ = 1;
    std::uint64_t lastDrivenPause_ = 1;
    std::uint64_t lastDelivery_ = 1;
    std::uint64_t lastLimitedDrain_ = 0;
    std::uint64_t lastDeadlockCheck_ = 1;
    std::uint64_t lastGrowth_ = 1;
    std::uint64_t lastJump_ = 1;
    std::uint64_t lastPatienceCheck_ = 1;
    std::uint64_t lastPatienceTurn_ = 0;
};

}  // namespace libzepl
