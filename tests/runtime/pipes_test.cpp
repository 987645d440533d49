// Pipes as tasks see them.

#include <bit>

#include "tests/support/session_support.h"

namespace libzepl {
namespace {

TEST(Pipes, EveryReaderGetsAllElementsFromTheFirst) {
    TestSession session;
    const PipeId source = session.input("source", countUp(3000), 10);
    std::vector<PipeId> copies;
    for (const char* steps : {"read:2 write:3 *( move:2,3 )", "read:2 write:3 *( move:2,3 switch switch switch )",
                              "read:2 write:3 get:2 put:3,$ block:2,64 block:3,64 *( copy:2,3 )"}) {
        copies.push_back(session.output("copy"));
        session.script(steps, source, copies.back());
    }
    const Report report = session.run();
    for (const PipeId copy : copies) EXPECT_EQ(session.collected<std::int32_t>(copy), countUp(3000));
    EXPECT_EQ(report.pipes[0].written, 3000U);
    EXPECT_EQ(report.pipes[0].unread, 0U);
}

TEST(Pipes, OperationsSeeWhatTheirOwnCursorHasLeft) {
    const struct {
        const char* steps;
        Lines lines;
    } cases[] = {
        {"read:2 ?num:2 switch ?num:2 ?complete:2,5 ?complete:2,50", {"0", "10", "5", "10"}},
        {"read:2 switch rem:2,3 ?get:2 ?num:2", {"3", "6"}},
        {"read:2 read:3 ?get:2 ?get:2 ?get:3 ?num:2 ?num:3", {"0", "1", "0", "8", "9"}},
        {"read:2 rem:2,0 rem:2,-1 ?complete:2,0 ?complete:2,-5 ?get:2", {"0", "0", "0"}},
        {"read:2 read:2 ?get:2 read:2 ?get:2", {"0", "1"}},
    };
    for (const auto& [steps, lines] : cases) {
        TestSession session;
        const PipeId source = session.input("source", countUp(10));
        session.script(steps, source, source);
        EXPECT_EQ(session.run().console, lines) << steps;
    }
}

TEST(Pipes, HoldTheirCapacityAndWhatAReaderAsksFor) {
    const struct {
        const char* steps;
        const char* held;
    } cases[] = {
        {"read:2 6( switch ) ?num:2", "16"},
        {"read:2 complete:2,100 6( switch ) ?num:2", "100"},
        {"read:2 complete:2,10 6( switch ) ?num:2", "16"},
        {"read:2 rem:2,500 6( switch ) ?num:2", "16"},
        {"read:2 block:2,300 least:2,300 fetch:2 6( switch ) ?num:2", "300"},
        {"read:2 block:2,300 fetch:2 6( switch ) ?num:2", "16"},
    };
    for (const auto& [steps, held] : cases) {
        TestSession session;
        session.script(steps, session.input("source", countUp(2000), 16));
        EXPECT_EQ(session.run().console, Lines({held})) << steps;
    }
}

TEST(Pipes, AWriterThatWaitsForSeveralReadersGoesOnWhenTheLastHasTaken) {
    TestSession session;
    const PipeId source = session.input("source", countUp(1000)), narrow = session.pipe("narrow", 8);
    session.script("read:2 write:3 *( move:2,3 )", source, narrow);
    std::vector<PipeId> copies;
    for (const char* pace :
         {"move:2,3", "2( switch ) 5( move:2,3 )", "2( switch ) 5( move:2,3 )", "8( move:2,3 switch )"}) {
        copies.push_back(session.output("copy"));
        session.script(std::string("read:2 write:3 *( ") + pace + " )", narrow, copies.back());
    }
    session.script("read:2 120( 2( switch ) ?num:2 8( get:2 ) )", narrow);
    // Growth would let the flow go on all the same, so the capacity is looked at.
    for (const std::string& held : session.run().console) EXPECT_LE(std::stoi(held), 8);
    for (const PipeId copy : copies) EXPECT_EQ(session.collected<std::int32_t>(copy), countUp(1000));
}

TEST(Pipes, APutLargerThanTheCapacityArrivesInOrder) {
    TestSession session;
    const PipeId narrow = session.pipe("narrow", 4), wide = session.output("wide", 205);
    session.script("read:2 write:3 *( move:2,3 )", narrow, wide);
    session.script("write:2 put:2,# put:2,# block:2,100 fill:2,100 fill:2,100 put:2,# put:2,# put:2,#", narrow);
    session.run();
    EXPECT_EQ(session.collected<std::int32_t>(wide), countUp(205));
}

template <class Element>
Lines gotten(Element element) {
    TestSession session;
    session.script("read:2 ?get:2", session.input("source", std::vector<Element>{element}));
    return session.run().console;
}

TEST(Pipes, PipeGetWidensIntegersBySignAndGivesTheLowWordOfOthers) {
    EXPECT_EQ(gotten<std::int16_t>(-32768), Lines({"-32768"}));
    EXPECT_EQ(gotten<std::int16_t>(32767), Lines({"32767"}));
    EXPECT_EQ(gotten<std::int32_t>(-2147483647 - 1), Lines({"-2147483648"}));
    EXPECT_EQ(gotten(1.0F), Lines({"1065353216"}));
    EXPECT_EQ(gotten(std::bit_cast<double>(std::uint64_t{0x7FF00000'80000001})), Lines({"-2147483647"}));
}

TEST(Pipes, PipePutNarrowsToTheWidthOfThePipe) {
    TestSession session;
    const PipeId narrow = session.output("narrow", 3, ElementType::int16), wide = session.output("wide", 1);
    session.script("write:2 write:3 put:2,0x18000 put:2,-1 put:2,65535 put:3,-70000", narrow, wide);
    session.run();
    EXPECT_EQ(session.collected<std::int16_t>(narrow), std::vector<std::int16_t>({-32768, -1, -1}));
    EXPECT_EQ(session.collected<std::int32_t>(wide), std::vector<std::int32_t>({-70000}));
}

TEST(Pipes, ASecondWriterIsRefusedByName) {
    TestSession session;
    const PipeId source = session.input("source", countUp(3)), pipe = session.pipe("pipe");
    session.script("write:2 switch", pipe);
    session.script("read:2 write:3", source, pipe);
    session.script("write:2", source);
    const Report report = session.run();
    EXPECT_EQ(statesOf(report), Lines({"running", "refused at 3", "refused at 2"}));
    EXPECT_EQ(report.tasks[1].text, "`pipe` has a writer already: SCRIPT (line 1)");
    EXPECT_EQ(report.tasks[1].remedy, "give each command's output a name of its own");
    EXPECT_EQ(report.tasks[2].text, "`source` has a writer already: its input");
    EXPECT_EQ(report.status, Report::Status::refused);
}

TEST(Pipes, AReaderThatOpensLateGetsWhatComesFromThenOn) {
    TestSession session;
    const PipeId pipe = session.pipe("pipe");
    session.script("write:2 switch 10( put:2,# switch )", pipe);
    session.script("5( switch ) read:2 ?get:2 ?get:2", pipe);
    EXPECT_EQ(session.run().console, Lines({"5", "6"}));
}

TEST(Pipes, StartsComeBeforeTheInput) {
    TestSession session;
    const PipeId source = session.loop("source", {7, 8});
    session.feed<std::int32_t>(source, {1, 2});
    const PipeId copy = session.output("copy");
    session.script("read:2 write:3 *( move:2,3 )", source, copy);
    session.run();
    EXPECT_EQ(session.collected<std::int32_t>(copy), std::vector<std::int32_t>({7, 8, 1, 2}));
}

}  // namespace
}  // namespace libzepl
