// When a run is quiescent, deadlocked, waiting for time or sustaining itself, by what happened in which round.

#include <gtest/gtest.h>

#include "runtime/engine/activity.h"

namespace libzepl {
namespace {

TEST(ActivityTest, ARunIsQuiescentEightRoundsAfterTheLastChangeOrDelivery) {
    Activity activity;
    EXPECT_FALSE(activity.isQuiescent(8));
    EXPECT_TRUE(activity.isQuiescent(9));
    activity.noteChange(5);
    EXPECT_FALSE(activity.isQuiescent(12));
    EXPECT_TRUE(activity.isQuiescent(13));
    activity.noteDelivery(9);
    EXPECT_FALSE(activity.isQuiescent(16));
    EXPECT_TRUE(activity.isQuiescent(17));
    activity.noteDrivenPause(10);  // its end alone moves nothing
    EXPECT_TRUE(activity.isQuiescent(17));
}

TEST(ActivityTest, WorkThatNoInputDrivesDoesNotPutOffTheDeadlockCheck) {
    Activity activity;
    activity.noteChange(8);
    EXPECT_TRUE(activity.isDeadlockCheckDue(9));
    activity.noteDrivenRead(2);
    EXPECT_FALSE(activity.isDeadlockCheckDue(9));
    EXPECT_TRUE(activity.isDeadlockCheckDue(10));
}

TEST(ActivityTest, ADeadlockCheckInVainIsRepeatedEveryEightRounds) {
    Activity activity;
    activity.noteDeadlockCheck(9, false);
    EXPECT_FALSE(activity.isDeadlockCheckDue(16));
    EXPECT_TRUE(activity.isDeadlockCheckDue(17));
    EXPECT_TRUE(activity.isQuiescent(9)) << "a check in vain is no change";
}

TEST(ActivityTest, GrowthIsAChangeAndLetsTimeWait) {
    Activity activity;
    activity.noteDeadlockCheck(9, true);
    EXPECT_FALSE(activity.isQuiescent(16));
    EXPECT_FALSE(activity.isTimeAwaited(16));
    EXPECT_TRUE(activity.isTimeAwaited(17));
    EXPECT_FALSE(activity.isDeadlockRuledOut());
    activity.noteDeadlockCheck(17, false);
    EXPECT_TRUE(activity.isDeadlockRuledOut());
    activity.noteDelivery(17);
    EXPECT_FALSE(activity.isDeadlockRuledOut()) << "what was delivered since can be held up";
    EXPECT_FALSE(activity.isUselessSince(8)) << "what grew can lead to something useful";
    EXPECT_TRUE(activity.isUselessSince(17));
}

TEST(ActivityTest, TimeJumpsOnAtOnceWhileAJumpLeadsToNothing) {
    Activity activity;
    activity.noteJump(20);
    activity.noteChange(20);  // the pause that ended
    EXPECT_TRUE(activity.isUnchangedSinceJump());
    activity.noteChange(21);
    EXPECT_FALSE(activity.isUnchangedSinceJump());
    activity.noteJump(30);
    activity.noteDrivenRead(30);
    EXPECT_FALSE(activity.isUnchangedSinceJump());
    activity.noteJump(40);
    activity.noteDelivery(40);
    EXPECT_FALSE(activity.isUnchangedSinceJump());
}

TEST(ActivityTest, EachUsefulEventKeepsARunGoingForSoManyRounds) {
    const std::uint64_t then = 1000, last = then + maxUndrivenRounds - 1;
    const std::pair<const char*, void (Activity::*)(std::uint64_t)> events[] = {
        {"driven read", &Activity::noteDrivenRead},
        {"driven write", &Activity::noteDrivenWrite},
        {"driven pause", &Activity::noteDrivenPause},
        {"delivery", &Activity::noteDelivery},
        {"drain to a limit", &Activity::noteLimitedDrain}};
    for (const auto& [name, note] : events) {
        Activity activity;
        (activity.*note)(then);
        activity.noteChange(last + 1);
        EXPECT_FALSE(activity.isSelfSustaining(last)) << name;
        EXPECT_TRUE(activity.isSelfSustaining(last + 1)) << name;
        EXPECT_FALSE(activity.isUselessSince(then - 1)) << name;
    }
    Activity activity;
    activity.noteChange(then);
    EXPECT_TRUE(activity.isSelfSustaining(1 + maxUndrivenRounds)) << "a change alone is not useful";
}

TEST(ActivityTest, ALiveInputIsAwaitedWhenWhatItGaveIsReadOrNothingCameForLong) {
    Activity activity;
    activity.noteDelivery(100);
    EXPECT_FALSE(activity.isLiveInputAwaited(107));
    EXPECT_TRUE(activity.isLiveInputAwaited(108));
    for (std::uint64_t round = 101; round < 100 + maxUndrivenRounds; round += 7) activity.noteDrivenRead(round);
    EXPECT_FALSE(activity.isLiveInputAwaited(99 + maxUndrivenRounds)) << "tasks still work on what it gave";
    EXPECT_TRUE(activity.isLiveInputAwaited(100 + maxUndrivenRounds));
}

// Until the next check nothing may come true, or the dispatcher would not run when it has to.
TEST(ActivityTest, NothingComesTrueBeforeTheNextCheck) {
    std::uint32_t seed = 1;
    const auto draw = [&seed](std::uint32_t bound) { return (seed = seed * 1664525 + 1013904223) / 65536 % bound; };
    for (int run = 0; run < 500; ++run) {
        Activity activity;
        std::uint64_t round = 1;
        for (int step = 0; step < 10; ++step) {
            round += draw(12);
            const std::uint32_t what = draw(5);
            if (what == 0) activity.noteChange(round);
            if (what == 1) activity.noteDrivenRead(round);
            if (what == 2) activity.noteDelivery(round);
            if (what == 3) activity.noteDeadlockCheck(round, draw(2) == 0);
            if (what == 4) activity.notePatienceCheck(round, 0);
        }
        const std::uint64_t next = activity.nextCheck(16);
        for (std::uint64_t at = round; at < next; ++at)
            ASSERT_FALSE(activity.isQuiescent(at) || activity.isDeadlockCheckDue(at))
                << "run " << run << ", round " << at;
        EXPECT_LE(next, activity.lastPatienceCheck() + 16);
    }
}

}  // namespace
}  // namespace libzepl
