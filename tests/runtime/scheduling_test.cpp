// The order in which tasks run.

#include "tests/support/session_support.h"

namespace libzepl {
namespace {

TEST(Scheduling, TasksRunInTheOrderInWhichTheyBecameReady) {
    const struct {
        std::initializer_list<const char*> scripts;  // on a pipe of 8
        Lines lines;
    } cases[] = {
        {{"printf:11 task_switch printf:12 task_switch ?sys_get_task_ID",
          "printf:21 task_switch printf:22 task_switch ?sys_get_task_ID",
          "printf:31 task_switch printf:32 task_switch ?sys_get_task_ID"},
         {"11", "21", "31", "12", "22", "32", "1", "2", "3"}},
        // what a task waits for comes while others are ready
        {{"open_read:2 printf:1 pipe_get:2 printf:2", "open_write:2 pipe_put:2,0 printf:3 task_switch printf:4",
          "printf:5 task_switch printf:6"},
         {"1", "3", "5", "2", "4", "6"}},
        // of single puts the one that suffices wakes the reader
        {{"open_read:2 pbuf_open:2,8 pbuf_set_min_cnt:2,5 ?pbuf_get:2 ?element:2,4",
          "open_write:2 3( pipe_put:2,7 ) task_switch printf:1 pipe_put:2,7 pipe_put:2,9 pipe_put:2,7 printf:2"},
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
    EXPECT_EQ(printed(session,
                      {"open_write:2 printf:1 7( pipe_put:2,# ) printf:2",
                       "printf:3 task_switch printf:4 task_switch printf:5"},
                      pipe),
              Lines({"1", "3", "4", "2", "5"}));
    EXPECT_EQ(session.collected<std::int32_t>(pipe), countUp(7));
}

}  // namespace
}  // namespace libzepl
