// The order in which tasks run.

#include "tests/support/session_support.h"

namespace libzepl {
namespace {

TEST(Scheduling, TasksRunInTheOrderInWhichTheyBecameReady) {
    const struct {
        std::initializer_list<const char*> scripts;  // on a pipe of 8
        Lines lines;
    } cases[] = {
        {{"say:11 switch say:12 switch ?task", "say:21 switch say:22 switch ?task",
          "say:31 switch say:32 switch ?task"},
         {"11", "21", "31", "12", "22", "32", "1", "2", "3"}},
        // what a task waits for comes while others are ready
        {{"read:2 say:1 get:2 say:2", "write:2 put:2,0 say:3 switch say:4", "say:5 switch say:6"},
         {"1", "3", "5", "2", "4", "6"}},
        // of single puts the one that suffices wakes the reader
        {{"read:2 block:2,8 least:2,5 ?fetch:2 ?element:2,4",
          "write:2 3( put:2,7 ) switch say:1 put:2,7 put:2,9 put:2,7 say:2"},
         {"1", "2", "6", "9"}},
    };
    for (const auto& [scripts, lines] : cases) {
        TestSession session;
        EXPECT_EQ(printed(session, scripts, session.pipe("pipe", 8)), lines);
    }
}

TEST(Scheduling, APutYieldsWhenItHasMovedACapacitySinceTheTaskWasResumed) {
    TestSession session;
    const PipeId pipe = session.pipe("pipe", 3);
    session.collect(pipe, 7);
    EXPECT_EQ(printed(session, {"write:2 say:1 7( put:2,# ) say:2", "say:3 switch say:4 switch say:5"}, pipe),
              Lines({"1", "3", "4", "2", "5"}));
    EXPECT_EQ(session.collected<std::int32_t>(pipe), countUp(7));
}

}  // namespace
}  // namespace libzepl
