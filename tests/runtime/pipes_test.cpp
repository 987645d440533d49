// Pipes and pbufs as tasks see them.

#include <bit>

#include "tests/support/session_support.h"

namespace libzepl {
namespace {

struct ReadCase {
    const char* steps;  // on a pipe of this capacity that gets 0, 1, ... as many as are given, at 2 and at 3
    Lines lines;
    std::size_t given = 10;
    std::optional<std::uint64_t> capacity{};
};

void expectRead(const std::vector<ReadCase>& cases) {
    for (const ReadCase& each : cases) {
        TestSession session;
        const PipeId source = session.input("source", countUp(each.given), each.capacity);
        EXPECT_EQ(printed(session, {each.steps}, source, source), each.lines) << each.steps;
    }
}

TEST(Pipes, OperationsSeeWhatTheirOwnCursorHasLeft) {
    expectRead({
        {"open_read:2 ?pipe_num:2 task_switch ?pipe_num:2 ?pipe_num_complete:2,5 ?pipe_num_complete:2,50",
         {"0", "10", "5", "10"}},
        {"open_read:2 task_switch pipe_rem:2,3 ?pipe_get:2 ?pipe_num:2", {"3", "6"}},
        {"open_read:2 open_read:3 ?pipe_get:2 ?pipe_get:2 ?pipe_get:3 ?pipe_num:2 ?pipe_num:3",
         {"0", "1", "0", "8", "9"}},
        {"open_read:2 pipe_rem:2,0 pipe_rem:2,-1 ?pipe_num_complete:2,0 ?pipe_num_complete:2,-5 ?pipe_get:2",
         {"0", "0", "0"}},
        {"open_read:2 open_read:2 ?pipe_get:2 open_read:2 ?pipe_get:2", {"0", "1"}},
    });
}

TEST(Pipes, HoldTheirCapacityAndWhatAReaderAsksFor) {
    expectRead({
        {"open_read:2 6( task_switch ) ?pipe_num:2", {"16"}, 2000, 16},
        {"open_read:2 pipe_num_complete:2,100 6( task_switch ) ?pipe_num:2", {"100"}, 2000, 16},
        {"open_read:2 pipe_num_complete:2,10 6( task_switch ) ?pipe_num:2", {"16"}, 2000, 16},
        {"open_read:2 pipe_rem:2,500 6( task_switch ) ?pipe_num:2", {"16"}, 2000, 16},
        {"open_read:2 pbuf_open:2,300 pbuf_set_min_cnt:2,300 pbuf_get:2 6( task_switch ) ?pipe_num:2",
         {"300"},
         2000,
         16},
        {"open_read:2 pbuf_open:2,300 pbuf_get:2 6( task_switch ) ?pipe_num:2", {"16"}, 2000, 16},
    });
}

TEST(Pbufs, GetsKeepWithinTheLeastAndTheGreatestCount) {
    expectRead({
        {"open_read:2 ?pbuf_open:2,4 ?pbuf_get:2 ?element:2,3 ?pbuf_get:2 ?pbuf_get:2 ?element:2,1",
         {"4001", "4", "3", "4", "2", "9"}},
        {"open_read:2 pbuf_open:2,8 task_switch pbuf_set_min_cnt:2,3 pbuf_set_max_cnt:2,4 ?pbuf_get:2 ?pbuf_get:2 "
         "?pbuf_get_cnt:2 ?pbuf_get:2",
         {"4", "4", "4"}},
        {"open_read:2 pbuf_open:2,8 pbuf_set_min_cnt:2,0 ?pbuf_get:2 task_switch ?pbuf_get:2 ?pbuf_get:2 ?pbuf_get:2 "
         "?pbuf_get_cnt:2",
         {"0", "8", "2", "0", "0"}},
        {"open_read:2 pbuf_open:2,8 pbuf_set_min_cnt:2,8 ?pbuf_get:2 ?pbuf_get:2", {"8"}},
        {"open_read:2 pbuf_open:2,4 pbuf_set_min_cnt:2,9 ?pbuf_get:2", {"4"}},
        {"open_read:2 pbuf_open:2,4 pbuf_set_max_cnt:2,0 pbuf_set_min_cnt:2,0 task_switch ?pbuf_get:2 "
         "pbuf_set_max_cnt:2,4 ?pbuf_get:2",
         {"0", "4"}},
    });
}

TEST(Pbufs, NoTransferMovesTheDataArea) {
    TestSession session;
    const Lines areas = printed(session,
                                {"open_read:2 pbuf_open:2,4 ?pbuf_get_data_ptr:2 pbuf_get:2 ?pbuf_get_data_ptr:2 "
                                 "pbuf_get:2 ?pbuf_get_data_ptr:2"},
                                session.input("source", countUp(10)));
    EXPECT_EQ(areas, Lines(3, areas.at(0)));
    EXPECT_EQ(std::stoull(areas[0]) % 64, 0U);
}

TEST(Pbufs, APutLeavesNothingForTheNext) {
    TestSession session;
    const PipeId result = session.output("result", 8);
    EXPECT_EQ(printed(session, {"open_write:2 pbuf_open:2,10 ?fill:2,5 pbuf_put:2 ?pbuf_get_cnt:2 ?fill:2,3"}, result),
              Lines({"0", "0", "0"}));
    EXPECT_EQ(session.collected<std::int32_t>(result), countUp(8));
}

TEST(Pipes, AWriterThatWaitsForSeveralReadersGoesOnWhenTheLastHasTaken) {
    TestSession session;
    const PipeId source = session.input("source", countUp(1000)), narrow = session.pipe("narrow", 8);
    session.script("open_read:2 open_write:3 *( move:2,3 )", source, narrow);
    std::vector<PipeId> copies;
    for (const char* pace : {"move:2,3", "2( task_switch ) 5( move:2,3 )", "2( task_switch ) 5( move:2,3 )",
                             "8( move:2,3 task_switch )"}) {
        copies.push_back(session.output("copy"));
        session.script(std::string("open_read:2 open_write:3 *( ") + pace + " )", narrow, copies.back());
    }
    session.script("open_read:2 120( 2( task_switch ) ?pipe_num:2 8( pipe_get:2 ) )", narrow);
    // Growth would let the flow go on all the same, so the capacity is looked at.
    for (const std::string& held : session.run().console) EXPECT_LE(std::stoi(held), 8);
    for (const PipeId copy : copies) EXPECT_EQ(session.collected<std::int32_t>(copy), countUp(1000));
}

TEST(Pipes, PipeGetWidensIntegersBySignAndGivesTheLowWordOfOthers) {
    TestSession session;
    session.script(
        "open_read:2 open_read:3 open_read:4 open_read:5 ?pipe_get:2 ?pipe_get:2 ?pipe_get:3 ?pipe_get:4 ?pipe_get:5",
        session.input("narrow", std::vector<std::int16_t>{-32768, 32767}),
        session.input("wide", std::vector<std::int32_t>{-2147483647 - 1}), session.input("real", std::vector{1.0F}),
        session.input("fine", std::vector{std::bit_cast<double>(0x7FF00000'80000001)}));
    EXPECT_EQ(session.run().console, Lines({"-32768", "32767", "-2147483648", "1065353216", "-2147483647"}));
}

TEST(Pipes, PipePutNarrowsToTheWidthOfThePipe) {
    TestSession session;
    const PipeId narrow = session.output("narrow", 3, ElementType::int16), wide = session.output("wide", 1);
    session.script("open_write:2 open_write:3 pipe_put:2,0x18000 pipe_put:2,-1 pipe_put:2,65535 pipe_put:3,-70000",
                   narrow, wide);
    session.run();
    EXPECT_EQ(session.collected<std::int16_t>(narrow), std::vector<std::int16_t>({-32768, -1, -1}));
    EXPECT_EQ(session.collected<std::int32_t>(wide), std::vector<std::int32_t>({-70000}));
}

TEST(Pipes, ASecondWriterIsRefusedByName) {
    TestSession session;
    const PipeId source = session.input("source", countUp(3)), pipe = session.pipe("pipe");
    session.script("open_write:2 task_switch", pipe);
    session.script("open_read:2 open_write:3", source, pipe);
    session.script("open_write:2", source);
    const Report report = session.run();
    EXPECT_EQ(statesOf(report), Lines({"running", "refused at 3", "refused at 2"}));
    EXPECT_EQ(report.tasks[1].text, "`pipe` has a writer already: SCRIPT (line 1)");
    EXPECT_EQ(report.tasks[1].remedy, "give each command's output a name of its own");
    EXPECT_EQ(report.tasks[2].text, "`source` has a writer already: its input");
    EXPECT_EQ(report.status, Report::Status::refused);
}

TEST(Pipes, AReaderThatOpensLateGetsWhatComesFromThenOn) {
    TestSession session;
    EXPECT_EQ(printed(session,
                      {"open_write:2 task_switch 10( pipe_put:2,# task_switch )",
                       "5( task_switch ) open_read:2 ?pipe_get:2 ?pipe_get:2"},
                      session.pipe("pipe")),
              Lines({"5", "6"}));
}

TEST(Pipes, StartsComeBeforeTheInput) {
    TestSession session;
    const PipeId source = session.loop("source", {7, 8});
    session.feed<std::int32_t>(source, {1, 2});
    EXPECT_EQ(printed(session, {"open_read:2 ?pipe_get:2 ?pipe_get:2 ?pipe_get:2 ?pipe_get:2"}, source),
              Lines({"7", "8", "1", "2"}));
}

}  // namespace
}  // namespace libzepl
