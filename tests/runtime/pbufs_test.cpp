// Pbufs: how much a get delivers, and what a put sends.

#include "tests/support/session_support.h"

namespace libzepl {
namespace {

TEST(Pbufs, GetsKeepWithinTheLeastAndTheGreatestCount) {
    const struct {
        const char* steps;
        Lines lines;
    } cases[] = {
        {"?block:2,4 ?fetch:2 ?element:2,3 ?fetch:2 ?fetch:2 ?element:2,1", {"4001", "4", "3", "4", "2", "9"}},
        {"block:2,8 switch least:2,3 most:2,4 ?fetch:2 ?fetch:2 ?held:2 ?fetch:2", {"4", "4", "4"}},
        {"block:2,8 least:2,0 ?fetch:2 switch ?fetch:2 ?fetch:2 ?fetch:2 ?held:2", {"0", "8", "2", "0", "0"}},
        {"block:2,8 least:2,8 ?fetch:2 ?fetch:2", {"8"}},
        {"block:2,4 least:2,9 ?fetch:2", {"4"}},
        {"block:2,4 most:2,0 least:2,0 switch ?fetch:2 most:2,4 ?fetch:2", {"0", "4"}},
    };
    for (const auto& [steps, lines] : cases) {
        TestSession session;
        session.script(std::string("read:2 ") + steps, session.input("source", countUp(10)));
        EXPECT_EQ(session.run().console, lines) << steps;
    }
}

TEST(Pbufs, ALeastCountAboveTheCapacityIsDelivered) {
    TestSession session;
    session.script("read:2 block:2,3000 least:2,3000 ?fetch:2 ?element:2,2999 ?fetch:2 ?element:2,0",
                   session.input("source", countUp(7000), 16));
    EXPECT_EQ(session.run().console, Lines({"3000", "2999", "3000", "3000"}));
}

TEST(Pbufs, NoTransferMovesTheDataArea) {
    TestSession session;
    session.script("read:2 block:2,4 ?area:2 fetch:2 ?area:2 fetch:2 ?area:2", session.input("source", countUp(10)));
    const Lines areas = session.run().console;
    ASSERT_EQ(areas.size(), 3U);
    EXPECT_EQ(areas, Lines(3, areas[0]));
    EXPECT_EQ(std::stoull(areas[0]) % 64, 0U);
}

TEST(Pbufs, OneBufferServesAReaderAndAWriter) {
    TestSession session;
    const PipeId source = session.input("source", countUp(5000)), copy = session.output("copy");
    session.script("read:2 write:3 block:3,100 ?block:2,0 ?area:2 share:2,3 most:2,100 *( fetch:2 hold:3,$ send:3 )",
                   source, copy);
    EXPECT_EQ(session.run().console, Lines({"1", "0"}));
    EXPECT_EQ(session.collected<std::int32_t>(copy), countUp(5000));
}

TEST(Pbufs, APutLeavesNothingForTheNext) {
    TestSession session;
    const PipeId result = session.output("result", 8);
    session.script("write:2 block:2,10 ?fill:2,5 send:2 ?held:2 ?fill:2,3", result);
    EXPECT_EQ(session.run().console, Lines({"0", "0", "0"}));
    EXPECT_EQ(session.collected<std::int32_t>(result), countUp(8));
}

}  // namespace
}  // namespace libzepl
